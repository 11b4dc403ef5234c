#include "HerdrClient/Responding/InteractionCoordinator.h"

#include <algorithm>
#include <set>

using namespace Qt::StringLiterals;

namespace {

// Adds a pane once: the first reason stays.
void appendRefresh(std::vector<std::pair<QString, InteractionRefreshReason>>& list,
                   const QString& paneID, InteractionRefreshReason reason)
{
    const bool listed =
        std::ranges::any_of(list, [&](const auto& entry) { return entry.first == paneID; });
    if (!listed)
        list.emplace_back(paneID, reason);
}

} // namespace

InteractionCoordinator::InteractionCoordinator(InteractionProviding& reader,
                                               InteractionResponding& responder, Clock clock,
                                               Settings settings, QObject* parent)
    : QObject(parent), m_reader(&reader), m_responder(&responder), m_clock(std::move(clock)),
      m_settings(settings)
{
    m_settings.fallbackPollInterval = std::max(1, m_settings.fallbackPollInterval);
}

InteractionCoordinator::InteractionCoordinator(InteractionProviding& reader,
                                               InteractionResponding& responder, Clock clock,
                                               QObject* parent)
    : InteractionCoordinator(reader, responder, std::move(clock), Settings{}, parent)
{
}

QCoro::Task<InteractionReconcileResult> InteractionCoordinator::reconcile(
    std::vector<InteractionPaneSnapshot> panes, std::vector<QString> newlyBlockedPaneIDs,
    bool preserveSelectedResolvedPane, bool countsTowardFallbackCadence)
{
    InteractionReconcileResult result;
    if (countsTowardFallbackCadence)
        ++m_pollIndex;

    // herdr's snapshots hold no duplicate ids; should one come, the later entry wins.
    m_knownPanes.clear();
    for (InteractionPaneSnapshot& pane : panes)
        m_knownPanes.insert_or_assign(pane.paneID, std::move(pane));

    std::set<QString> blocked;
    for (const auto& [paneID, pane] : m_knownPanes) {
        if (pane.isBlocked)
            blocked.insert(paneID);
    }

    auto summaries = m_completionSummaries;
    std::erase_if(summaries, [&](const auto& entry) {
        const auto known = m_knownPanes.find(entry.first);
        return known == m_knownPanes.end() || known->second.isBlocked || known->second.isWorking;
    });
    if (summaries != m_completionSummaries) {
        m_completionSummaries = std::move(summaries);
        Q_EMIT completionSummariesChanged();
    }

    std::vector<QString> leaving;
    for (const auto& [paneID, record] : m_states) {
        if (!blocked.contains(paneID))
            leaving.push_back(paneID);
    }
    for (const QString& paneID : leaving) {
        archiveAndRemove(paneID);
        result.removedPaneIDs.push_back(paneID);
        if (m_selectedPaneID == paneID
            && !(m_knownPanes.contains(paneID) && preserveSelectedResolvedPane))
            setSelectedPaneID(std::nullopt);
    }
    if (m_selectedPaneID) {
        if (!m_knownPanes.contains(*m_selectedPaneID))
            setSelectedPaneID(std::nullopt);
        else if (!blocked.contains(*m_selectedPaneID) && !preserveSelectedResolvedPane)
            setSelectedPaneID(std::nullopt);
    }

    // New records get their generations in the caller's order first, then by pane id.
    std::vector<QString> created;
    for (const QString& paneID : newlyBlockedPaneIDs) {
        if (blocked.contains(paneID) && std::ranges::find(created, paneID) == created.end()) {
            ensureBlockedState(paneID);
            created.push_back(paneID);
        }
    }
    for (const QString& paneID : blocked) {
        if (ensureBlockedState(paneID) && std::ranges::find(created, paneID) == created.end())
            created.push_back(paneID);
    }

    std::vector<std::pair<QString, InteractionRefreshReason>> refreshes;
    for (const QString& paneID : created)
        appendRefresh(refreshes, paneID, InteractionRefreshReason::newlyBlocked);

    for (const QString& paneID : blocked) {
        if (std::ranges::find(created, paneID) != created.end())
            continue;
        const InteractionPaneSnapshot& pane = m_knownPanes.at(paneID);
        const PaneInteractionState* existing = record(paneID);
        if (!existing || existing->phase != PaneInteractionPhase::idle)
            continue;
        const auto reading = m_refreshingGenerations.find(paneID);
        if (reading != m_refreshingGenerations.end()
            && reading->second == existing->blockedSequence)
            continue;
        if (pane.revision && existing->lastRevision && *pane.revision != *existing->lastRevision)
            appendRefresh(refreshes, paneID, InteractionRefreshReason::revisionChanged);
        else if (!countsTowardFallbackCadence)
            continue;
        else if (m_selectedPaneID == paneID)
            appendRefresh(refreshes, paneID, InteractionRefreshReason::selected);
        else if (m_pollIndex % m_settings.fallbackPollInterval != 0)
            continue;
        else if (!pane.revision || !m_settings.revisionReliable)
            appendRefresh(refreshes, paneID, InteractionRefreshReason::fallbackCadence);
    }

    QPointer<InteractionCoordinator> self{this};
    for (const auto& [paneID, reason] : refreshes) {
        const bool installed = co_await refresh(paneID, reason);
        if (!self)
            co_return result;
        if (installed)
            result.refreshedPaneIDs.push_back(paneID);
    }
    co_return result;
}

