#pragma once

#include "HerdrClient/Attention/AttentionItem.h"
#include "HerdrClient/Attention/HardFloorVerdict.h"
#include "HerdrClient/Responding/InteractionCoordinator.h"
#include "HerdrClient/Responding/InteractionResponseIntent.h"
#include "HerdrClient/Responding/SentReceipt.h"
#include "HerdrClient/Sessions/ResolvedSession.h"
#include "HerdrClient/State/AgentRef.h"
#include "HerdrClient/State/RollupStatus.h"
#include "HerdrClient/Support/Clock.h"
#include "OrrelApp/Alerts/AgentHotKey.h"
#include "OrrelApp/Alerts/AgentNotificationPosting.h"
#include "OrrelApp/Sessions/SessionRuntimeHost.h"
#include "OrrelApp/Surface/AttentionBoard.h"
#include "OrrelApp/Surface/CompactSignal.h"
#include "OrrelApp/Surface/InteractionAttentionDisplayModel.h"
#include "OrrelApp/Surface/OrrelPresentation.h"
#include "OrrelApp/Surface/SurfaceNotices.h"

#include <QObject>

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <vector>

class SessionDiscoveryLoop;
class StateStore;
struct PaneInfo;
class SessionRegistry;
class SessionRuntime;
class Settings;
class SoundEngine;
class TerminalPresenting;

// The one object behind the surface. It watches every session runtime of its registry, turns
// their state into what the pill, the overview and the card show, and carries out what the
// person asks, always of the agent selected now and only after the live prompt was read again.
// Every refusal is a sentence that ends with what did not happen.
//
// Main thread only. Tasks it starts hold it weakly.
class OrrelViewModel : public QObject, public SessionRuntimeHost {
    Q_OBJECT

public:
    // What the view model works with besides its sessions; each may be absent.
    struct Collaborators {
        Settings* settings = nullptr;
        SoundEngine* soundEngine = nullptr;
        AgentNotificationPosting* notifications = nullptr;
        TerminalPresenting* terminal = nullptr;
    };

    // With a pinned session the registry holds that one alone and nothing is discovered; without
    // one, `discovery` (which may be absent, for tests that apply sessions themselves) runs.
    OrrelViewModel(std::unique_ptr<SessionRegistry> registry, Clock clock,
                   std::optional<ResolvedSession> pinnedSession = std::nullopt,
                   QObject* parent = nullptr);
    ~OrrelViewModel() override;

    void setDiscovery(std::unique_ptr<SessionDiscoveryLoop> discovery);
    // True until the discovery loop has finished its first look; nothing has been heard yet.
    bool isDiscovering() const;
    void start() { start(Collaborators()); }
    void start(Collaborators collaborators);
    void stop();
    // Done once, after stop(), no discovery and no task of a session is left running.
    QCoro::Task<> stopped();
    // Settings changed which hosts are watched: discover again now.
    void remoteHostsDidChange();

    SessionRegistry& registry() const { return *m_registry; }
    const std::vector<SessionRuntime*>& runtimes() const;
    SessionRuntime* runtime(const QString& sessionID) const;
    const std::optional<ResolvedSession>& pinnedSession() const { return m_pinnedSession; }
    Timestamp now() const { return m_clock.now(); }

    // --- What the surface shows.
    std::vector<InteractionAttentionDisplayModel> attentionItems(Timestamp at) const;
    AttentionBoard attentionBoard(Timestamp at) const;
    std::vector<AgentRef> needsYouRefs() const;
    RollupStatus overallStatus() const;
    int agentCount() const;
    bool isRoot(const AgentRef& ref) const;
    void toggleRootExpansion(const AgentRef& ref);
    CompactSignalSnapshot compactSignalSnapshot() const;
    const CompactSignalTracker& compactSignalTracker() const { return m_compactSignalTracker; }

