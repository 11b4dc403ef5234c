#include "OrrelApp/Shell/AppDelegate.h"

#include "HerdrClient/Responding/TerminalActivator.h"
#include "HerdrClient/Sessions/SessionDirectory.h"
#include "HerdrClient/Support/Environment.h"
#include "HerdrClient/Wire/HerdrClient.h"
#include "OrrelApp/Alerts/AgentHotKeys.h"
#include "OrrelApp/Alerts/AgentNotificationController.h"
#include "OrrelApp/Alerts/AgentNotificationRouting.h"
#include "OrrelApp/Alerts/SoundEngine.h"
#include "OrrelApp/Automation/AutomationChannel.h"
#include "OrrelApp/Automation/HotKeysAutomationState.h"
#include "OrrelApp/Automation/SurfaceAutomationTarget.h"
#include "OrrelApp/Platform/AgentHotKeyBackends.h"
#include "OrrelApp/Platform/DesktopDoNotDisturb.h"
#include "OrrelApp/Platform/DesktopReduceMotion.h"
#include "OrrelApp/Platform/IniSettingsStore.h"
#include "OrrelApp/Platform/SoundEffectAlertSound.h"
#include "OrrelApp/Platform/SystemAgentNotificationScheduler.h"
#include "OrrelApp/Platform/X11DesktopWindows.h"
#include "OrrelApp/Sessions/SessionDiscoveryLoop.h"
#include "OrrelApp/Sessions/SessionRegistry.h"
#include "OrrelApp/Shell/BuildProvenance.h"
#include "OrrelApp/Shell/MenuBarController.h"
#include "OrrelApp/Shell/Settings.h"
#include "OrrelApp/Surface/OrrelSurfaceModel.h"
#include "OrrelApp/Surface/OrrelSurfaceState.h"
#include "OrrelApp/Surface/OrrelViewModel.h"
#include "OrrelApp/Surface/OrrelWindowController.h"

#include <QCoroTimer>
#include <QDBusConnection>
#include <QGuiApplication>
#include <QPointer>
#include <QSet>
#include <QTimer>
#include <QUrl>
#include <QVariant>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

// A herdr server that takes a request and never answers must not leave a session "connecting"
// for ever; the event stream is not bound by this.
constexpr double requestTimeout = 10.0;
// How long quitting waits for the sessions' tasks to end before it leaves anyway.
constexpr auto stopDeadline = 3s;

SessionRuntime::Dependencies applicationDependencies(const ResolvedSession& session)
{
    SessionRuntime::Dependencies dependencies;
    dependencies.client = std::make_unique<HerdrClient>(session.endpoint, requestTimeout);
    return dependencies;
}

} // namespace

AppDelegate::AppDelegate(AppLaunchMode launchMode, QObject* parent)
    : QObject(parent), m_launchMode(std::move(launchMode))
{
}

AppDelegate::~AppDelegate()
{
    applicationWillTerminate();
}

