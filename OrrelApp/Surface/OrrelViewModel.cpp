// The view model's life, its presentation, and its reaction to each cycle of a session runtime.
#include "OrrelApp/Surface/OrrelViewModel.h"

#include "OrrelApp/Alerts/SoundEngine.h"
#include "OrrelApp/Sessions/SessionDiscoveryLoop.h"
#include "OrrelApp/Sessions/SessionRegistry.h"
#include "OrrelApp/Sessions/SessionRuntime.h"
#include "OrrelApp/Shell/Settings.h"
#include "OrrelApp/Surface/PaneDisplayIdentity.h"

#include <QPointer>

using namespace Qt::StringLiterals;

OrrelViewModel::OrrelViewModel(std::unique_ptr<SessionRegistry> registry, Clock clock,
                               std::optional<ResolvedSession> pinnedSession, QObject* parent)
    : QObject(parent), m_registry(std::move(registry)), m_clock(std::move(clock)),
      m_pinnedSession(std::move(pinnedSession))
{
    connect(m_registry.get(), &SessionRegistry::runtimesChanged, this,
            &OrrelViewModel::notifyChanged);
    connect(m_registry.get(), &SessionRegistry::discoveryErrorChanged, this,
            &OrrelViewModel::notifyChanged);
}

OrrelViewModel::~OrrelViewModel()
{
    stop();
}

void OrrelViewModel::setDiscovery(std::unique_ptr<SessionDiscoveryLoop> discovery)
{
    m_discovery = std::move(discovery);
    if (m_discovery)
        connect(m_discovery.get(), &SessionDiscoveryLoop::turnFinished, this,
                &OrrelViewModel::notifyChanged);
}

bool OrrelViewModel::isDiscovering() const
{
    return m_discovery && m_discovery->completedTurns() == 0;
}

void OrrelViewModel::start(Collaborators collaborators)
{
    if (m_started)
        return;
    m_started = true;
    m_collaborators = collaborators;
    if (Settings* settings = m_collaborators.settings) {
        const auto ignore = [this, settings] {
            const QStringList names = settings->ignoredSessionNames();
            m_registry->setIgnoredLocalSessionNames(QSet<QString>(names.begin(), names.end()));
        };
        ignore();
        connect(settings, &Settings::ignoredSessionNamesChanged, this, ignore);
        connect(settings, &Settings::remoteHostsChanged, this,
                &OrrelViewModel::remoteHostsDidChange);
    }
    m_registry->start(this);
    if (m_pinnedSession)
        m_registry->apply({*m_pinnedSession});
    else if (m_discovery)
        m_discovery->start();
}

void OrrelViewModel::stop()
{
    if (!m_started)
        return;
    m_started = false;
    if (m_discovery)
        m_discovery->stop();
    m_registry->stop();
}

QCoro::Task<> OrrelViewModel::stopped()
{
    QPointer<OrrelViewModel> self{this};
    if (m_discovery)
        co_await m_discovery->stopped();
    if (self)
        co_await m_registry->released();
}

void OrrelViewModel::remoteHostsDidChange()
{
    if (m_started && m_discovery)
        m_discovery->refreshNow();
}

const std::vector<SessionRuntime*>& OrrelViewModel::runtimes() const
{
    return m_registry->runtimes();
}

SessionRuntime* OrrelViewModel::runtime(const QString& sessionID) const
{
    for (SessionRuntime* runtime : runtimes())
        if (runtime->sessionID() == sessionID)
            return runtime;
    return nullptr;
}

OrrelViewModel::Located OrrelViewModel::locate(const AgentRef& ref) const
{
    SessionRuntime* found = runtime(ref.sessionID);
    return {found, found ? found->store().pane(ref.paneID) : nullptr};
}

void OrrelViewModel::notifyChanged()
{
    Q_EMIT changed();
}

// --- Presentation and selection.

void OrrelViewModel::setPresentation(OrrelPresentation presentation)
{
    if (presentation == m_presentation)
        return;
    m_presentation = std::move(presentation);
    if (m_started)
        m_registry->refreshEventSubscriptionPolicies();
    Q_EMIT presentationChanged();
    notifyChanged();
}

QCoro::Task<> OrrelViewModel::toggle()
{
    if (m_presentation.isExpanded()) {
        setPresentation(OrrelPresentation::compact());
        co_return;
    }
    const std::vector<AgentRef> refs = needsYouRefs();
    if (refs.size() == 1) {
        co_await selectPane(refs.front());
        co_return;
    }
    m_goneCard.reset();
    setPresentation(OrrelPresentation::overview());
}

void OrrelViewModel::showOverview()
{
    setPresentation(OrrelPresentation::overview());
}

