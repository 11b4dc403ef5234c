#include "HerdrClient/Responding/PaneActivityCoordinator.h"
#include "tests/support/ManualClock.h"

#include <gtest/gtest.h>

#include <coroutine>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

// Calls that wait until the test answers them, so that a test decides what happens meanwhile.
template <class Result>
class PendingCalls {
public:
    struct Call {
        QString paneID;
        QString text;
        std::optional<Result> result;
        std::coroutine_handle<> waiting;
    };
    struct Awaiter {
        std::shared_ptr<Call> call;
        bool await_ready() const noexcept { return call->result.has_value(); }
        void await_suspend(std::coroutine_handle<> handle) noexcept { call->waiting = handle; }
        void await_resume() const noexcept {}
    };

    // Answered at once when `immediate` holds a result.
    std::shared_ptr<Call> add(QString paneID, QString text = {})
    {
        auto call = std::make_shared<Call>(Call{std::move(paneID), std::move(text), immediate, {}});
        calls.push_back(call);
        return call;
    }

    void answer(std::size_t index, Result result)
    {
        const auto call = calls.at(index);
        ASSERT_FALSE(call->result.has_value()) << "answered twice";
        call->result = std::move(result);
        if (const auto waiting = std::exchange(call->waiting, {}))
            waiting.resume();
    }

    std::vector<QString> paneIDs() const
    {
        std::vector<QString> ids;
        for (const auto& call : calls)
            ids.push_back(call->paneID);
        return ids;
    }

    std::vector<std::shared_ptr<Call>> calls;
    std::optional<Result> immediate;
};

// Only the shared call is touched after the suspension: the fake may end before its answer.
class FakeOutputProvider final : public RecentOutputProviding {
public:
    QCoro::Task<RecentOutputResult> recentOutput(QString paneID) override
    {
        const auto call = reads.add(std::move(paneID));
        PendingCalls<RecentOutputResult>::Awaiter wait{call};
        co_await wait;
        co_return *call->result;
    }

    PendingCalls<RecentOutputResult> reads;
};

class FakePromptSender final : public IdlePromptSending {
public:
    QCoro::Task<IdlePromptSendResult> sendPrompt(QString paneID, QString text) override
    {
        const auto call = sends.add(std::move(paneID), std::move(text));
        PendingCalls<IdlePromptSendResult>::Awaiter wait{call};
        co_await wait;
        co_return *call->result;
    }

    PendingCalls<IdlePromptSendResult> sends;
};

// A coroutine started and left running; its result is there once it finished.
template <class T>
struct Started {
    std::shared_ptr<std::optional<T>> result = std::make_shared<std::optional<T>>();
    QCoro::Task<> runner;

    bool finished() const { return result->has_value(); }
    T value() const { return result->value(); }
};

template <class T>
QCoro::Task<> keep(QCoro::Task<T> task, std::shared_ptr<std::optional<T>> out)
{
    *out = co_await std::move(task);
}

QCoro::Task<> keepVoid(QCoro::Task<> task, std::shared_ptr<std::optional<bool>> out)
{
    co_await std::move(task);
    *out = true;
}

template <class T>
Started<T> start(QCoro::Task<T> task)
{
    Started<T> started;
    started.runner = keep(std::move(task), started.result);
    return started;
}

Started<bool> start(QCoro::Task<> task)
{
    Started<bool> started;
    started.runner = keepVoid(std::move(task), started.result);
    return started;
}

PaneActivitySnapshot pane(const char* id, AgentStatus status, quint64 revision = 1)
{
    return {QString::fromUtf8(id), status, revision};
}

RecentOutputResult failedRead()
{
    return std::unexpected(RequestFailure(HerdrError::api(u"pane_not_found"_s, u"pane w1:p1 not found"_s)));
}

const QString A = u"w1:p1"_s;
const QString B = u"w1:p2"_s;

class PaneActivityCoordinatorTest : public ::testing::Test {
protected:
    void make(int fallbackPollInterval = 4)
    {
        coordinator = std::make_unique<PaneActivityCoordinator>(output, sender, fallbackPollInterval,
                                                                [this] { return clock.now(); });
    }

