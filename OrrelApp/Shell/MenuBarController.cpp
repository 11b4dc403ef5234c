#include "OrrelApp/Shell/MenuBarController.h"

#include "OrrelApp/Platform/TrayHostWatcher.h"
#include "OrrelApp/Surface/OrrelViewModel.h"

#include <QCursor>
#include <QMenu>
#include <QPainter>
#include <QPainterPath>
#include <QSystemTrayIcon>

using namespace Qt::StringLiterals;

namespace {

struct IconLook {
    QColor fill;
    // A hollow capsule says there is nothing to know yet.
    bool hollow = false;
    // A dot in the middle tells a status apart without its colour.
    bool dot = false;
};

IconLook lookFor(RollupStatus status)
{
    switch (status) {
    case RollupStatus::blocked: return {QColor(0xff, 0x6f, 0x61), false, true};
    case RollupStatus::working: return {QColor(0x4a, 0x90, 0xe2), false, false};
    case RollupStatus::done: return {QColor(0x3c, 0xb3, 0x71), false, false};
    case RollupStatus::idle: return {QColor(0x9a, 0x9a, 0xa0), false, false};
    case RollupStatus::unknown: return {QColor(0x9a, 0x9a, 0xa0), true, false};
    }
    return {QColor(0x9a, 0x9a, 0xa0), true, false};
}

QPixmap drawCapsule(int side, const IconLook& look)
{
    QPixmap pixmap(side, side);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal height = side * 0.5;
    const QRectF capsule(side * 0.08, (side - height) / 2, side * 0.84, height);
    QPainterPath path;
    path.addRoundedRect(capsule, height / 2, height / 2);
    if (look.hollow) {
        painter.setPen(QPen(look.fill, qMax(1.0, side / 11.0)));
        painter.setBrush(Qt::NoBrush);
    } else {
        painter.setPen(Qt::NoPen);
        painter.setBrush(look.fill);
    }
    painter.drawPath(path);
    if (look.dot) {
        const qreal radius = height * 0.22;
        painter.setBrush(Qt::white);
        painter.drawEllipse(capsule.center(), radius, radius);
    }
    return pixmap;
}

} // namespace

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
    m_menu->addAction(u"Setup & permissions…"_s)->setEnabled(false);
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
    m_tray->setIcon(statusIcon(status));
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

QIcon MenuBarController::statusIcon(RollupStatus status)
{
    const IconLook look = lookFor(status);
    QIcon icon;
    for (const int side : {16, 22, 32, 44})
        icon.addPixmap(drawCapsule(side, look));
    return icon;
}