QCoro::Task<> OrrelViewModel::selectPane(AgentRef ref)
{
    if (m_presentation.isFocused() && m_selected == ref) {
        m_goneCard.reset();
        setPresentation(OrrelPresentation::overview());
        co_return;
    }
    QPointer<OrrelViewModel> self{this};
    // Named rather than converted in place: g++ 12 destroys a converted temporary of a co_await
    // expression twice.
    const std::optional<AgentRef> target = ref;
    co_await select(target);
    if (!self)
        co_return;
    m_goneCard.reset();
    setPresentation(OrrelPresentation::focused({OrrelExpansionOrigin::manual, true}));
    rememberFocusedIdentity();
}

QCoro::Task<> OrrelViewModel::select(std::optional<AgentRef> ref)
{
    m_selected = ref;
    if (m_started)
        m_registry->refreshEventSubscriptionPolicies();
    notifyChanged();
    // Only the session that holds the pane keeps a selection of its own.
    std::vector<QPointer<SessionRuntime>> others;
    SessionRuntime* holder = nullptr;
    for (SessionRuntime* runtime : runtimes()) {
        if (ref && runtime->sessionID() == ref->sessionID)
            holder = runtime;
        else if (runtime->selectedPaneID())
            others.emplace_back(runtime);
    }
    const std::optional<QString> none;
    for (const auto& runtime : others)
        if (runtime)
            co_await runtime->select(none);
    if (holder) {
        const std::optional<QString> paneID = ref->paneID;
        co_await holder->select(paneID);
    }
}

RollupStatus OrrelViewModel::selectedStatus() const
{
    if (!m_selected)
        return RollupStatus::unknown;
    const Located located = locate(*m_selected);
    return located.pane ? located.runtime->store().derivedStatus(m_selected->paneID)
                        : RollupStatus::unknown;
}

std::optional<PaneInteractionState> OrrelViewModel::selectedState() const
{
    if (!m_selected)
        return std::nullopt;
    const Located located = locate(*m_selected);
    return located.runtime ? located.runtime->interactions().state(m_selected->paneID)
                           : std::nullopt;
}

std::optional<QString> OrrelViewModel::selectedProjectTitle() const
{
    if (!m_selected)
        return std::nullopt;
    const Located located = locate(*m_selected);
    if (!located.pane)
        return std::nullopt;
    return projectTitle(located.runtime->store(), *located.pane);
}

std::optional<QString> OrrelViewModel::refusalNotice(const AgentRef& ref) const
{
    const auto found = m_refusalNotices.find(ref);
    return found == m_refusalNotices.end() ? std::nullopt : std::optional(found->second);
}

std::optional<QString> OrrelViewModel::changedUnderYou(const AgentRef& ref) const
{
    const auto found = m_changedUnderYou.find(ref);
    return found == m_changedUnderYou.end() ? std::nullopt : std::optional(found->second);
}

void OrrelViewModel::dismissJumpNotice()
{
    if (!m_jumpNotice)
        return;
    m_jumpNotice.reset();
    notifyChanged();
}

void OrrelViewModel::setHotkeyConflict(bool conflict)
{
    if (conflict == m_hotkeyConflict)
        return;
    m_hotkeyConflict = conflict;
    notifyChanged();
}

std::optional<QString> OrrelViewModel::interruptError(const AgentRef& ref) const
{
    const auto found = m_interruptErrors.find(ref);
    return found == m_interruptErrors.end() ? std::nullopt : std::optional(found->second);
}

QString OrrelViewModel::paneTitle(const AgentRef& ref) const
{
    const Located located = locate(ref);
    if (located.pane)
        return taskTitle(located.runtime->store(), *located.pane);
    const auto remembered = m_lastFocusedTitles.find(ref);
    return remembered == m_lastFocusedTitles.end() ? ref.paneID : remembered->second;
}

QString OrrelViewModel::cardSubtitle(const AgentRef& ref) const
{
    const Located located = locate(ref);
    if (!located.pane)
        return {};
    QString subtitle = projectTitle(located.runtime->store(), *located.pane);
    if (located.runtime->descriptor().isRemote() || runtimes().size() > 1)
        subtitle += u" · "_s + located.runtime->descriptor().label();
    return subtitle;
}

std::optional<QString> OrrelViewModel::cwd(const AgentRef& ref) const
{
    const Located located = locate(ref);
    if (!located.pane)
        return std::nullopt;
    return located.pane->foregroundCwd ? located.pane->foregroundCwd : located.pane->cwd;
}

OrrelViewModel::DisplaySnapshot OrrelViewModel::displaySnapshot(Timestamp at) const
{
    DisplaySnapshot snapshot{attentionItems(at), std::nullopt};
    const auto selected =
        std::ranges::find_if(snapshot.items, [](const auto& item) { return item.isSelected; });
    if (selected != snapshot.items.end())
        snapshot.selectedItem = *selected;
    return snapshot;
}

void OrrelViewModel::rememberFocusedIdentity()
{
    if (!m_selected || !locate(*m_selected).pane)
        return;
    m_lastFocusedTitles[*m_selected] = paneTitle(*m_selected);
    m_lastFocusedSubtitles[*m_selected] = cardSubtitle(*m_selected);
}

// --- What a runtime asks of its host.