    void SetUp() override { make(); }

    Started<bool> reconcile(std::vector<PaneActivitySnapshot> panes, std::optional<QString> selected,
                            bool counted = true)
    {
        return start(coordinator->reconcile(std::move(panes), std::move(selected), counted));
    }

    PaneActivityState stateOf(const QString& paneID) const
    {
        const auto found = coordinator->state(paneID);
        EXPECT_TRUE(found) << paneID.toStdString();
        return found.value_or(PaneActivityState{});
    }

    ManualClock clock;
    FakeOutputProvider output;
    FakePromptSender sender;
    std::unique_ptr<PaneActivityCoordinator> coordinator;
};

} // namespace

TEST_F(PaneActivityCoordinatorTest, ReadsOnlyTheSelectedWorkingPane)
{
    output.reads.immediate = RecentOutputResult(u"building…"_s);
    const std::vector<PaneActivitySnapshot> panes = {pane("w1:p1", AgentStatus::working),
                                                     pane("w1:p2", AgentStatus::working),
                                                     pane("w1:p3", AgentStatus::idle)};
    EXPECT_TRUE(reconcile(panes, std::nullopt).finished());
    EXPECT_TRUE(reconcile(panes, u"w1:p9"_s).finished());
    EXPECT_TRUE(reconcile(panes, u"w1:p3"_s).finished());
    EXPECT_TRUE(output.reads.calls.empty());
    // A selected pane gets a record, working or not; unselected and unknown ones none.
    EXPECT_TRUE(coordinator->state(u"w1:p3"_s));
    EXPECT_FALSE(coordinator->state(B));
    EXPECT_FALSE(coordinator->state(u"w1:p9"_s));

    clock.advance(Seconds(3));
    EXPECT_TRUE(reconcile(panes, A).finished());
    EXPECT_EQ(output.reads.paneIDs(), std::vector<QString>{A});
    const PaneActivityState read = stateOf(A);
    EXPECT_EQ(read.recentOutput, u"building…"_s);
    EXPECT_EQ(read.outputRevision, 1u);
    EXPECT_EQ(read.outputAttemptRevision, 1u);
    EXPECT_EQ(read.outputReadAt, clock.now());
    EXPECT_EQ(read.outputPhase, PaneOutputPhase::idle);
    EXPECT_EQ(coordinator->selectedState(), read);
}

TEST_F(PaneActivityCoordinatorTest, AnUnchangedPaneIsReadOnTheFallbackCadence)
{
    struct Step {
        bool counted;
        quint64 revision;
        bool reads;
    };
    const std::vector<Step> everyFourth = {
        {true, 1, true},   // first sight
        {true, 1, false},  {true, 1, false}, {true, 1, true}, // fourth counted cycle
        {false, 1, false}, // events never count
        {false, 2, true},  // a new revision reads at once, event or not
        {true, 2, false},  {true, 2, false}, {true, 2, false}, {true, 2, true},
    };
    const std::vector<Step> everyCycle = {
        {true, 1, true}, {true, 1, true}, {false, 1, false}, {true, 1, true},
    };
    for (const auto& [interval, steps] : {std::pair(4, everyFourth), std::pair(0, everyCycle)}) {
        make(interval);
        output.reads.calls.clear();
        output.reads.immediate = RecentOutputResult(u"out"_s);
        std::size_t expected = 0;
        for (std::size_t i = 0; i < steps.size(); ++i) {
            reconcile({pane("w1:p1", AgentStatus::working, steps[i].revision)}, A, steps[i].counted);
            expected += steps[i].reads ? 1 : 0;
            EXPECT_EQ(output.reads.calls.size(), expected) << "interval " << interval << ", step " << i;
        }
    }
    EXPECT_EQ(coordinator->fallbackPollInterval(), 1);
}

