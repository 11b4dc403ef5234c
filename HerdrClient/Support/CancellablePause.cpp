#include "HerdrClient/Support/CancellablePause.h"

#include <QCoreApplication>
#include <QTimer>

#include <algorithm>

namespace {
QCoro::Task<> ringAfter(CancellablePause::Sleep sleep, Seconds duration, Lifetime::Guard alive,
                        CancellablePause* pause, quint64 ticket)
{
    co_await sleep(duration);
    if (alive)
        pause->ring(ticket);
}
} // namespace

CancellablePause::CancellablePause(OnCancel onCancel, Sleep sleep, QObject* timerOwner)
    : m_onCancel(onCancel), m_sleep(std::move(sleep)), m_timerOwner(timerOwner)
{
}

QCoro::Task<> CancellablePause::sleep(Seconds duration)
{
    const quint64 ticket = nextTicket();
    if (m_sleep) {
        // Detached: a sleep that was cut short runs on until its clock ends it.
        auto alarm = ringAfter(m_sleep, duration, m_lifetime.guard(), this, ticket);
    } else {
        Q_ASSERT(m_timerOwner);
        const auto milliseconds =
            std::chrono::ceil<std::chrono::milliseconds>(std::max(duration, Seconds(0)));
        QTimer::singleShot(milliseconds, m_timerOwner, [this, alive = m_lifetime.guard(), ticket] {
            if (alive)
                ring(ticket);
        });
    }
    co_await wait(ticket);
}

void CancellablePause::ring(quint64 ticket)
{
    if (m_waiter && m_waitingTicket == ticket) {
        std::exchange(m_waiter, {}).resume();
        return;
    }
    if (ticket == m_lastTicket)
        m_rungTicket = ticket;
}

void CancellablePause::cancel()
{
    const auto waiter = std::exchange(m_waiter, {});
    if (!waiter)
        return;
    if (m_onCancel == OnCancel::resumeNow) {
        waiter.resume();
        return;
    }
    QMetaObject::invokeMethod(
        QCoreApplication::instance(), [waiter] { waiter.resume(); }, Qt::QueuedConnection);
}
