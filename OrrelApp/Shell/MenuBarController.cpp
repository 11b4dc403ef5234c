#include "OrrelApp/Shell/MenuBarController.h"

#include "OrrelApp/Platform/TrayHostWatcher.h"
#include "OrrelApp/Shell/IconArt.h"
#include "OrrelApp/Surface/OrrelViewModel.h"

#include <QCursor>
#include <QMenu>
#include <QSystemTrayIcon>

using namespace Qt::StringLiterals;

MenuBarController::MenuBarController(OrrelViewModel& model, BuildProvenance provenance,
                                     QDBusConnection bus, QObject* parent)
    : QObject(parent), m_model(model), m_provenance(std::move(provenance)),
      m_menu(std::make_unique<QMenu>()), m_tray(new QSystemTrayIcon(this)),
      m_trayHost(new TrayHostWatcher(std::move(bus), this))
{
    m_tray->setToolTip(u"Orrel Sentry"_s);
    m_tray->setContextMenu(m_menu.get());
    // The provenance item tells the source folder in its tool tip.
    m_menu->setToolTipsVisible(true);
    connect(m_menu.get(), &QMenu::aboutToShow, this, &MenuBarController::rebuild);
    // Some trays report a left click only; the menu holds every action, so it opens either way.
    connect(m_tray, &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason reason) {
                if (reason == QSystemTrayIcon::Trigger)
                    popUp(QCursor::pos());
            });
    connect(&m_model, &OrrelViewModel::changed, this, &MenuBarController::refreshIcon);
    connect(m_trayHost, &TrayHostWatcher::hostAppeared, this, [this] {
        showAgain();
        Q_EMIT trayAvailabilityChanged();
    });
    connect(m_trayHost, &TrayHostWatcher::hostVanished, this,
            &MenuBarController::trayAvailabilityChanged);
}

MenuBarController::~MenuBarController()
{
    // The tray icon points at the menu; it goes first.
    delete m_tray;
}

void MenuBarController::install()
{
    m_installed = true;
    m_shownStatus.reset();
    refreshIcon();
    m_tray->show();
}

void MenuBarController::remove()
{
    m_installed = false;
    m_tray->hide();
}

void MenuBarController::showAgain()
{
    if (!m_installed)
        return;
    m_tray->hide();
    m_tray->show();
}

void MenuBarController::rebuild()
{
    m_menu->clear();

    // The advice of the update checker goes first once there is one.

    m_menu->addAction(u"Show / Hide Orrel"_s, this, [this] {
        if (onToggleOrrel)
            onToggleOrrel();
    });
    m_menu->addSeparator();

    // Their windows do not exist yet; the items stand where people will look for them.
    m_menu->addAction(u"Settings…"_s)->setEnabled(false);
    // "&&": a single ampersand would mark the next letter as the item's mnemonic.
    m_menu->addAction(u"Setup && permissions…"_s)->setEnabled(false);
    m_menu->addSeparator();

    m_menu->addAction(u"Check for Updates…"_s)->setEnabled(false);
    m_menu->addAction(u"Update checks are off for this pi fork (no fork feed)."_s)
        ->setEnabled(false);
    m_menu->addSeparator();

    auto* provenance = m_menu->addAction(buildProvenanceTitle(m_provenance));
    provenance->setEnabled(false);
    if (!m_provenance.sourcePath.isEmpty())
        provenance->setToolTip(m_provenance.sourcePath);
    m_menu->addSeparator();

    m_menu->addAction(u"Quit Orrel Sentry"_s, this, [this] {
        if (onQuit)
            onQuit();
    });
}

void MenuBarController::refreshIcon()
{
    const RollupStatus status = m_model.overallStatus();
    if (m_shownStatus == status)
        return;
    m_shownStatus = status;
    m_tray->setIcon(statusIcon(status, m_iconStyle));
}

void MenuBarController::popUp(const QPoint& globalPosition)
{
    m_menu->popup(globalPosition);
}

bool MenuBarController::isTrayAvailable()
{
    return QSystemTrayIcon::isSystemTrayAvailable();
}

QString MenuBarController::buildProvenanceTitle(const BuildProvenance& provenance)
{
    return u"Build "_s + provenance.label();
}

QIcon MenuBarController::statusIcon(RollupStatus status, TrayIconStyle style)
{
    const IconArt art = statusIconArt(status, style);
    QIcon icon;
    for (const int side : {16, 22, 32, 44})
        icon.addPixmap(QPixmap::fromImage(art.image(side)));
    return icon;
}

void MenuBarController::setIconStyle(TrayIconStyle style)
{
    if (m_iconStyle == style)
        return;
    m_iconStyle = style;
    m_shownStatus.reset();
    refreshIcon();
}
