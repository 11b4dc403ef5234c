#include "OrrelApp/Surface/OrrelWindowController.h"

#include "HerdrClient/Responding/TerminalActivator.h"
#include "OrrelApp/Platform/PanelDesktop.h"
#include "OrrelApp/Sessions/SessionRuntime.h"
#include "OrrelApp/Shell/Settings.h"
#include "OrrelApp/Surface/InteractionDisplayModel.h"
#include "OrrelApp/Surface/OrrelSurfaceState.h"
#include "OrrelApp/Surface/OrrelViewModel.h"

#include <QCursor>
#include <QGuiApplication>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QScreen>

#include <cmath>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

// How often a placement that follows focus looks where the focus is.
constexpr auto screenPollInterval = 250ms;
// The views fade the expanded content out before the window shrinks back to the pill.
constexpr auto collapseAnimation = 200ms;

bool followsFocus(DisplayPlacement placement)
{
    return placement != DisplayPlacement::orrelDisplay;
}

std::optional<QPointF> centreOf(std::optional<QRect> frame)
{
    if (!frame || frame->isEmpty())
        return std::nullopt;
    return QRectF(*frame).center();
}

} // namespace

OrrelPanel::OrrelPanel()
{
    setFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint
             | Qt::WindowDoesNotAcceptFocus);
    setColor(Qt::transparent);
    setTitle(u"Orrel Sentry"_s);
}

void OrrelPanel::setInteractive(bool interactive)
{
    if (interactive == m_isInteractive)
        return;
    m_isInteractive = interactive;
    setFlag(Qt::WindowDoesNotAcceptFocus, !interactive);
}

OrrelWindowController::OrrelWindowController(OrrelViewModel& viewModel, Settings& settings,
                                             Desktop desktop, Clock clock, QObject* parent)
    : QObject(parent), m_viewModel(viewModel), m_settings(settings), m_desktop(desktop),
      m_clock(std::move(clock)), m_panel(std::make_unique<OrrelPanel>())
{
    const auto display = preferredDisplay();
    const OrrelGeometry geometry = display ? OrrelGeometry::measure(display->metrics)
                                           : OrrelGeometry::withoutHousing(QSizeF(1280, 800));
    m_surfaceState = std::make_unique<OrrelSurfaceState>(
        geometry, false, m_settings.compactIndicatorMode(), m_clock);
    if (display) {
        m_settling.adoptPreferredScreenImmediately(display->number);
        m_displayFrame = display->metrics.frame.toRect();
    }

    connect(&m_viewModel, &OrrelViewModel::presentationChanged, this,
            &OrrelWindowController::presentationDidChange);
    // Another agent's card in the same shape starts from its own first guess.
    connect(&m_viewModel, &OrrelViewModel::changed, this, [this] {
        if (m_viewModel.presentation().isFocused() && m_viewModel.selected() != m_sizedSelection)
            prepareAdaptiveHeight();
    });
    connect(m_surfaceState.get(), &OrrelSurfaceState::visibleSizeChanged, this, [this] {
        if (!m_collapsing)
            setPanelFrame();
    });
    // No animation of the window itself: the panel takes at once the height the views asked for.
    connect(m_surfaceState.get(), &OrrelSurfaceState::requestedExpandedHeightChanged, this, [this] {
        m_surfaceState->setRenderedExpandedHeight(m_surfaceState->requestedExpandedHeight());
    });
    connect(&m_settings, &Settings::compactIndicatorModeChanged, this, [this] {
        m_surfaceState->updateCompactIndicatorMode(m_settings.compactIndicatorMode());
    });
    connect(&m_settings, &Settings::displayPlacementChanged, this,
            &OrrelWindowController::placementDidChange);
    connect(m_panel.get(), &QWindow::activeChanged, this,
            &OrrelWindowController::activationDidChange);
    connect(m_panel.get(), &QWindow::widthChanged, this, [this] {
        if (m_root)
            m_root->setWidth(m_panel->width());
    });
    connect(m_panel.get(), &QWindow::heightChanged, this, [this] {
        if (m_root)
            m_root->setHeight(m_panel->height());
    });
    m_screenPollTimer.setInterval(screenPollInterval);
    connect(&m_screenPollTimer, &QTimer::timeout, this,
            &OrrelWindowController::screenSelectionMayHaveChanged);
}

OrrelWindowController::~OrrelWindowController()
{
    tearDown();
    // The views bind to the surface state: they go first.
    delete m_root;
    m_engine.reset();
}

