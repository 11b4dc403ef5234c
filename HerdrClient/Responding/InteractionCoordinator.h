#pragma once

#include "HerdrClient/Interaction/InteractionProviding.h"
#include "HerdrClient/Responding/Actions.h"
#include "HerdrClient/Responding/InteractionPaneSnapshot.h"
#include "HerdrClient/Responding/InteractionResponding.h"
#include "HerdrClient/Responding/PaneInteractionState.h"
#include "HerdrClient/Support/Clock.h"

#include <QCoroTask>
#include <QObject>
#include <QPointer>
#include <QString>

#include <chrono>
#include <expected>
#include <functional>
#include <map>
#include <optional>
#include <vector>

struct InteractionReconcileResult {
    std::vector<QString> refreshedPaneIDs;
    std::vector<QString> removedPaneIDs;

    bool operator==(const InteractionReconcileResult&) const = default;
};

// One per session: for every pane that waits for a person, the prompt it shows, the draft typed
// for it, and who holds it right now. The session feeds it its panes on every cycle; it reads the
// panes that need it, drops reads that went stale meanwhile, and answers through the responder.
//
// Main thread only. Every member that suspends may find, when it resumes, that the pane has left
// and come back: it compares the record's `blockedSequence` (its generation) with the one it took
// before and drops its result when they differ. The reader and the responder must outlive every
// call started here.
class InteractionCoordinator : public QObject {
    Q_OBJECT

public:
    struct Settings {
        // Every how many counted cycles a waiting pane is read again; below 1 counts as 1.
        int fallbackPollInterval = 4;
        // Whether an unchanged pane revision proves an unchanged screen. herdr moves a pane's
        // revision with its title and tokens only, never with screen output, so the default is
        // false and every waiting pane is re-read on the fallback cadence. The session runtime
        // builds its coordinator with these defaults.
        bool revisionReliable = false;
        int settleAttempts = 8;                            // reads of a manual action's watch
        std::chrono::nanoseconds settleDelay{160'000'000}; // pause before each of them
    };

    // A command that goes around the planner (an interrupt, a raw key, a mode change).
    using ManualAction = std::function<QCoro::Task<ActionSendResult>()>;

    InteractionCoordinator(InteractionProviding& reader, InteractionResponding& responder,
                           Clock clock, Settings settings, QObject* parent = nullptr);
    InteractionCoordinator(InteractionProviding& reader, InteractionResponding& responder,
                           Clock clock, QObject* parent = nullptr);

    // One cycle of the session: forget panes that stopped waiting, make records for new ones,
    // and read those that need it, one after the other.
    QCoro::Task<InteractionReconcileResult> reconcile(std::vector<InteractionPaneSnapshot> panes,
                                                      std::vector<QString> newlyBlockedPaneIDs,
                                                      bool preserveSelectedResolvedPane,
                                                      bool countsTowardFallbackCadence);

    QCoro::Task<> select(QString paneID);
    void clearSelection();

    std::optional<PaneInteractionState> state(const QString& paneID) const;
    std::optional<PaneInteractionState> selectedState() const;
    // Pane ids to show: the selected blocked pane first, then the most recently blocked.
    std::vector<QString> attentionOrder() const;

    const std::map<QString, PaneInteractionState>& states() const { return m_states; }
    const std::optional<QString>& selectedPaneID() const { return m_selectedPaneID; }
    const std::map<QString, PaneInteractionDraft>& archivedDrafts() const
    {
        return m_archivedDrafts;
    }
    const std::map<QString, QString>& completionSummaries() const { return m_completionSummaries; }
    const Settings& settings() const { return m_settings; }

    std::optional<QString> completionSummary(const QString& paneID) const;
    void cacheCompletionSummary(QString text, const QString& paneID);

    // The draft's text while it belongs to the prompt on show; absent once it went stale.
    std::optional<QString> draftText(const QString& paneID) const;
    // Refused (false) without a prompt on show, and for a stale draft, whose text stays.
    bool setDraftText(QString text, const QString& paneID);
    // The person agrees that a stale draft may answer the prompt now on show.
    bool confirmDraftReuse(const QString& paneID);
    void discardDraft(const QString& paneID);

    // Hands a person's answer to the responder and folds the outcome into the record. False when
    // it was refused (busy, nothing on show, not blocked) or failed; the reason is then in the
    // record's `error`, except for the silent refusals.
    QCoro::Task<bool> respond(QString paneID, InteractionResponseIntent intent);
    // The same, with what was read and sent, for a receipt; or the failure, absent for the
    // silent refusals.
    using ResponseReport =
        std::expected<InteractionResponseResult, std::optional<InteractionResponseFailure>>;
    QCoro::Task<ResponseReport> respondReporting(QString paneID, InteractionResponseIntent intent);
    // Runs `operation` on a known pane, blocked or not, then watches the screen settle.
    QCoro::Task<bool> performManualAction(QString paneID, ManualAction operation);

Q_SIGNALS:
    // A record was stored or removed.
    void stateChanged(const QString& paneID);
    void selectionChanged();
    void archivedDraftsChanged();
    void completionSummariesChanged();

private:
    bool isKnownAndBlocked(const QString& paneID) const;
    PaneInteractionState* record(const QString& paneID);
    // The record when it still belongs to `generation`.
    PaneInteractionState* record(const QString& paneID, quint64 generation);
    // Writes only a record that differs from the stored one.
    void store(PaneInteractionState record);
    void setSelectedPaneID(std::optional<QString> paneID);

    // A new record's draft: the one the pane left behind, or an empty one.
    PaneInteractionDraft takeArchivedDraft(const QString& paneID);
    bool ensureBlockedState(const QString& paneID);
    void ensureStateForKnownPane(const QString& paneID);
    QCoro::Task<bool> refresh(QString paneID, InteractionRefreshReason reason);
    void install(const PendingInteraction& interaction, const QString& paneID,
                 InteractionRefreshReason reason, std::optional<quint64> observedRevision,
                 bool preservingPhase);
    void archiveAndRemove(const QString& paneID);
    void setPhase(PaneInteractionPhase phase, const QString& paneID);
    void setError(std::optional<QString> message, const QString& paneID);
    void clearDraft(const QString& paneID);

    void applyResponsePhase(InteractionResponsePhase phase, const QString& paneID,
                            const InteractionFingerprint& expected, quint64 generation);
    QCoro::Task<> settleManual(QString paneID, std::optional<PendingInteraction> original,
                               quint64 generation);
    // The responder's `onPhase`: hops to the main thread and does nothing once the coordinator
    // is gone.
    static QCoro::Task<> deliverPhase(QPointer<InteractionCoordinator> coordinator,
                                      InteractionResponsePhase phase, QString paneID,
                                      InteractionFingerprint expected, quint64 generation);

    InteractionProviding* m_reader;
    InteractionResponding* m_responder;
    Clock m_clock;
    Settings m_settings;

    std::map<QString, PaneInteractionState> m_states;
    std::optional<QString> m_selectedPaneID;
    std::map<QString, PaneInteractionDraft> m_archivedDrafts;
    std::map<QString, QString> m_completionSummaries;

    std::map<QString, InteractionPaneSnapshot> m_knownPanes;
    std::map<QString, quint64> m_refreshingGenerations; // reads under way, by generation
    qint64 m_pollIndex = 0;
    quint64 m_nextBlockedSequence = 0;
};