QCoro::Task<> InteractionCoordinator::select(QString paneID)
{
    setSelectedPaneID(paneID);
    if (!isKnownAndBlocked(paneID))
        co_return;
    ensureBlockedState(paneID);
    co_await refresh(paneID, InteractionRefreshReason::explicitSelection);
}

void InteractionCoordinator::clearSelection()
{
    setSelectedPaneID(std::nullopt);
}

std::optional<PaneInteractionState> InteractionCoordinator::state(const QString& paneID) const
{
    const auto found = m_states.find(paneID);
    if (found == m_states.end())
        return std::nullopt;
    return found->second;
}

std::optional<PaneInteractionState> InteractionCoordinator::selectedState() const
{
    if (!m_selectedPaneID)
        return std::nullopt;
    return state(*m_selectedPaneID);
}

std::vector<QString> InteractionCoordinator::attentionOrder() const
{
    std::vector<const PaneInteractionState*> waiting;
    bool selectedWaits = false;
    for (const auto& [paneID, record] : m_states) {
        if (!isKnownAndBlocked(paneID))
            continue;
        if (m_selectedPaneID == paneID)
            selectedWaits = true;
        else
            waiting.push_back(&record);
    }
    std::ranges::sort(waiting, [](const PaneInteractionState* a, const PaneInteractionState* b) {
        if (a->blockedSequence != b->blockedSequence)
            return a->blockedSequence > b->blockedSequence;
        return a->paneID < b->paneID;
    });
    std::vector<QString> order;
    if (selectedWaits)
        order.push_back(*m_selectedPaneID);
    for (const PaneInteractionState* record : waiting)
        order.push_back(record->paneID);
    return order;
}

std::optional<QString> InteractionCoordinator::completionSummary(const QString& paneID) const
{
    const auto found = m_completionSummaries.find(paneID);
    if (found == m_completionSummaries.end())
        return std::nullopt;
    return found->second;
}

void InteractionCoordinator::cacheCompletionSummary(QString text, const QString& paneID)
{
    const QString trimmed = text.trimmed();
    const auto known = m_knownPanes.find(paneID);
    if (trimmed.isEmpty() || known == m_knownPanes.end() || known->second.isBlocked
        || known->second.isWorking)
        return;
    const auto stored = m_completionSummaries.find(paneID);
    if (stored != m_completionSummaries.end() && stored->second == trimmed)
        return;
    m_completionSummaries.insert_or_assign(paneID, trimmed);
    Q_EMIT completionSummariesChanged();
}

std::optional<QString> InteractionCoordinator::draftText(const QString& paneID) const
{
    const auto found = m_states.find(paneID);
    if (found == m_states.end() || found->second.draft.state != InteractionDraftState::attached)
        return std::nullopt;
    return found->second.draft.text;
}