bool OrrelViewModel::usesPerPaneStatusSubscriptions(const SessionRuntime& runtime) const
{
    if (!m_presentation.isFocused())
        return false;
    return m_selected && m_selected->sessionID == runtime.sessionID();
}

bool OrrelViewModel::isVisibleSession(const SessionRuntime& runtime) const
{
    if (m_presentation == OrrelPresentation::compact())
        return false;
    if (m_presentation == OrrelPresentation::overview())
        return true;
    return m_selected && m_selected->sessionID == runtime.sessionID();
}

bool OrrelViewModel::preservesResolvedSelection() const
{
    // A card the person opened stays on its agent after the prompt resolves, so that the receipt
    // can be read.
    const auto context = m_presentation.focusContext();
    return context && context->origin == OrrelExpansionOrigin::manual;
}

bool OrrelViewModel::isSurfaceExpanded() const
{
    return m_presentation.isExpanded();
}

void OrrelViewModel::sessionRuntimeWasRemoved(const QString& sessionID)
{
    if (m_collaborators.notifications)
        m_collaborators.notifications->reconcileBlocked(sessionID, {});
    notifyChanged();
}

// --- The reaction to one cycle.

QCoro::Task<> OrrelViewModel::sessionRuntimeDidObserve(SessionRuntime* runtime,
                                                       StateTransitionResult transitions,
                                                       std::optional<QString>)
{
    const Timestamp at = now();
    const QString sessionID = runtime->sessionID();
    m_compactSignalTracker.update(overallStatus(), !transitions.newlyBlockedPaneIDs.empty(),
                                  !transitions.newlyFinishedPaneIDs.empty(), at);

    // A prompt that came back is a new one: the notice about the old one no longer holds.
    for (const QString& paneID : transitions.newlyBlockedPaneIDs)
        m_changedUnderYou.erase({sessionID, paneID});

    const std::vector<AttentionItem> alerts = runtime->takeNewAlerts();
    for (const AttentionItem& alert : alerts) {
        if (m_collaborators.soundEngine)
            m_collaborators.soundEngine->playAlert();
        m_sentReceipts.erase({sessionID, alert.paneID});
    }

    AgentNotificationPosting* notifications =
        m_collaborators.notifications ? m_collaborators.notifications : &m_noNotifications;
    if (!alerts.empty()) {
        const std::vector<InteractionAttentionDisplayModel> items = attentionItems(at);
        for (const AttentionItem& alert : alerts) {
            const AgentRef ref{sessionID, alert.paneID};
            const auto item = std::ranges::find(items, ref, &InteractionAttentionDisplayModel::ref);
            if (item != items.end())
                notifications->post(*item, AgentNotificationKind::blocked);
            Q_EMIT alerted(ref);
        }
    }
    std::vector<AgentRef> blocked;
    for (const QString& paneID : runtime->attention().blockedPaneIDs())
        blocked.push_back({sessionID, paneID});
    notifications->reconcileBlocked(sessionID, blocked);

    QPointer<OrrelViewModel> self{this};
    QPointer<SessionRuntime> watched{runtime};
    if (m_presentation == OrrelPresentation::compact() && !alerts.empty()) {
        // The selection moves so that one click lands on the agent; the shape does not.
        const std::optional<AgentRef> root = AgentRef{sessionID, alerts.front().rootPaneID};
        co_await select(root);
        if (!self || !watched)
            co_return;
    }

    if (m_selected && m_selected->sessionID == sessionID) {
        synchronizePresentation(runtime);
        handleSelectedPaneResolutionIfNeeded(runtime);
        rememberFocusedIdentity();
    }
    m_registry->refreshEventSubscriptionPolicies();
    notifyChanged();
    Q_EMIT observed(sessionID);
}

void OrrelViewModel::synchronizePresentation(SessionRuntime* runtime)
{
    if (!m_presentation.isFocused() || !m_selected)
        return;
    if (runtime->store().pane(m_selected->paneID))
        return;
    // The pane went while its card was open: keep naming it as it was last shown.
    const auto title = m_lastFocusedTitles.find(*m_selected);
    const auto subtitle = m_lastFocusedSubtitles.find(*m_selected);
    m_goneCard = GoneCard{title == m_lastFocusedTitles.end() ? m_selected->paneID : title->second,
                          subtitle == m_lastFocusedSubtitles.end()
                              ? u"This pane is gone."_s
                              : subtitle->second + u" · This pane is gone."_s};
}

void OrrelViewModel::handleSelectedPaneResolutionIfNeeded(SessionRuntime* runtime)
{
    const auto context = m_presentation.focusContext();
    if (!context || context->origin != OrrelExpansionOrigin::automatic
        || preservesResolvedSelection())
        return;
    const auto state = runtime->interactions().state(m_selected->paneID);
    if (state && state->interaction)
        return;
    runtime->activity().clearSelection();
    setPresentation(context->hasUserEngaged ? OrrelPresentation::overview()
                                            : OrrelPresentation::compact());
}
