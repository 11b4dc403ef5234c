#include "HerdrClient/Support/CancellablePause.h"
#include "tests/support/ManualClock.h"
#include "tests/support/TestSupport.h"

#include <QCoreApplication>

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using OnCancel = CancellablePause::OnCancel;

namespace {

// Runs `wait` detached and says when it is over.
QCoro::Task<> markEnd(QCoro::Task<> wait, bool* ended)
{
    co_await std::move(wait);
    *ended = true;
}

QCoro::Task<> waitFor(CancellablePause& pause, quint64 ticket)
{
    co_await pause.wait(ticket);
}

class CancellablePauseTest : public ::testing::Test {
protected:
    void TearDown() override
    {
        // Alarms of sleeps that were cut short run on until the clock ends them.
        QCoreApplication::processEvents();
        clock.advance(1h);
        EXPECT_EQ(clock.pendingSleeps(), 0u);
    }

    ManualClock clock;
};

TEST_F(CancellablePauseTest, ASleepEndsWhenItsClockSaysAndNotBefore)
{
    CancellablePause pause(OnCancel::resumeNow, clock.clock().sleep);
    bool ended = false;
    auto task = markEnd(pause.sleep(2s), &ended);
    clock.advance(1.9s);
    EXPECT_FALSE(ended);
    EXPECT_TRUE(pause.isWaiting());
    clock.advance(0.1s);
    EXPECT_TRUE(ended);
    EXPECT_FALSE(pause.isWaiting());
    EXPECT_EQ(clock.requestedSleeps(), std::vector<double>{2.0});
}

TEST_F(CancellablePauseTest, ACancelEndsTheWaitInsideItOrFromTheEventLoop)
{
    CancellablePause now(OnCancel::resumeNow, clock.clock().sleep);
    bool nowEnded = false;
    auto first = markEnd(now.sleep(5s), &nowEnded);
    now.cancel();
    EXPECT_TRUE(nowEnded);

    CancellablePause queued(OnCancel::resumeQueued, clock.clock().sleep);
    bool queuedEnded = false;
    auto second = markEnd(queued.sleep(5s), &queuedEnded);
    queued.cancel();
    // The waiter may end the pause's owner: never from inside the cancel.
    EXPECT_FALSE(queuedEnded);
    EXPECT_FALSE(queued.isWaiting());
    QCoreApplication::processEvents();
    EXPECT_TRUE(queuedEnded);

    // Nobody waits: nothing to do, and the next wait is not let through by it.
    queued.cancel();
    bool laterEnded = false;
    auto third = markEnd(queued.sleep(1s), &laterEnded);
    QCoreApplication::processEvents();
    EXPECT_FALSE(laterEnded);
    clock.advance(1s);
    EXPECT_TRUE(laterEnded);
}

TEST_F(CancellablePauseTest, TheAlarmOfACutShortSleepDoesNotEndTheNextOne)
{
    CancellablePause pause(OnCancel::resumeNow, clock.clock().sleep);
    bool firstEnded = false;
    auto first = markEnd(pause.sleep(1s), &firstEnded);
    pause.cancel();
    ASSERT_TRUE(firstEnded);
    bool secondEnded = false;
    auto second = markEnd(pause.sleep(3s), &secondEnded);
    clock.advance(1s); // the first alarm rings here
    EXPECT_FALSE(secondEnded);
    clock.advance(2s);
    EXPECT_TRUE(secondEnded);
}

TEST_F(CancellablePauseTest, OnlyItsOwnTicketRingsAWait)
{
    CancellablePause pause(OnCancel::resumeNow);
    // Rung before the wait began: the wait does not suspend at all.
    const quint64 early = pause.nextTicket();
    pause.ring(early);
    bool ended = false;
    auto passed = markEnd(waitFor(pause, early), &ended);
    EXPECT_TRUE(ended);
    EXPECT_FALSE(pause.isWaiting());

    const quint64 older = pause.nextTicket();
    const quint64 current = pause.nextTicket();
    EXPECT_FALSE(pause.isCurrent(older));
    // A ring of a ticket that was replaced before its wait began lets nothing through.
    pause.ring(older);
    ended = false;
    auto waiting = markEnd(waitFor(pause, current), &ended);
    pause.ring(older);
    EXPECT_FALSE(ended);
    pause.wake();
    EXPECT_TRUE(ended);
}

TEST_F(CancellablePauseTest, WithoutASleepItWaitsOnTimersOfItsOwner)
{
    QObject owner;
    CancellablePause pause(OnCancel::resumeQueued, {}, &owner);
    // The watchdog of runTask is the deadline.
    runTask(pause.sleep(0.02s), 5s);
    EXPECT_FALSE(pause.isWaiting());
    EXPECT_TRUE(clock.requestedSleeps().empty());
}

} // namespace
