#pragma once

#include "HerdrClient/State/RollupStatus.h"
#include "OrrelApp/Shell/BuildProvenance.h"
#include "OrrelApp/Shell/IconArt.h"

#include <QDBusConnection>
#include <QIcon>
#include <QObject>

#include <functional>
#include <memory>
#include <optional>

class OrrelViewModel;
class QMenu;
class QPoint;
class QSystemTrayIcon;
class TrayHostWatcher;

// The tray icon and its menu: the one permanent door into the program. The icon shows the
// overall state of the agents; the menu is filled again each time it opens, so it never shows an
// old state. Where the desktop has no tray, the same menu pops up from the pill.
//
// Main thread only.
class MenuBarController : public QObject {
    Q_OBJECT

public:
    // `bus` is where a tray host that starts late is watched for.
    MenuBarController(OrrelViewModel& model, BuildProvenance provenance,
                      QDBusConnection bus = QDBusConnection::sessionBus(),
                      QObject* parent = nullptr);
    ~MenuBarController() override;

    std::function<void()> onToggleOrrel;
    // Ending the program goes through the application's stop order, never straight to exit.
    std::function<void()> onQuit;

    // Shows the icon in the tray; the menu is filled when it first opens.
    void install();
    // Takes the icon out of the tray, at stop.
    void remove();
    bool isInstalled() const { return m_installed; }

    void rebuild();
    void refreshIcon();
    // Opens the menu at a point on the screen, for a right click on the pill.
    void popUp(const QPoint& globalPosition);
    QMenu& menu() const { return *m_menu; }
    // Whether the desktop shows tray icons now; without one the pill is the way to the menu.
    static bool isTrayAvailable();

    static QString buildProvenanceTitle(const BuildProvenance& provenance);
    static QIcon statusIcon(RollupStatus status, TrayIconStyle style = TrayIconStyle::color);
    // Colour unless the person asked for the monochrome icons of a dark or a light panel.
    void setIconStyle(TrayIconStyle style);

Q_SIGNALS:
    // A tray host came up or went away; isTrayAvailable() may answer differently now.
    void trayAvailabilityChanged();

private:
    void showAgain();

    OrrelViewModel& m_model;
    BuildProvenance m_provenance;
    std::unique_ptr<QMenu> m_menu;
    QSystemTrayIcon* m_tray;
    TrayHostWatcher* m_trayHost;
    std::optional<RollupStatus> m_shownStatus;
    TrayIconStyle m_iconStyle = TrayIconStyle::color;
    bool m_installed = false;
};
