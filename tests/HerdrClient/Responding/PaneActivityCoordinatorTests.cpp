#include "HerdrClient/Responding/PaneActivityCoordinator.h"
#include "tests/support/ManualClock.h"

#include <gtest/gtest.h>

#include <coroutine>
#include <memory>

using namespace Qt::StringLiterals;

namespace {

// Calls that wait until the test answers them (or are answered at once with `immediate`), so
// that a test decides what happens meanwhile. After the suspension only the shared call is
// touched: the fake may end before its answer.
template <class Result>
struct PendingCalls {
    struct Call {
        QString paneID;
        QString text;
        std::optional<Result> result;
        std::coroutine_handle<> waiting;
    };
    // Holds the call by pointer: g++ 12 may copy an awaiter.
    struct Awaiter {
        std::shared_ptr<Call> call;
        bool await_ready() const noexcept { return call->result.has_value(); }
        void await_suspend(std::coroutine_handle<> handle) noexcept { call->waiting = handle; }
        void await_resume() const noexcept {}
    };

    QCoro::Task<Result> call(QString paneID, QString text = {})
    {
        const auto call =
            std::make_shared<Call>(Call{std::move(paneID), std::move(text), immediate, {}});
        calls.push_back(call);
        Awaiter wait{call};
        co_await wait;
        co_return *call->result;
    }