TEST_F(PaneActivityCoordinatorTest, AFailedReadWaitsForTheNextRevisionOrFallbackTurn)
{
    output.reads.immediate = failedRead();
    reconcile({pane("w1:p1", AgentStatus::working, 5)}, A);
    PaneActivityState failed = stateOf(A);
    EXPECT_EQ(failed.outputAttemptRevision, 5u);
    EXPECT_EQ(failed.outputRevision, std::nullopt);
    EXPECT_EQ(failed.recentOutput, std::nullopt);
    EXPECT_EQ(failed.outputReadAt, std::nullopt);
    EXPECT_EQ(failed.outputError, u"herdr refused the request (pane_not_found): pane w1:p1 not found"_s);
    EXPECT_EQ(failed.outputPhase, PaneOutputPhase::idle);

    reconcile({pane("w1:p1", AgentStatus::working, 5)}, A);
    reconcile({pane("w1:p1", AgentStatus::working, 5)}, A, false);
    EXPECT_EQ(output.reads.calls.size(), 1u);

    // The next try clears the error as it starts, and a success keeps none.
    output.reads.immediate.reset();
    reconcile({pane("w1:p1", AgentStatus::working, 6)}, A, false);
    ASSERT_EQ(output.reads.calls.size(), 2u);
    EXPECT_EQ(stateOf(A).outputError, std::nullopt);
    EXPECT_TRUE(stateOf(A).isBusy());
    output.reads.answer(1, RecentOutputResult(u"back"_s));
    EXPECT_EQ(stateOf(A).recentOutput, u"back"_s);
    EXPECT_EQ(stateOf(A).outputRevision, 6u);
}

TEST_F(PaneActivityCoordinatorTest, AReadThatComesBackTooLateIsDropped)
{
    const std::vector<PaneActivitySnapshot> both = {pane("w1:p1", AgentStatus::working),
                                                    pane("w1:p2", AgentStatus::working)};
    // Another pane selected while the read runs: the old pane shows idle at once.
    auto first = reconcile(both, A);
    EXPECT_EQ(stateOf(A).outputPhase, PaneOutputPhase::reading);
    auto second = reconcile(both, B);
    EXPECT_EQ(stateOf(A).outputPhase, PaneOutputPhase::idle);
    EXPECT_EQ(stateOf(B).outputPhase, PaneOutputPhase::reading);

    // Back to the first pane: a new read, which an answer to the abandoned one cannot fill.
    auto third = reconcile(both, A);
    ASSERT_EQ(output.reads.paneIDs(), (std::vector<QString>{A, B, A}));
    output.reads.answer(0, RecentOutputResult(u"stale"_s));
    EXPECT_TRUE(first.finished());
    EXPECT_EQ(stateOf(A).recentOutput, std::nullopt);
    EXPECT_EQ(stateOf(A).outputPhase, PaneOutputPhase::reading);
    output.reads.answer(1, RecentOutputResult(u"not selected"_s));
    EXPECT_EQ(stateOf(B).recentOutput, std::nullopt);
    output.reads.answer(2, RecentOutputResult(u"fresh"_s));
    EXPECT_TRUE(second.finished() && third.finished());
    EXPECT_EQ(stateOf(A).recentOutput, u"fresh"_s);

    // A failure of an abandoned read is dropped as well.
    auto fourth = reconcile({pane("w1:p1", AgentStatus::working, 2), pane("w1:p2", AgentStatus::working)}, A);
    coordinator->clearSelection();
    EXPECT_EQ(stateOf(A).outputPhase, PaneOutputPhase::idle);
    output.reads.answer(3, failedRead());
    EXPECT_EQ(stateOf(A).outputError, std::nullopt);
    EXPECT_EQ(stateOf(A).outputAttemptRevision, 1u);
}

TEST_F(PaneActivityCoordinatorTest, APaneThatStopsOrLeavesDuringARead)
{
    // Stopped working: the phase resets with that cycle, the late text is dropped.
    auto reading = reconcile({pane("w1:p1", AgentStatus::working)}, A);
    reconcile({pane("w1:p1", AgentStatus::idle)}, A);
    EXPECT_EQ(stateOf(A).outputPhase, PaneOutputPhase::idle);
    output.reads.answer(0, RecentOutputResult(u"late"_s));
    EXPECT_EQ(stateOf(A).recentOutput, std::nullopt);

    // Gone: the late answer does not bring its record back.
    auto again = reconcile({pane("w1:p1", AgentStatus::working, 2)}, A);
    reconcile({}, A);
    EXPECT_FALSE(coordinator->state(A));
    output.reads.answer(1, RecentOutputResult(u"late"_s));
    EXPECT_FALSE(coordinator->state(A));
    EXPECT_TRUE(reading.finished() && again.finished());
}