    // --- Presentation and selection.
    const OrrelPresentation& presentation() const { return m_presentation; }
    void setPresentation(OrrelPresentation presentation);
    // Done once the shape has moved; opening onto the one agent that needs the person waits for
    // its selection.
    QCoro::Task<> toggle();
    void showOverview();
    // Opens the card of `ref`, or goes back to the overview when it is already open.
    QCoro::Task<> selectPane(AgentRef ref);
    // Moves the selection; the runtime that holds the pane reads its prompt.
    QCoro::Task<> select(std::optional<AgentRef> ref);
    const std::optional<AgentRef>& selected() const { return m_selected; }
    RollupStatus selectedStatus() const;
    std::optional<PaneInteractionState> selectedState() const;
    std::optional<QString> selectedProjectTitle() const;
    // The card's second line: the project, and the session's name when more than one is open.
    QString cardSubtitle(const AgentRef& ref) const;
    // The folder the agent works in, as herdr last reported it.
    std::optional<QString> cwd(const AgentRef& ref) const;
    // What the views draw from in one go: the rows and the selected one among them.
    struct DisplaySnapshot {
        std::vector<InteractionAttentionDisplayModel> items;
        std::optional<InteractionAttentionDisplayModel> selectedItem;
    };
    DisplaySnapshot displaySnapshot(Timestamp at) const;

    // --- What the person does, always to the selected agent.
    std::optional<QString> answerRefusal(const InteractionResponseIntent& intent) const;
    QCoro::Task<bool> respondToSelectedInteraction(InteractionResponseIntent intent);
    QCoro::Task<bool> answerSelected(qint64 index);
    QCoro::Task<bool> denySelected();
    QCoro::Task<bool> approveSelected();
    QCoro::Task<bool> replySelected(QString text);
    QCoro::Task<bool> answerRecommendedSelected();
    RecommendedChoiceOrder selectedRecommendedOrder() const;

    std::optional<HardFloorVerdict> selectedHardFloor() const;
    QString selectedFloorAskKey() const;
    std::optional<FloorConfirmation> selectedFloorConfirmation() const;
    bool selectedFloorArmed() const;
    // The person's typing toward the selected floor's target.
    void setSelectedFloorText(QString text);

    // Moves the selection through the rows of the overview, wrapping at the ends.
    QCoro::Task<> selectAdjacentPane(int offset);
    QCoro::Task<bool> navigateStep(int direction);
    // The manual controls: they go around the planner, and are refused where an answer would be.
    QCoro::Task<bool> runManualAction(InteractionCoordinator::ManualAction operation);
    QCoro::Task<bool> typeTextWithoutSubmitSelected(QString text);
    QCoro::Task<bool> sendManualTextSelected(QString text);
    QCoro::Task<bool> sendRawKeysSelected(std::vector<QString> keys);
    QCoro::Task<bool> cycleSelectedAgentMode();
    // A global key pressed while the selected agent's card waits: the same road as the card's
    // button for that action, with the same refusals.
    QCoro::Task<bool> performHotKey(AgentHotKey::Action action);
    // A new task for an idle or finished agent.
    bool canSendIdlePrompt() const;
    void setSelectedIdlePromptDraft(QString text);
    QCoro::Task<bool> sendIdlePromptSelected();
    QCoro::Task<bool> retrySelectedWorkingOutput();
    QCoro::Task<> reReadSelected();
    // The answer the person is typing into the selected prompt; kept while that prompt stands.
    bool setSelectedDraftText(QString text);
    bool confirmSelectedDraftReuse();
    void discardSelectedDraft();
    // What to type to attach to a remote session, when a jump could not bring it forward.
    std::optional<QString> jumpAttachCommand() const;

    bool canInterrupt(const AgentRef& ref) const;
    bool isInterrupting(const AgentRef& ref) const { return m_interruptingAgents.contains(ref); }
    QCoro::Task<bool> interrupt(AgentRef ref);
    QCoro::Task<bool> jump(AgentRef ref);
    QCoro::Task<> handleNotificationJump(AgentRef ref);

    std::optional<EscalationCardModel> selectedEscalation() const;
    QCoro::Task<bool> answerEscalation(QString answer);

    std::optional<SentReceipt> selectedReceipt() const;
    void recordReceipt(const AgentRef& ref, const SentReceipt& receipt);
    void dismissReceiptAndCollapse();
    // The latest failure of the selected agent's prompt, as its coordinator recorded it.
    std::optional<QString> lastError() const;
    // Why the last answer to `ref` went nowhere: its refusal, the prompt that changed under the
    // person, or the coordinator's failure; always a sentence that ends with what did not happen.
    QString failureSentence(const AgentRef& ref) const;

