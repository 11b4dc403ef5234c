#pragma once

#include "HerdrClient/Commands/ProcessCommandRunner.h"
#include "HerdrClient/Support/Environment.h"
#include "OrrelApp/Shell/AppLaunchMode.h"

#include <QCoroTask>
#include <QObject>
#include <QStringList>

#include <memory>

class AgentHotKeyRegistering;
class AgentHotKeys;
class AgentNotificationController;
class AutomationChannel;
class DesktopDoNotDisturb;
class DesktopReduceMotion;
class MenuBarController;
class IniSettingsStore;
class OrrelSurfaceModel;
class OrrelViewModel;
class OrrelWindowController;
class Settings;
class SoundEngine;
class SystemAgentNotificationScheduler;
class SurfaceAutomationTarget;
class TerminalActivator;
class X11DesktopWindows;

// Builds the objects of the resident application in a fixed order, connects them, and takes them
// down again in the reverse sense. It holds no logic of its own beyond that order.
class AppDelegate : public QObject {
    Q_OBJECT

public:
    explicit AppDelegate(AppLaunchMode launchMode, QObject* parent = nullptr);
    ~AppDelegate() override;

    // False when the surface could not be built; the reason is on standard error.
    bool applicationDidFinishLaunching();
    // Runs the stop order, waits for the sessions to end (briefly), and ends the event loop.
    // Closing a window never gets here: only Quit, SIGINT, SIGTERM and the automation channel do.
    void quit();

    // A second start in the same login session asked to be seen.
    void showOverview();

    OrrelViewModel* viewModel() const { return m_viewModel.get(); }
    OrrelWindowController* orrelController() const { return m_orrelController.get(); }

private:
    void applicationWillTerminate();
    QCoro::Task<> quitAfterStop();
    void observeHotKeyNeed();
    void observeIgnoredSessions();
    bool startAutomation(const Environment& environment);

    AppLaunchMode m_launchMode;
    QStringList m_existingKeys;
    bool m_terminating = false;

    ProcessCommandRunner m_commands;
    std::unique_ptr<IniSettingsStore> m_settingsStore;
    std::unique_ptr<Settings> m_settings;
    std::unique_ptr<X11DesktopWindows> m_desktop;
    std::unique_ptr<TerminalActivator> m_terminal;
    // The view model posts to the notifications: they outlive it.
    std::unique_ptr<SystemAgentNotificationScheduler> m_notificationScheduler;
    std::unique_ptr<AgentNotificationController> m_agentNotifications;
    std::unique_ptr<OrrelViewModel> m_viewModel;
    std::unique_ptr<DesktopDoNotDisturb> m_doNotDisturb;
    std::unique_ptr<SoundEngine> m_soundEngine;
    std::unique_ptr<DesktopReduceMotion> m_reduceMotion;
    // The views bind to the surface model: the controller that holds them ends first.
    std::unique_ptr<OrrelSurfaceModel> m_surfaceModel;
    std::unique_ptr<OrrelWindowController> m_orrelController;
    std::unique_ptr<SurfaceAutomationTarget> m_automationTarget;
    std::unique_ptr<AutomationChannel> m_automation;
    std::unique_ptr<AgentHotKeyRegistering> m_hotKeyBackend;
    std::unique_ptr<AgentHotKeys> m_agentHotKeys;
    std::unique_ptr<MenuBarController> m_menuBar;
};