bool AppDelegate::applicationDidFinishLaunching()
{
    const Environment environment = processEnvironment();

    // 1-2. The settings, and which keys the file held before this start.
    m_settingsStore =
        std::make_unique<IniSettingsStore>(IniSettingsStore::defaultPath(environment));
    m_existingKeys = m_settingsStore->keys();
    m_settings = std::make_unique<Settings>(*m_settingsStore);
    if (m_existingKeys.isEmpty())
        m_settings->setSetupCompleted(false);

    // 3. The view model, with its registry and, unless a session is pinned, the discovery.
    // The settings pin a session; failing that, herdr's own variables do, as for orrelctl.
    const auto pinned = m_settings->resolvedSession().or_else([&] {
        const auto variable = [&](const QString& key) -> std::optional<QString> {
            const QString value = environmentValue(environment, key);
            return value.isEmpty() ? std::nullopt : std::optional(value);
        };
        return Settings::resolveSession(variable(u"HERDR_SOCKET_PATH"_s),
                                        variable(u"HERDR_SESSION"_s), environment);
    });
    SessionRegistry::Options registryOptions;
    registryOptions.makeDependencies = &applicationDependencies;
    auto registry = std::make_unique<SessionRegistry>(registryOptions);
    SessionRegistry& registryReference = *registry;
    m_viewModel = std::make_unique<OrrelViewModel>(std::move(registry), Clock::system(), pinned);
    if (!pinned) {
        m_viewModel->setDiscovery(std::make_unique<SessionDiscoveryLoop>(
            registryReference, [settings = m_settings.get()] { return settings->remoteHosts(); },
            [environment] {
                return SessionDirectory::located(std::make_shared<ProcessCommandRunner>(),
                                                 environment);
            }));
    }

    // 4. The chime, held back by the desktop's Do Not Disturb.
    m_doNotDisturb =
        std::make_unique<DesktopDoNotDisturb>(QDBusConnection::sessionBus(), m_commands);
    std::unique_ptr<AlertSound> chime;
    if (const auto url = SoundEngine::soundURL())
        chime = std::make_unique<SoundEffectAlertSound>(*url);
    m_soundEngine = std::make_unique<SoundEngine>(
        std::move(chime), &SoundEngine::play,
        [dnd = m_doNotDisturb.get()] { return dnd->isEnabled(); }, m_settings.get());

    // 5-7. Here the update checker, the screen saver's automation and its snapshot publisher
    // will be built.

    // 8. The screen saver's host mode starts here; this build has none (main refuses it).

    // 9. Desktop notifications; their answers go where a click on the surface goes.
    m_notificationScheduler =
        std::make_unique<SystemAgentNotificationScheduler>(QDBusConnection::sessionBus());
    m_agentNotifications =
        std::make_unique<AgentNotificationController>(*m_settings, *m_notificationScheduler);
    m_agentNotifications->setActionHandler(
        [model = m_viewModel.get()](AgentNotificationResponse response) {
            return routeNotificationResponse(*model, std::move(response));
        });
    m_agentNotifications->start();

    // 10. The panel.
    m_desktop = std::make_unique<X11DesktopWindows>();
    m_terminal = std::make_unique<TerminalActivator>(m_settings->terminalSelection(), *m_desktop);
    // The panel's pauses run on timers of its own, which end with it at quit.
    m_orrelController = std::make_unique<OrrelWindowController>(
        *m_viewModel, *m_settings,
        OrrelWindowController::Desktop{
            .panel = m_desktop->isConnected() ? m_desktop.get() : nullptr,
            .windows = m_desktop->isConnected() ? m_desktop.get() : nullptr},
        Clock{Clock::system().now, {}});
    m_surfaceModel =
        std::make_unique<OrrelSurfaceModel>(*m_viewModel, m_orrelController->surfaceState());
    if (!m_orrelController->load(
            QUrl(u"qrc:/OrrelSentry/OrrelSurface.qml"_s),
            {{u"surface"_s, QVariant::fromValue(m_surfaceModel.get())},
             {u"surfaceState"_s, QVariant::fromValue(&m_orrelController->surfaceState())}}))
        return false;
    m_orrelController->show();
    // Its observers: displays (inside the controller), the desktop's reduce-motion setting,
    // focus and clicks (inside the controller), the display that follows focus.
    m_orrelController->startObservers();
    m_reduceMotion =
        std::make_unique<DesktopReduceMotion>(QDBusConnection::sessionBus(), m_commands);
    OrrelSurfaceState& surfaceState = m_orrelController->surfaceState();
    surfaceState.setReduceMotion(m_reduceMotion->reduceMotion());
    connect(m_reduceMotion.get(), &DesktopReduceMotion::reduceMotionChanged, &surfaceState,
            &OrrelSurfaceState::setReduceMotion);

    // 11. Sessions begin here. Later: the snapshot publisher and the saver's hot key start.
    m_viewModel->start({.settings = m_settings.get(),
                        .soundEngine = m_soundEngine.get(),
                        .notifications = m_agentNotifications.get(),
                        .terminal = m_terminal.get()});

    // 12. The agent hot keys, held while the selected agent's card waits.
    m_hotKeyBackend = makeAgentHotKeyBackend(QDBusConnection::sessionBus());
    m_agentHotKeys = std::make_unique<AgentHotKeys>(
        *m_settings, *m_hotKeyBackend,
        [model = m_viewModel.get()] {
            const auto& selected = model->selected();
            const auto waiting = model->needsYouRefs();
            return selected && std::ranges::find(waiting, *selected) != waiting.end();
        },
        [model = m_viewModel.get()](AgentHotKey::Action action) {
            // The answer runs on by itself; its outcome shows in the card like a click's.
            auto task = model->performHotKey(action);
        });
    observeHotKeyNeed();

    // 13.
    observeIgnoredSessions();

    // 14. The tray; where the desktop has none, a right click on the pill opens the same menu.
    m_menuBar = std::make_unique<MenuBarController>(*m_viewModel, BuildProvenance::compiledIn());
    m_menuBar->onToggleOrrel = [this] { m_surfaceModel->requestToggle(); };
    m_menuBar->onQuit = [this] { quit(); };
    const QString iconStyle = environmentValue(environment, u"ORRELSENTRY_TRAY_ICON"_s);
    if (const auto style = trayIconStyleFromString(iconStyle))
        m_menuBar->setIconStyle(*style);
    else if (!iconStyle.isEmpty())
        qWarning().noquote() << "Orrel Sentry: ORRELSENTRY_TRAY_ICON is color, dark-panel or "
                                "light-panel, not"
                             << iconStyle;
    m_menuBar->install();
    connect(m_surfaceModel.get(), &OrrelSurfaceModel::contextMenuRequested, m_menuBar.get(),
            &MenuBarController::popUp);

    // 15-16. Here onboarding will be built, and Setup opened on a first launch.

    // Scripts drive the surface only when asked to, through a socket of their own.
    return startAutomation(environment);
}