bool InteractionCoordinator::setDraftText(QString text, const QString& paneID)
{
    const PaneInteractionState* existing = record(paneID);
    if (!existing || !existing->interaction)
        return false;
    PaneInteractionState copy = *existing;
    if (copy.draft.state == InteractionDraftState::stale) {
        copy.error = u"This saved draft belongs to an older interaction."_s;
        store(std::move(copy));
        return false;
    }
    copy.draft = {std::move(text), copy.interaction->fingerprint(),
                  InteractionDraftState::attached};
    store(std::move(copy));
    return true;
}

bool InteractionCoordinator::confirmDraftReuse(const QString& paneID)
{
    const PaneInteractionState* existing = record(paneID);
    if (!existing || !existing->interaction
        || existing->draft.state != InteractionDraftState::stale)
        return false;
    PaneInteractionState copy = *existing;
    copy.draft.fingerprint = copy.interaction->fingerprint();
    copy.draft.state = InteractionDraftState::attached;
    copy.error.reset();
    store(std::move(copy));
    return true;
}

void InteractionCoordinator::discardDraft(const QString& paneID)
{
    clearDraft(paneID);
    if (m_archivedDrafts.erase(paneID) > 0)
        Q_EMIT archivedDraftsChanged();
}

bool InteractionCoordinator::isKnownAndBlocked(const QString& paneID) const
{
    const auto known = m_knownPanes.find(paneID);
    return known != m_knownPanes.end() && known->second.isBlocked;
}

PaneInteractionState* InteractionCoordinator::record(const QString& paneID)
{
    const auto found = m_states.find(paneID);
    return found == m_states.end() ? nullptr : &found->second;
}

PaneInteractionState* InteractionCoordinator::record(const QString& paneID, quint64 generation)
{
    PaneInteractionState* found = record(paneID);
    return found && found->blockedSequence == generation ? found : nullptr;
}

void InteractionCoordinator::store(PaneInteractionState record)
{
    const auto found = m_states.find(record.paneID);
    if (found != m_states.end() && found->second == record)
        return;
    const QString paneID = record.paneID;
    m_states.insert_or_assign(paneID, std::move(record));
    Q_EMIT stateChanged(paneID);
}

void InteractionCoordinator::setSelectedPaneID(std::optional<QString> paneID)
{
    if (m_selectedPaneID == paneID)
        return;
    m_selectedPaneID = std::move(paneID);
    Q_EMIT selectionChanged();
}

PaneInteractionDraft InteractionCoordinator::takeArchivedDraft(const QString& paneID)
{
    const auto archived = m_archivedDrafts.find(paneID);
    if (archived == m_archivedDrafts.end())
        return {};
    PaneInteractionDraft draft = std::move(archived->second);
    m_archivedDrafts.erase(archived);
    Q_EMIT archivedDraftsChanged();
    return draft;
}

bool InteractionCoordinator::ensureBlockedState(const QString& paneID)
{
    if (!isKnownAndBlocked(paneID))
        return false;
    const InteractionPaneSnapshot& pane = m_knownPanes.at(paneID);
    if (const PaneInteractionState* existing = record(paneID)) {
        if (existing->agentID != pane.agentID) {
            PaneInteractionState copy = *existing;
            copy.agentID = pane.agentID;
            store(std::move(copy));
        }
        return false;
    }
    ++m_nextBlockedSequence;
    PaneInteractionState fresh;
    fresh.paneID = paneID;
    fresh.draft = takeArchivedDraft(paneID);
    fresh.blockedSequence = m_nextBlockedSequence;
    store(std::move(fresh));
    return true;
}