TEST_F(PaneActivityCoordinatorTest, NewWorkClearsTheOutputOfTheLastStretch)
{
    output.reads.immediate = RecentOutputResult(u"first job"_s);
    reconcile({pane("w1:p1", AgentStatus::working), pane("w1:p2", AgentStatus::working)}, A);
    reconcile({pane("w1:p1", AgentStatus::working), pane("w1:p2", AgentStatus::working)}, B);
    reconcile({pane("w1:p1", AgentStatus::idle), pane("w1:p2", AgentStatus::working)}, B);
    EXPECT_EQ(stateOf(A).recentOutput, u"first job"_s); // kept while idle

    // Working again, and not selected: nothing is read, the old text goes at once.
    reconcile({pane("w1:p1", AgentStatus::working), pane("w1:p2", AgentStatus::working)}, B, false);
    const PaneActivityState cleared = stateOf(A);
    EXPECT_EQ(cleared.recentOutput, std::nullopt);
    EXPECT_EQ(cleared.outputRevision, std::nullopt);
    EXPECT_EQ(cleared.outputAttemptRevision, std::nullopt);
    EXPECT_EQ(cleared.outputReadAt, std::nullopt);
    EXPECT_EQ(output.reads.paneIDs(), (std::vector<QString>{A, B}));
}

TEST_F(PaneActivityCoordinatorTest, RefreshingTheSelectedPaneByHand)
{
    EXPECT_FALSE(start(coordinator->refreshSelectedOutput()).value()); // nothing selected
    reconcile({pane("w1:p1", AgentStatus::idle)}, A);
    EXPECT_FALSE(start(coordinator->refreshSelectedOutput()).value()); // not working
    EXPECT_TRUE(output.reads.calls.empty());

    output.reads.immediate = RecentOutputResult(u"one"_s);
    reconcile({pane("w1:p1", AgentStatus::working)}, A);
    output.reads.immediate.reset();
    auto manual = start(coordinator->refreshSelectedOutput());
    EXPECT_FALSE(start(coordinator->refreshSelectedOutput()).value()); // one read at a time
    ASSERT_EQ(output.reads.calls.size(), 2u);
    output.reads.answer(1, RecentOutputResult(u"two"_s));
    EXPECT_TRUE(manual.value());
    EXPECT_EQ(stateOf(A).recentOutput, u"two"_s);

    auto cleared = start(coordinator->refreshSelectedOutput());
    coordinator->clearSelection();
    output.reads.answer(2, RecentOutputResult(u"three"_s));
    EXPECT_FALSE(cleared.value());
    EXPECT_EQ(stateOf(A).recentOutput, u"two"_s);
    EXPECT_EQ(coordinator->selectedPaneID(), std::nullopt);
}

TEST_F(PaneActivityCoordinatorTest, DraftsBelongToPanesThatStay)
{
    int changes = 0;
    QObject::connect(coordinator.get(), &PaneActivityCoordinator::stateChanged, [&] { ++changes; });
    EXPECT_EQ(coordinator->promptDraft(A), QString());
    reconcile({pane("w1:p1", AgentStatus::idle)}, std::nullopt);
    coordinator->setPromptDraft(u"Write the docs"_s, A);
    coordinator->setPromptDraft(u"Write the docs"_s, A);
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(coordinator->promptDraft(A), u"Write the docs"_s);

    reconcile({}, std::nullopt);
    reconcile({pane("w1:p1", AgentStatus::idle)}, std::nullopt);
    EXPECT_EQ(coordinator->promptDraft(A), QString());
    EXPECT_FALSE(coordinator->state(A));
}