bool OrrelWindowController::load(const QUrl& root, const QVariantMap& properties)
{
    m_engine = std::make_unique<QQmlEngine>();
    QQmlComponent component(m_engine.get(), root);
    QObject* created = component.createWithInitialProperties(properties);
    auto* item = qobject_cast<QQuickItem*>(created);
    if (!item) {
        qWarning().noquote() << "Orrel Sentry: the surface's views could not be built:"
                             << component.errorString();
        delete created;
        return false;
    }
    m_root = item;
    item->setParentItem(m_panel->contentItem());
    item->setSize(m_panel->size());
    return true;
}

void OrrelWindowController::show()
{
    if (const auto display = preferredDisplay())
        applyPresentation(*display);
    else
        setPanelFrame();
    m_panel->show();
    if (m_desktop.panel)
        m_desktop.panel->keepPanelOnEveryWorkspace(std::uint32_t(m_panel->winId()));
}

void OrrelWindowController::startObservers()
{
    if (m_observing)
        return;
    m_observing = true;
    auto* application = qGuiApp;
    // A display that comes or goes changes the list only after the signal: look once it settled.
    const auto adoptSoon = [this] {
        QTimer::singleShot(0, this, &OrrelWindowController::adoptPreferredScreenImmediately);
    };
    connect(application, &QGuiApplication::screenAdded, this, [this, adoptSoon](QScreen* screen) {
        watchScreen(screen);
        adoptSoon();
    });
    connect(application, &QGuiApplication::screenRemoved, this, adoptSoon);
    connect(application, &QGuiApplication::primaryScreenChanged, this, adoptSoon);
    for (QScreen* screen : QGuiApplication::screens())
        watchScreen(screen);
    if (followsFocus(m_settings.displayPlacement()))
        m_screenPollTimer.start();
}

void OrrelWindowController::watchScreen(QScreen* screen)
{
    connect(screen, &QScreen::geometryChanged, this,
            &OrrelWindowController::adoptPreferredScreenImmediately);
    connect(screen, &QScreen::availableGeometryChanged, this,
            &OrrelWindowController::adoptPreferredScreenImmediately);
}

void OrrelWindowController::tearDown()
{
    m_screenPollTimer.stop();
    if (m_observing) {
        disconnect(qGuiApp, nullptr, this, nullptr);
        for (QScreen* screen : QGuiApplication::screens())
            disconnect(screen, nullptr, this, nullptr);
        m_observing = false;
    }
    m_panel->hide();
}

QRect OrrelWindowController::frame() const
{
    return m_panel->geometry();
}

std::vector<OrrelDisplay> OrrelWindowController::displays() const
{
    std::vector<OrrelDisplay> result;
    const QScreen* primary = QGuiApplication::primaryScreen();
    for (QScreen* screen : QGuiApplication::screens()) {
        // Linux reports no camera housing: no inset and no areas beside one.
        result.push_back({screen->name(),
                          {QRectF(screen->geometry()), QRectF(screen->availableGeometry()), 0,
                           std::nullopt, std::nullopt},
                          screen == primary});
    }
    return result;
}

std::optional<OrrelDisplay> OrrelWindowController::preferredDisplay() const
{
    const DisplayPlacement placement = m_settings.displayPlacement();
    std::optional<QPointF> focusPoint;
    std::optional<QPointF> terminalPoint;
    if (followsFocus(placement)) {
        if (m_desktop.windows && m_desktop.panel) {
            const auto active = m_desktop.windows->activeWindow();
            if (active && *active != std::uint32_t(m_panel->winId()))
                focusPoint = centreOf(m_desktop.panel->windowFrame(*active));
        }
        if (!focusPoint)
            focusPoint = QPointF(QCursor::pos());
    }
    if (placement == DisplayPlacement::terminalDisplay && m_desktop.windows && m_desktop.panel) {
        std::vector<TerminalProfile> profiles = TerminalProfile::supported();
        const TerminalActivator::Selection selection = m_settings.terminalSelection();
        if (const auto* preferred = std::get_if<TerminalActivator::Preferred>(&selection))
            profiles.insert(profiles.begin(), preferred->profile);
        const auto candidates =
            TerminalActivator::runningCandidates(profiles, m_desktop.windows->windows());
        if (!candidates.empty())
            terminalPoint =
                centreOf(m_desktop.panel->windowFrame(candidates.front().window.windowID));
    }
    return preferredScreen(placement, displays(), focusPoint, terminalPoint);
}

