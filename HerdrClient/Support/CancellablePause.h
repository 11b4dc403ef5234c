#pragma once

#include "HerdrClient/Support/Clock.h"
#include "HerdrClient/Support/Lifetime.h"

#include <QCoroTask>

#include <coroutine>
#include <functional>

class QObject;

// The one wait of a loop: a sleep, or whatever its owner rings with the wait's ticket (an answer,
// a process's exit, a value arriving); a stop cuts it short. A ring that comes before its wait
// began lets the wait pass without suspending; a ring of an older ticket does nothing.
//
// One waiter at a time, on the owner's thread; a queued resumption goes through the main thread.
class CancellablePause {
public:
    // How a cancelled wait goes on: inside `cancel`, or from the event loop, for a waiter that may
    // end the pause's owner on its way out while `cancel` is still on the stack.
    enum class OnCancel { resumeNow, resumeQueued };
    using Sleep = std::function<QCoro::Task<>(Seconds)>;

    // Sleeps through `sleep`; without one, on timers of `timerOwner`, which end with it.
    explicit CancellablePause(OnCancel onCancel, Sleep sleep = {}, QObject* timerOwner = nullptr);
    CancellablePause(const CancellablePause&) = delete;
    CancellablePause& operator=(const CancellablePause&) = delete;

    struct Wait {
        CancellablePause* pause;
        quint64 ticket;

        bool await_ready() const noexcept { return pause->m_rungTicket == ticket; }
        void await_suspend(std::coroutine_handle<> handle) noexcept
        {
            pause->m_waiter = handle;
            pause->m_waitingTicket = ticket;
        }
        void await_resume() const noexcept {}
    };

    // Ends once `duration` is over, or at `cancel`.
    QCoro::Task<> sleep(Seconds duration);

    // The ticket of the next wait; rings of earlier tickets no longer count.
    quint64 nextTicket() { return ++m_lastTicket; }
    // Ends at `ring(ticket)` or at `cancel`; `ticket` comes from `nextTicket`.
    [[nodiscard]] Wait wait(quint64 ticket) { return Wait{this, ticket}; }
    // Resumes the wait on `ticket`, here and now.
    void ring(quint64 ticket);
    // Rings the latest ticket, whoever waits on it.
    void wake() { ring(m_lastTicket); }
    // Ends the current wait early, as `OnCancel` says; nothing when nobody waits.
    void cancel();

    bool isCurrent(quint64 ticket) const { return ticket == m_lastTicket; }
    bool isWaiting() const { return bool(m_waiter); }

private:
    OnCancel m_onCancel;
    Sleep m_sleep;
    QObject* m_timerOwner;
    std::coroutine_handle<> m_waiter;
    quint64 m_waitingTicket = 0;
    quint64 m_lastTicket = 0;
    quint64 m_rungTicket = 0; // rung before its wait began
    Lifetime m_lifetime;
};