    void answer(std::size_t index, Result result)
    {
        calls.at(index)->result = std::move(result);
        if (const auto waiting = std::exchange(calls.at(index)->waiting, {}))
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

struct FakeOutputProvider final : RecentOutputProviding {
    QCoro::Task<RecentOutputResult> recentOutput(QString paneID) override
    {
        return reads.call(std::move(paneID));
    }
    PendingCalls<RecentOutputResult> reads;
};

struct FakePromptSender final : IdlePromptSending {
    QCoro::Task<IdlePromptSendResult> sendPrompt(QString paneID, QString text) override
    {
        return sends.call(std::move(paneID), std::move(text));
    }
    PendingCalls<IdlePromptSendResult> sends;
};

// A coroutine started and left running; its result is there once it finished.
struct Started {
    std::shared_ptr<std::optional<bool>> result = std::make_shared<std::optional<bool>>();
    QCoro::Task<> runner;

    bool finished() const { return result->has_value(); }
    bool value() const { return result->value(); }
};

QCoro::Task<> keep(QCoro::Task<bool> task, std::shared_ptr<std::optional<bool>> out)
{
    *out = co_await std::move(task);
}

QCoro::Task<> keep(QCoro::Task<> task, std::shared_ptr<std::optional<bool>> out)
{
    co_await std::move(task);
    *out = true;
}

template <class T>
Started start(QCoro::Task<T> task)
{
    Started started;
    started.runner = keep(std::move(task), started.result);
    return started;
}

PaneActivitySnapshot pane(const char* id, AgentStatus status, quint64 revision = 1)
{
    return {QString::fromUtf8(id), status, revision};
}

// A record as new: empty draft, both phases idle, nothing else.
PaneActivityState blank(const QString& paneID)
{
    PaneActivityState state;
    state.paneID = paneID;
    return state;
}

const QString A = u"w1:p1"_s;
const QString B = u"w1:p2"_s;
const auto working = AgentStatus::working;
const auto idle = AgentStatus::idle;

class PaneActivityCoordinatorTest : public ::testing::Test {
protected:
    void make(int fallbackPollInterval)
    {
        coordinator = std::make_unique<PaneActivityCoordinator>(
            output, sender, fallbackPollInterval, [this] { return clock.now(); });
    }
    void SetUp() override { make(4); }

    Started reconcile(std::vector<PaneActivitySnapshot> panes, std::optional<QString> selected,
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
    const std::vector<PaneActivitySnapshot> panes = {pane("w1:p1", working), pane("w1:p2", working),
                                                     pane("w1:p3", idle)};
    for (const auto& selected :
         {std::optional<QString>(), std::optional(u"w1:p9"_s), std::optional(u"w1:p3"_s)})
        reconcile(panes, selected);
    EXPECT_TRUE(output.reads.calls.empty());
    EXPECT_TRUE(coordinator->state(u"w1:p3"_s)); // a selected pane has a record, working or not
    EXPECT_FALSE(coordinator->state(B) || coordinator->state(u"w1:p9"_s));

    clock.advance(Seconds(3));
    EXPECT_TRUE(reconcile(panes, A).finished());
    EXPECT_EQ(output.reads.paneIDs(), std::vector<QString>{A});
    const PaneActivityState read = stateOf(A);
    EXPECT_EQ(read.recentOutput, u"building…"_s);
    EXPECT_EQ(std::tuple(read.outputRevision, read.outputAttemptRevision), std::tuple(1u, 1u));
    EXPECT_EQ(read.outputReadAt, clock.now());
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
        {true, 1, true},   {true, 1, false},
        {true, 1, false},  {true, 1, true},  // first sight, fourth cycle
        {false, 1, false}, {false, 2, true}, // events never count; a new revision reads at once
        {true, 2, false},  {true, 2, false},
        {true, 2, false},  {true, 2, true},
    };
    const std::vector<Step> everyCycle = {
        {true, 1, true}, {true, 1, true}, {false, 1, false}, {true, 1, true}};
    for (const auto& [interval, steps] : {std::pair(4, everyFourth), std::pair(0, everyCycle)}) {
        make(interval);
        output.reads.calls.clear();
        // Failed reads wait for their turn just the same.
        output.reads.immediate =
            RecentOutputResult(std::unexpected(RequestFailure(SocketError::timedOut())));
        std::size_t expected = 0;
        for (std::size_t i = 0; i < steps.size(); ++i) {
            reconcile({pane("w1:p1", working, steps[i].revision)}, A, steps[i].counted);
            expected += steps[i].reads ? 1 : 0;
            EXPECT_EQ(output.reads.calls.size(), expected)
                << "interval " << interval << ", step " << i;
        }
    }
    const PaneActivityState failed = stateOf(A);
    EXPECT_EQ(failed.outputAttemptRevision, 1u);
    EXPECT_EQ(failed.outputRevision, std::nullopt);
    EXPECT_EQ(failed.outputError, RequestFailure(SocketError::timedOut()).errorDescription());
    EXPECT_EQ(failed.outputPhase, PaneOutputPhase::idle);
}

TEST_F(PaneActivityCoordinatorTest, AReadThatComesBackTooLateIsDropped)
{
    const std::vector<PaneActivitySnapshot> both = {pane("w1:p1", working), pane("w1:p2", working)};
    auto first = reconcile(both, A);
    EXPECT_TRUE(stateOf(A).isBusy());
    reconcile(both, B); // the old pane shows idle at once
    EXPECT_EQ(stateOf(A).outputPhase, PaneOutputPhase::idle);
    reconcile(both, A); // a new read, which the abandoned one's answer cannot fill
    ASSERT_EQ(output.reads.paneIDs(), (std::vector<QString>{A, B, A}));
    output.reads.answer(0, RecentOutputResult(u"stale"_s));
    EXPECT_TRUE(first.finished());
    EXPECT_EQ(stateOf(A).recentOutput, std::nullopt);
    output.reads.answer(1, RecentOutputResult(u"not selected"_s));
    EXPECT_EQ(stateOf(B).recentOutput, std::nullopt);
    output.reads.answer(2, RecentOutputResult(u"fresh"_s));
    EXPECT_EQ(stateOf(A).recentOutput, u"fresh"_s);

    // Stopped working: the cycle that says so resets the phase, the late text is dropped.
    reconcile({pane("w1:p1", working, 2)}, A);
    reconcile({pane("w1:p1", idle, 2)}, A);
    EXPECT_EQ(stateOf(A).outputPhase, PaneOutputPhase::idle);
    output.reads.answer(3, RecentOutputResult(u"late"_s));
    EXPECT_EQ(stateOf(A).recentOutput, u"fresh"_s);

    // Gone: a late failure brings no record back. Deselected: a manual refresh counts for nothing.
    reconcile({pane("w1:p1", working, 3)}, A);
    reconcile({}, A);
    output.reads.answer(4,
                        RecentOutputResult(std::unexpected(RequestFailure(SocketError::closed()))));
    EXPECT_FALSE(coordinator->state(A));
    reconcile({pane("w1:p1", working, 3)}, A);
    output.reads.answer(5, RecentOutputResult(u"new"_s));
    auto manual = start(coordinator->refreshSelectedOutput());
    EXPECT_FALSE(start(coordinator->refreshSelectedOutput()).value()); // one read at a time
    coordinator->clearSelection();
    output.reads.answer(6, RecentOutputResult(u"late"_s));
    EXPECT_FALSE(manual.value());
    EXPECT_EQ(stateOf(A).recentOutput, u"new"_s);
}

TEST_F(PaneActivityCoordinatorTest, NewWorkClearsTheOutputOfTheLastStretch)
{
    output.reads.immediate = RecentOutputResult(u"first job"_s);
    reconcile({pane("w1:p1", working), pane("w1:p2", working)}, A);
    reconcile({pane("w1:p1", idle), pane("w1:p2", working)}, B);
    EXPECT_EQ(stateOf(A).recentOutput, u"first job"_s); // kept while idle
    reconcile({pane("w1:p1", working), pane("w1:p2", working)}, B, false);
    const PaneActivityState cleared = stateOf(A);
    EXPECT_EQ(cleared, blank(A));
    EXPECT_EQ(output.reads.paneIDs(), (std::vector<QString>{A, B}));
}

TEST_F(PaneActivityCoordinatorTest, SendingAPromptToAnIdleAgent)
{
    reconcile({pane("w1:p1", idle), pane("w1:p2", working)}, std::nullopt);
    for (const QString& paneID : {B, u"w1:p9"_s}) {
        coordinator->setPromptDraft(u"go"_s, paneID);
        EXPECT_FALSE(start(coordinator->sendPrompt(paneID)).value());
        EXPECT_EQ(stateOf(paneID).promptError,
                  u"This agent is no longer idle. Nothing was sent."_s);
    }
    coordinator->setPromptDraft(u" \n\t "_s, A);
    EXPECT_FALSE(start(coordinator->sendPrompt(A)).value());
    EXPECT_EQ(stateOf(A).promptError, std::nullopt);
    EXPECT_TRUE(sender.sends.calls.empty());

    coordinator->setPromptDraft(u"  Write the changelog\n"_s, A);
    auto sending = start(coordinator->sendPrompt(A));
    EXPECT_TRUE(stateOf(A).isBusy());
    EXPECT_FALSE(start(coordinator->sendPrompt(A)).value()); // one send at a time
    ASSERT_EQ(sender.sends.calls.size(), 1u);
    EXPECT_EQ(sender.sends.calls[0]->text, u"Write the changelog"_s);
    sender.sends.answer(0, IdlePromptSendResult());
    EXPECT_TRUE(sending.value());
    EXPECT_EQ(stateOf(A), blank(A));

    // Typed on during a send: the new text stays. Refused: the draft stays and says why.
    coordinator->setPromptDraft(u"Write the changelog"_s, A);
    auto typedOn = start(coordinator->sendPrompt(A));
    coordinator->setPromptDraft(u"Write the changelog and the README"_s, A);
    sender.sends.answer(1, IdlePromptSendResult());
    auto refused = start(coordinator->sendPrompt(A));
    sender.sends.answer(2, std::unexpected(IdlePromptSendFailure(
                               IdlePromptSenderError::paneNoLongerIdle(A, AgentStatus::blocked))));
    EXPECT_TRUE(typedOn.value());
    EXPECT_FALSE(refused.value());
    EXPECT_EQ(stateOf(A).promptDraft, u"Write the changelog and the README"_s);
    EXPECT_EQ(stateOf(A).promptError, u"This agent is now blocked. Nothing was sent."_s);
    EXPECT_EQ(stateOf(A).promptPhase, PanePromptPhase::idle);

    // A pane that leaves takes its draft along.
    reconcile({}, std::nullopt);
    reconcile({pane("w1:p1", idle)}, std::nullopt);
    EXPECT_EQ(coordinator->promptDraft(A), QString());
}

TEST_F(PaneActivityCoordinatorTest, TheCoordinatorMayEndWhileAReadOrSendRuns)
{
    reconcile({pane("w1:p1", idle)}, std::nullopt);
    coordinator->setPromptDraft(u"go"_s, A);
    auto sending = start(coordinator->sendPrompt(A));
    auto reading = reconcile({pane("w1:p1", working)}, A);
    ASSERT_EQ(output.reads.calls.size() + sender.sends.calls.size(), 2u);
    coordinator.reset();
    output.reads.answer(0, RecentOutputResult(u"text"_s));
    sender.sends.answer(0, IdlePromptSendResult());
    EXPECT_TRUE(reading.finished());
    EXPECT_TRUE(sending.value()); // it went out; only nobody is left to record it
}