    // The notices the card shows for an agent.
    std::optional<QString> refusalNotice(const AgentRef& ref) const;
    std::optional<QString> changedUnderYou(const AgentRef& ref) const;
    std::optional<QString> interruptError(const AgentRef& ref) const;
    const std::optional<GoneCard>& goneCard() const { return m_goneCard; }
    const std::optional<JumpNotice>& jumpNotice() const { return m_jumpNotice; }
    void dismissJumpNotice();
    // The desktop refused one of the agent hot keys.
    bool hotkeyConflict() const { return m_hotkeyConflict; }
    void setHotkeyConflict(bool conflict);
    const std::map<QString, QString>& escalationErrors() const { return m_escalationErrors; }

    // --- SessionRuntimeHost.
    QCoro::Task<> sessionRuntimeDidObserve(SessionRuntime* runtime,
                                           StateTransitionResult transitions,
                                           std::optional<QString> selectedPaneID) override;
    void sessionRuntimeWasRemoved(const QString& sessionID) override;
    bool usesPerPaneStatusSubscriptions(const SessionRuntime& runtime) const override;
    bool isVisibleSession(const SessionRuntime& runtime) const override;
    bool preservesResolvedSelection() const override;
    bool isSurfaceExpanded() const override;

Q_SIGNALS:
    // Anything the surface shows may have changed.
    void changed();
    void presentationChanged();
    // A new alert asked for the chime, the pill's pulse and a notification.
    void alerted(const AgentRef& ref);
    // The reaction to one cycle of a session ended.
    void observed(const QString& sessionID);

private:
    struct Located {
        SessionRuntime* runtime = nullptr;
        const PaneInfo* pane = nullptr;
    };
    Located locate(const AgentRef& ref) const;
    InteractionAttentionDisplayModel displayItem(const SessionRuntime& runtime,
                                                 const PaneInfo& pane, Timestamp at) const;
    std::optional<AttentionBoardRow> childRow(const AgentRef& ref, const SessionRuntime& runtime,
                                              Timestamp at) const;
    QString needsYouSummary(SessionRuntime& runtime, const QString& base,
                            const AttentionItem& item) const;
    QString paneTitle(const AgentRef& ref) const;
    std::optional<QString> manualRefusal() const;
    QCoro::Task<bool> sendText(QString text, bool submit);
    // The pane's names as every row and card gives them, with its workspace's label.
    static std::optional<QString> workspaceLabel(const StateStore& store, const PaneInfo& pane);
    static QString taskTitle(const StateStore& store, const PaneInfo& pane);
    static QString projectTitle(const StateStore& store, const PaneInfo& pane);
    void playAlertSound();
    void synchronizePresentation(SessionRuntime* runtime);
    void handleSelectedPaneResolutionIfNeeded(SessionRuntime* runtime);
    void rememberFocusedIdentity();
    void notifyChanged();

    std::unique_ptr<SessionRegistry> m_registry;
    std::unique_ptr<SessionDiscoveryLoop> m_discovery;
    Clock m_clock;
    std::optional<ResolvedSession> m_pinnedSession;
    Collaborators m_collaborators;
    NoAgentNotifications m_noNotifications;
    bool m_started = false;

    OrrelPresentation m_presentation = OrrelPresentation::compact();
    std::optional<AgentRef> m_selected;
    std::set<AgentRef> m_interruptingAgents;
    std::map<AgentRef, QString> m_interruptErrors;
    std::map<AgentRef, FloorConfirmation> m_floorConfirmations;
    std::map<AgentRef, SentReceipt> m_sentReceipts;
    std::optional<GoneCard> m_goneCard;
    std::set<AgentRef> m_expandedRoots;
    std::map<QString, QString> m_escalationErrors;
    std::map<QString, QString> m_sentEscalationAnswers;
    std::map<AgentRef, QString> m_refusalNotices;
    std::map<AgentRef, QString> m_changedUnderYou;
    std::set<QString> m_sendingEscalations;
    std::map<AgentRef, QString> m_lastFocusedTitles;
    std::map<AgentRef, QString> m_lastFocusedSubtitles;
    std::optional<JumpNotice> m_jumpNotice;
    bool m_hotkeyConflict = false;
    CompactSignalTracker m_compactSignalTracker;
};