QScreen* OrrelWindowController::screenNamed(const QString& number) const
{
    for (QScreen* screen : QGuiApplication::screens()) {
        if (screen->name() == number)
            return screen;
    }
    return nullptr;
}

void OrrelWindowController::applyPresentation(const OrrelDisplay& display)
{
    m_displayFrame = display.metrics.frame.toRect();
    if (QScreen* screen = screenNamed(display.number))
        m_panel->setScreen(screen);
    m_surfaceState->updateGeometry(OrrelGeometry::measure(display.metrics));
    if (m_viewModel.presentation().isExpanded())
        prepareAdaptiveHeight();
    setPanelFrame();
}

void OrrelWindowController::screenSelectionMayHaveChanged()
{
    const auto display = preferredDisplay();
    if (display && m_settling.screenSelectionMayHaveChanged(display->number, m_clock.now())) {
        applyPresentation(*display);
        Q_EMIT screenChanged();
    }
}

void OrrelWindowController::adoptPreferredScreenImmediately()
{
    const auto display = preferredDisplay();
    if (!display)
        return;
    m_settling.adoptPreferredScreenImmediately(display->number);
    applyPresentation(*display);
    Q_EMIT screenChanged();
}

void OrrelWindowController::placementDidChange()
{
    if (m_observing && followsFocus(m_settings.displayPlacement()))
        m_screenPollTimer.start();
    else
        m_screenPollTimer.stop();
    adoptPreferredScreenImmediately();
}

void OrrelWindowController::presentationDidChange()
{
    const OrrelPresentation& presentation = m_viewModel.presentation();
    if (presentation.isExpanded())
        prepareAdaptiveHeight();
    m_surfaceState->setPresentation(presentation);
    transition(presentation.isExpanded());
}

void OrrelWindowController::prepareAdaptiveHeight()
{
    const OrrelGeometry& geometry = m_surfaceState->geometry();
    const OrrelPresentation& presentation = m_viewModel.presentation();
    if (presentation.isOverview()) {
        m_surfaceState->prepareOverview(
            geometry.overviewHeight(m_viewModel.agentCount(), 0, false));
        return;
    }
    const auto& selected = m_viewModel.selected();
    if (!presentation.isFocused() || !selected)
        return;
    int choiceCount = 0;
    bool hasEvidence = false;
    const auto state = m_viewModel.selectedState();
    if (state && state->interaction) {
        choiceCount = int(InteractionDisplayModel::from(*state->interaction).choices.size());
        hasEvidence = state->interaction->contentEvidence.has_value();
    }
    const bool hasShelf = choiceCount == 0 || m_viewModel.canSendIdlePrompt();
    m_sizedSelection = selected;
    m_surfaceState->prepareFocused(selected->id(),
                                   geometry.focusedHeight(choiceCount, hasEvidence, hasShelf));
}

void OrrelWindowController::transition(bool expanding)
{
    const quint64 revision = ++m_transitionRevision;
    if (expanding) {
        m_collapsing = false;
        m_panel->setInteractive(true);
        setPanelFrame();
        m_panel->raise();
        m_panel->requestActivate();
        return;
    }
    m_collapsing = true;
    const auto delay = m_surfaceState->reduceMotion() ? 0ms : collapseAnimation;
    QTimer::singleShot(delay, this, [this, revision] { finishCollapse(revision); });
}

void OrrelWindowController::finishCollapse(quint64 revision)
{
    // An expansion that came during the collapse wins.
    if (revision != m_transitionRevision)
        return;
    m_collapsing = false;
    setPanelFrame();
    m_panel->setInteractive(false);
}

void OrrelWindowController::setPanelFrame()
{
    const QSizeF size = m_surfaceState->visibleSize();
    const int width = std::max(1, int(std::lround(size.width())));
    const int height = std::max(1, int(std::lround(size.height())));
    // Centred on the display and flush with its top.
    const int x = m_displayFrame.x() + (m_displayFrame.width() - width) / 2;
    m_panel->setGeometry(x, m_displayFrame.y(), width, height);
}

void OrrelWindowController::activationDidChange()
{
    const bool active = m_panel->isActive();
    // Focus that moves elsewhere, a click outside among others, closes the expanded surface.
    if (m_wasActive && !active && m_viewModel.presentation().isExpanded())
        m_viewModel.setPresentation(OrrelPresentation::compact());
    m_wasActive = active;
}
