// The half of the coordinator that acts: answers through the responder, and manual actions that
// go around the planner and are watched here until the screen settles.

#include "HerdrClient/Responding/InteractionCoordinator.h"

#include <QCoreApplication>
#include <QThread>

using namespace Qt::StringLiterals;

QCoro::Task<bool> InteractionCoordinator::respond(QString paneID, InteractionResponseIntent intent)
{
    const auto result = co_await respondReporting(std::move(paneID), std::move(intent));
    co_return result.has_value();
}

QCoro::Task<InteractionCoordinator::ResponseReport> InteractionCoordinator::respondReporting(
    QString paneID, InteractionResponseIntent intent)
{
    const PaneInteractionState* existing = record(paneID);
    if (!existing || existing->phase != PaneInteractionPhase::idle || !existing->interaction
        || !isKnownAndBlocked(paneID))
        co_return std::unexpected(std::nullopt);

    PaneInteractionState busy = *existing;
    busy.phase = PaneInteractionPhase::responding;
    busy.error.reset();
    store(busy);

    const quint64 generation = busy.blockedSequence;
    const InteractionFingerprint expected = busy.interaction->fingerprint();
    const InteractionPaneSnapshot& pane = m_knownPanes.at(paneID);
    const InteractionResponseRequest request{paneID, pane.agentID, pane.revision, expected, intent};

    QPointer<InteractionCoordinator> self{this};
    InteractionPhaseCallback onPhase = [self, paneID, expected,
                                        generation](InteractionResponsePhase phase) {
        return deliverPhase(self, phase, paneID, expected, generation);
    };
    InteractionResponseOutcome outcome = co_await m_responder->respond(request, std::move(onPhase));
    if (!self) {
        if (outcome)
            co_return *outcome;
        co_return std::unexpected(outcome.error());
    }

    if (outcome) {
        if (!record(paneID, generation))
            co_return *outcome;
        // A preview only moves the terminal's cursor; what the person typed still stands.
        if (intent.kind != InteractionResponseIntent::Kind::previewChoice)
            clearDraft(paneID);
        if (outcome->settledInteraction)
            install(*outcome->settledInteraction, paneID, InteractionRefreshReason::responseSettled,
                    request.paneRevision, false);
        setPhase(PaneInteractionPhase::idle, paneID);
        InteractionResponseResult result = *outcome;
        co_await refresh(paneID, InteractionRefreshReason::responseSettled);
        co_return result;
    }

    const InteractionResponseFailure& failure = outcome.error();
    if (!record(paneID, generation))
        co_return std::unexpected(failure);
    if (failure.isStale() && failure.responderError()->actual) {
        // Show what the terminal shows now, then say why nothing went out; the install and the
        // refresh both clear `error`, so the message comes last.
        install(*failure.responderError()->actual, paneID,
                InteractionRefreshReason::responseSettled, request.paneRevision, false);
        setPhase(PaneInteractionPhase::idle, paneID);
        co_await refresh(paneID, InteractionRefreshReason::responseSettled);
        if (!self || !record(paneID, generation))
            co_return std::unexpected(failure);
        setError(failure.refusalSentence(), paneID);
        co_return std::unexpected(failure);
    }
    setPhase(PaneInteractionPhase::idle, paneID);
    setError(failure.refusalSentence(), paneID);
    co_return std::unexpected(failure);
}

