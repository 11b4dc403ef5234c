#pragma once

#include "HerdrClient/Responding/InteractionCoordinator.h"
#include "tests/support/ManualClock.h"

#include <deque>
#include <map>
#include <memory>

// A prompt on pane `paneID` whose identity is its title.
PendingInteraction prompt(const QString& paneID, const QString& title);
InteractionPaneSnapshot blockedPane(const QString& paneID,
                                    std::optional<quint64> revision = std::nullopt);
InteractionPaneSnapshot workingPane(const QString& paneID);

// A screen reader. A read takes the next entry of `script` when there is one, as the call
// starts; otherwise it looks at `screens` as it returns, so a test can change the screen while a
// held read waits. While `holdReads` is set, each read waits until `releaseReads`.
class FakeReader final : public InteractionProviding {
public:
    std::map<QString, PendingInteraction> screens;
    std::deque<InteractionReadResult> script;
    bool holdReads = false;
    std::vector<QString> readPanes;

    QCoro::Task<InteractionReadResult> interaction(QString paneID, std::optional<QString> agentID,
                                                   std::optional<quint64> paneRevision) override;
    void releaseReads() { m_gate.advance(Seconds(1)); }

private:
    ManualClock m_gate;
};

// A responder that reports the phases it is told to, optionally waits for `release` after the
// first one, and returns `outcome`. It keeps the last `onPhase`, so a test can report late.
class FakeResponder final : public InteractionResponding {
public:
    std::vector<InteractionResponseRequest> requests;
    std::vector<InteractionResponsePhase> phases{InteractionResponsePhase::revalidating,
                                                 InteractionResponsePhase::sending,
                                                 InteractionResponsePhase::settling};
    bool hold = false;
    std::optional<InteractionResponseOutcome> outcome; // absent: success on the request's prompt
    InteractionPhaseCallback lastOnPhase;
    // Phases of the record as each report came back, seen through the coordinator.
    std::function<void(InteractionResponsePhase)> afterPhase;

    using InteractionResponding::respond;
    QCoro::Task<InteractionResponseOutcome> respond(InteractionResponseRequest request,
                                                    InteractionPhaseCallback onPhase) override;
    void release() { m_gate.advance(Seconds(1)); }

private:
    ManualClock m_gate;
};

// A coordinator with fakes, and sleeps that return at once.
struct CoordinatorHarness {
    explicit CoordinatorHarness(InteractionCoordinator::Settings settings = {});

    FakeReader reader;
    FakeResponder responder;
    ManualClock clock;
    int sleeps = 0;
    std::unique_ptr<InteractionCoordinator> coordinator;

    InteractionReconcileResult cycle(std::vector<InteractionPaneSnapshot> panes,
                                     std::vector<QString> newlyBlocked = {}, bool counts = true,
                                     bool preserveSelection = false);
    // Blocks `paneID` with `screen` on show and lets the coordinator read it.
    void showPrompt(const QString& paneID, const PendingInteraction& screen);
    PaneInteractionState state(const QString& paneID) const;
};