QCoro::Task<bool> InteractionCoordinator::refresh(QString paneID, InteractionRefreshReason reason)
{
    if (!isKnownAndBlocked(paneID))
        co_return false;
    const InteractionPaneSnapshot pane = m_knownPanes.at(paneID);
    ensureBlockedState(paneID);
    const PaneInteractionState* existing = record(paneID);
    if (!existing || existing->phase != PaneInteractionPhase::idle)
        co_return false;
    const quint64 generation = existing->blockedSequence;
    if (const auto reading = m_refreshingGenerations.find(paneID);
        reading != m_refreshingGenerations.end() && reading->second == generation)
        co_return false;
    m_refreshingGenerations.insert_or_assign(paneID, generation);

    // A pane with a prompt on show is re-read silently; only a first read shows as reading.
    const bool showsReading = !existing->interaction;
    if (showsReading)
        setPhase(PaneInteractionPhase::reading, paneID);

    QPointer<InteractionCoordinator> self{this};
    InteractionReadResult read =
        co_await m_reader->interaction(paneID, pane.agentID, pane.revision);
    if (!self)
        co_return false;
    if (const auto reading = m_refreshingGenerations.find(paneID);
        reading != m_refreshingGenerations.end() && reading->second == generation)
        m_refreshingGenerations.erase(reading);

    const PaneInteractionState* now = record(paneID, generation);
    const PaneInteractionPhase expectedPhase =
        showsReading ? PaneInteractionPhase::reading : PaneInteractionPhase::idle;
    if (!now || now->phase != expectedPhase)
        co_return false;
    if (read) {
        install(*read, paneID, reason, pane.revision, false);
        co_return true;
    }
    if (showsReading)
        setPhase(PaneInteractionPhase::idle, paneID);
    setError(read.error().errorDescription(), paneID);
    co_return false;
}

void InteractionCoordinator::install(const PendingInteraction& interaction, const QString& paneID,
                                     InteractionRefreshReason reason,
                                     std::optional<quint64> observedRevision, bool preservingPhase)
{
    const PaneInteractionState* existing = record(paneID);
    if (!existing)
        return;
    PaneInteractionState copy = *existing;
    const InteractionFingerprint fingerprint = interaction.fingerprint();
    if (copy.draft.fingerprint && !copy.draft.text.isEmpty()
        && *copy.draft.fingerprint != fingerprint)
        copy.draft.state = InteractionDraftState::stale;
    const auto known = m_knownPanes.find(paneID);
    if (known != m_knownPanes.end() && known->second.agentID)
        copy.agentID = known->second.agentID;
    else
        copy.agentID = interaction.evidence.agentID;
    copy.interaction = interaction;
    copy.lastRevision = observedRevision;
    copy.lastRefreshReason = reason;
    copy.error.reset();
    if (!preservingPhase)
        copy.phase = PaneInteractionPhase::idle;
    if (copy == *existing)
        return;
    copy.lastReadAt = m_clock.now();
    store(std::move(copy));
}

void InteractionCoordinator::archiveAndRemove(const QString& paneID)
{
    const auto found = m_states.find(paneID);
    if (found == m_states.end())
        return;
    PaneInteractionDraft draft = std::move(found->second.draft);
    m_states.erase(found);
    Q_EMIT stateChanged(paneID);
    if (draft.text.isEmpty())
        return;
    draft.state = InteractionDraftState::stale;
    m_archivedDrafts.insert_or_assign(paneID, std::move(draft));
    Q_EMIT archivedDraftsChanged();
}

void InteractionCoordinator::setPhase(PaneInteractionPhase phase, const QString& paneID)
{
    const PaneInteractionState* existing = record(paneID);
    if (!existing || existing->phase == phase)
        return;
    PaneInteractionState copy = *existing;
    copy.phase = phase;
    store(std::move(copy));
}

void InteractionCoordinator::setError(std::optional<QString> message, const QString& paneID)
{
    const PaneInteractionState* existing = record(paneID);
    if (!existing || existing->error == message)
        return;
    PaneInteractionState copy = *existing;
    copy.error = std::move(message);
    store(std::move(copy));
}

void InteractionCoordinator::clearDraft(const QString& paneID)
{
    const PaneInteractionState* existing = record(paneID);
    if (!existing)
        return;
    PaneInteractionState copy = *existing;
    copy.draft = {};
    store(std::move(copy));
}