QCoro::Task<bool> InteractionCoordinator::performManualAction(QString paneID,
                                                              ManualAction operation)
{
    ensureStateForKnownPane(paneID);
    const PaneInteractionState* existing = record(paneID);
    if (!existing || existing->phase != PaneInteractionPhase::idle)
        co_return false;

    const std::optional<PendingInteraction> original = existing->interaction;
    PaneInteractionState busy = *existing;
    busy.phase = PaneInteractionPhase::responding;
    busy.error.reset();
    store(busy);
    const quint64 generation = busy.blockedSequence;

    QPointer<InteractionCoordinator> self{this};
    ActionSendResult sent = co_await operation();
    if (!self)
        co_return sent.has_value();
    if (!sent) {
        if (record(paneID, generation)) {
            setPhase(PaneInteractionPhase::idle, paneID);
            setError(sent.error().errorDescription(), paneID);
        }
        co_return false;
    }
    if (!record(paneID, generation))
        co_return true;

    clearDraft(paneID);
    setPhase(PaneInteractionPhase::settling, paneID);
    if (isKnownAndBlocked(paneID)) {
        co_await settleManual(paneID, original, generation);
        if (!self || !record(paneID, generation))
            co_return true;
    }
    setPhase(PaneInteractionPhase::idle, paneID);
    if (!isKnownAndBlocked(paneID))
        archiveAndRemove(paneID);
    co_return true;
}

void InteractionCoordinator::ensureStateForKnownPane(const QString& paneID)
{
    if (record(paneID) || !m_knownPanes.contains(paneID))
        return;
    // Generation 0 and no new number: this record exists for the action only, and a real stay
    // in the blocked state starts its own.
    PaneInteractionState fresh;
    fresh.paneID = paneID;
    fresh.draft = takeArchivedDraft(paneID);
    store(std::move(fresh));
}

void InteractionCoordinator::applyResponsePhase(InteractionResponsePhase phase,
                                                const QString& paneID,
                                                const InteractionFingerprint& expected,
                                                quint64 generation)
{
    const PaneInteractionState* existing = record(paneID, generation);
    if (!existing || !existing->interaction || existing->interaction->fingerprint() != expected)
        return;
    setPhase(phase == InteractionResponsePhase::settling ? PaneInteractionPhase::settling
                                                         : PaneInteractionPhase::responding,
             paneID);
}

QCoro::Task<> InteractionCoordinator::deliverPhase(QPointer<InteractionCoordinator> coordinator,
                                                   InteractionResponsePhase phase, QString paneID,
                                                   InteractionFingerprint expected,
                                                   quint64 generation)
{
    QCoreApplication* application = QCoreApplication::instance();
    if (application && QThread::currentThread() != application->thread()) {
        // The pointer is looked at only on the main thread, where the coordinator dies.
        QMetaObject::invokeMethod(
            application,
            [coordinator, phase, paneID, expected, generation] {
                if (coordinator)
                    coordinator->applyResponsePhase(phase, paneID, expected, generation);
            },
            Qt::QueuedConnection);
        co_return;
    }
    if (coordinator)
        coordinator->applyResponsePhase(phase, paneID, expected, generation);
}

QCoro::Task<> InteractionCoordinator::settleManual(QString paneID,
                                                   std::optional<PendingInteraction> original,
                                                   quint64 generation)
{
    if (m_settings.settleAttempts < 1 || !m_knownPanes.contains(paneID))
        co_return;
    const InteractionPaneSnapshot pane = m_knownPanes.at(paneID);
    const auto stillSettling = [&](InteractionCoordinator* coordinator) {
        const PaneInteractionState* existing = coordinator->record(paneID, generation);
        return existing && existing->phase == PaneInteractionPhase::settling;
    };

    QPointer<InteractionCoordinator> self{this};
    std::optional<PendingInteraction> previous;
    int stableCount = 0;
    for (int attempt = 0; attempt < m_settings.settleAttempts; ++attempt) {
        co_await m_clock.sleep(std::chrono::duration_cast<Seconds>(m_settings.settleDelay));
        if (!self || !stillSettling(this))
            co_return;
        InteractionReadResult read =
            co_await m_reader->interaction(paneID, pane.agentID, pane.revision);
        if (!self || !read || !stillSettling(this))
            co_return;
        install(*read, paneID, InteractionRefreshReason::manualSettled, pane.revision, true);
        if (previous && *read == *previous) {
            ++stableCount;
            if (stableCount >= 2 && (!original || *read != *original))
                co_return;
        } else {
            previous = std::move(*read);
            stableCount = 1;
        }
    }
}