bool AppDelegate::startAutomation(const Environment& environment)
{
    m_automationTarget = std::make_unique<SurfaceAutomationTarget>(
        *m_viewModel, *m_surfaceModel, *m_orrelController, [this] { quit(); });
    m_automationTarget->setNotifications(m_agentNotifications.get());
    m_automationTarget->hotKeys = [this] {
        return hotKeysAutomationState(*m_agentHotKeys, *m_settings);
    };
    auto channel = AutomationChannel::fromEnvironment(environment, *m_automationTarget);
    if (!channel) {
        qWarning().noquote() << "Orrel Sentry: the automation channel is off:" << channel.error();
        return false;
    }
    m_automation = std::move(*channel);
    return true;
}

void AppDelegate::observeHotKeyNeed()
{
    AgentHotKeys* hotKeys = m_agentHotKeys.get();
    OrrelViewModel* model = m_viewModel.get();
    const auto apply = [hotKeys, model] {
        hotKeys->refresh();
        model->setHotkeyConflict(hotKeys->state().kind == AgentHotKeyState::Kind::conflict);
    };
    apply();
    // The selection and who needs the person move with the view model's changes.
    connect(model, &OrrelViewModel::changed, hotKeys, apply);
    connect(hotKeys, &AgentHotKeys::stateChanged, model, [hotKeys, model] {
        model->setHotkeyConflict(hotKeys->state().kind == AgentHotKeyState::Kind::conflict);
    });
    for (const auto changed :
         {&Settings::agentGlobalHotkeysEnabledChanged, &Settings::hotkeyModifierChanged,
          &Settings::shortcutOverridesChanged})
        connect(m_settings.get(), changed, hotKeys, apply);
}

void AppDelegate::observeIgnoredSessions()
{
    const auto apply = [this] {
        const QStringList names = m_settings->ignoredSessionNames();
        m_viewModel->registry().setIgnoredLocalSessionNames(
            QSet<QString>(names.begin(), names.end()));
    };
    apply();
    connect(m_settings.get(), &Settings::ignoredSessionNamesChanged, this, apply);
}

void AppDelegate::showOverview()
{
    if (m_viewModel)
        m_viewModel->showOverview();
}

void AppDelegate::applicationWillTerminate()
{
    if (m_terminating)
        return;
    m_terminating = true;
    // No script may act on the surface while it is taken down.
    if (m_automation)
        m_automation->stop();
    // 1.
    if (m_agentHotKeys)
        m_agentHotKeys->stop();
    // 2-3. Here the update loop and the publisher stop.
    // 4.
    if (m_automationTarget)
        m_automationTarget->setNotifications(nullptr);
    if (m_agentNotifications)
        m_agentNotifications->stop();
    // 5.
    if (m_viewModel)
        m_viewModel->stop();
    // 6.
    if (m_menuBar)
        m_menuBar->remove();
    // 7.
    if (m_orrelController)
        m_orrelController->tearDown();
    // 8-9. Here the screen saver's window and hot key go.
}

void AppDelegate::quit()
{
    auto task = quitAfterStop();
}

QCoro::Task<> AppDelegate::quitAfterStop()
{
    QPointer self{this};
    applicationWillTerminate();
    if (m_viewModel) {
        // Sessions end their tasks first, so that nothing is cut off in the middle of a key
        // press; a task that will not end does not keep the program from ending.
        auto done = std::make_shared<bool>(false);
        auto waiting = [](OrrelViewModel* model, std::shared_ptr<bool> flag) -> QCoro::Task<> {
            co_await model->stopped();
            *flag = true;
        }(m_viewModel.get(), done);
        const auto deadline = std::chrono::steady_clock::now() + stopDeadline;
        while (!*done && std::chrono::steady_clock::now() < deadline)
            co_await QCoro::sleepFor(20ms);
    }
    if (self)
        QCoreApplication::quit();
}