TEST_F(PaneActivityCoordinatorTest, SendingAPromptToAnIdleAgent)
{
    reconcile({pane("w1:p1", AgentStatus::idle), pane("w1:p2", AgentStatus::working)}, std::nullopt);
    const QString notIdle = u"This agent is no longer idle. Nothing was sent."_s;
    for (const QString& paneID : {B, u"w1:p9"_s}) {
        coordinator->setPromptDraft(u"go"_s, paneID);
        EXPECT_FALSE(start(coordinator->sendPrompt(paneID)).value());
        EXPECT_EQ(stateOf(paneID).promptError, notIdle);
    }
    coordinator->setPromptDraft(u" \n\t "_s, A);
    EXPECT_FALSE(start(coordinator->sendPrompt(A)).value());
    EXPECT_EQ(stateOf(A).promptError, std::nullopt);
    EXPECT_TRUE(sender.sends.calls.empty());

    coordinator->setPromptDraft(u"  Write the changelog\n"_s, A);
    auto sending = start(coordinator->sendPrompt(A));
    ASSERT_EQ(sender.sends.calls.size(), 1u);
    EXPECT_EQ(sender.sends.calls[0]->text, u"Write the changelog"_s);
    EXPECT_EQ(stateOf(A).promptPhase, PanePromptPhase::sending);
    EXPECT_TRUE(stateOf(A).isBusy());
    EXPECT_FALSE(start(coordinator->sendPrompt(A)).value()); // one send at a time
    EXPECT_EQ(sender.sends.calls.size(), 1u);
    sender.sends.answer(0, IdlePromptSendResult());
    EXPECT_TRUE(sending.value());
    EXPECT_EQ(stateOf(A).promptDraft, QString());
    EXPECT_EQ(stateOf(A).promptPhase, PanePromptPhase::idle);
}

TEST_F(PaneActivityCoordinatorTest, WhatThePersonTypesDuringASendStays)
{
    reconcile({pane("w1:p1", AgentStatus::idle)}, std::nullopt);
    coordinator->setPromptDraft(u"Write the changelog"_s, A);
    auto sent = start(coordinator->sendPrompt(A));
    coordinator->setPromptDraft(u"Write the changelog and the README"_s, A);
    sender.sends.answer(0, IdlePromptSendResult());
    EXPECT_TRUE(sent.value());
    EXPECT_EQ(stateOf(A).promptDraft, u"Write the changelog and the README"_s);

    // A refusal keeps the draft and says why.
    auto refused = start(coordinator->sendPrompt(A));
    sender.sends.answer(1, std::unexpected(IdlePromptSendFailure(
                               IdlePromptSenderError::paneNoLongerIdle(A, AgentStatus::blocked))));
    EXPECT_FALSE(refused.value());
    EXPECT_EQ(stateOf(A).promptError, u"This agent is now blocked. Nothing was sent."_s);
    EXPECT_EQ(stateOf(A).promptDraft, u"Write the changelog and the README"_s);
    EXPECT_EQ(stateOf(A).promptPhase, PanePromptPhase::idle);

    // Sent, but the pane left meanwhile: true, and no record comes back.
    auto gone = start(coordinator->sendPrompt(A));
    EXPECT_EQ(stateOf(A).promptError, std::nullopt);
    reconcile({}, std::nullopt);
    sender.sends.answer(2, IdlePromptSendResult());
    EXPECT_TRUE(gone.value());
    EXPECT_FALSE(coordinator->state(A));
}

TEST_F(PaneActivityCoordinatorTest, TheCoordinatorMayEndWhileAReadOrSendRuns)
{
    reconcile({pane("w1:p1", AgentStatus::idle)}, std::nullopt);
    coordinator->setPromptDraft(u"go"_s, A);
    auto sending = start(coordinator->sendPrompt(A));
    auto reading = reconcile({pane("w1:p1", AgentStatus::working)}, A);
    ASSERT_EQ(output.reads.calls.size(), 1u);
    ASSERT_EQ(sender.sends.calls.size(), 1u);
    coordinator.reset();
    output.reads.answer(0, RecentOutputResult(u"text"_s));
    sender.sends.answer(0, IdlePromptSendResult());
    EXPECT_TRUE(reading.finished());
    EXPECT_TRUE(sending.value()); // it went out; only nobody is left to record it
}
