#include "OrrelApp/Platform/UnixSignalWatcher.h"

#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <vector>

namespace {

std::atomic<int> earlierHandlerRuns = 0;
extern "C" void earlierHandler(int)
{
    ++earlierHandlerRuns;
}

TEST(UnixSignalWatcher, TerminationSignalsArriveOnTheEventLoopAndTheOldHandlersReturn)
{
    struct sigaction earlier {};
    earlier.sa_handler = earlierHandler;
    sigemptyset(&earlier.sa_mask);
    struct sigaction saved[2]{};
    ASSERT_EQ(::sigaction(SIGINT, &earlier, &saved[0]), 0);
    ASSERT_EQ(::sigaction(SIGTERM, &earlier, &saved[1]), 0);

    {
        UnixSignalWatcher watcher;
        ASSERT_TRUE(watcher.isWatching());
        std::vector<int> received;
        QObject::connect(&watcher, &UnixSignalWatcher::terminationRequested,
                         [&](int signalNumber) { received.push_back(signalNumber); });

        ASSERT_EQ(std::raise(SIGTERM), 0);
        // The handler only writes; the signal reaches Qt once the loop runs.
        EXPECT_TRUE(received.empty());
        ASSERT_TRUE(processEventsUntil([&] { return received.size() == 1; }));
        ASSERT_EQ(std::raise(SIGINT), 0);
        ASSERT_EQ(std::raise(SIGTERM), 0);
        ASSERT_TRUE(processEventsUntil([&] { return received.size() == 3; }));
        EXPECT_EQ(received, (std::vector<int>{SIGTERM, SIGINT, SIGTERM}));
        EXPECT_EQ(earlierHandlerRuns, 0);
    }

    ASSERT_EQ(std::raise(SIGTERM), 0);
    ASSERT_EQ(std::raise(SIGINT), 0);
    EXPECT_EQ(earlierHandlerRuns, 2);
    ::sigaction(SIGINT, &saved[0], nullptr);
    ::sigaction(SIGTERM, &saved[1], nullptr);

    // A watcher made after the first one went works just the same.
    UnixSignalWatcher again;
    bool received = false;
    QObject::connect(&again, &UnixSignalWatcher::terminationRequested, [&] { received = true; });
    ASSERT_EQ(std::raise(SIGINT), 0);
    EXPECT_TRUE(processEventsUntil([&] { return received; }));
}

} // namespace
