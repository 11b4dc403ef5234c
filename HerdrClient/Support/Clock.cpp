#include "HerdrClient/Support/Clock.h"

#include <QCoroTimer>

namespace {
QCoro::Task<> sleepOnEventLoop(Seconds duration)
{
    const auto ms = std::chrono::milliseconds(qint64(duration.count() * 1000.0));
    co_await QCoro::sleepFor(ms > std::chrono::milliseconds::zero() ? ms
                                                                    : std::chrono::milliseconds(0));
}
} // namespace

Clock Clock::system()
{
    return Clock{[] { return std::chrono::system_clock::now(); }, &sleepOnEventLoop};
}
