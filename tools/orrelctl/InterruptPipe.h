#pragma once

#include <QObject>
#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

// Ctrl-C and SIGTERM reach the Qt loop through a pipe: writing a byte is all a handler may do.
class InterruptPipe : public QObject {
    Q_OBJECT
public:
    InterruptPipe()
    {
        if (::pipe2(s_fds, O_CLOEXEC | O_NONBLOCK) != 0)
            return;
        struct sigaction action {};
        action.sa_handler = &InterruptPipe::onSignal;
        sigemptyset(&action.sa_mask);
        ::sigaction(SIGINT, &action, &m_previousInt);
        ::sigaction(SIGTERM, &action, &m_previousTerm);
        m_notifier = std::make_unique<QSocketNotifier>(s_fds[0], QSocketNotifier::Read);
        // Relayed: awaiting the notifier's own signal trips over its private tag argument.
        connect(m_notifier.get(), &QSocketNotifier::activated, this, &InterruptPipe::interrupted);
    }

    ~InterruptPipe() override
    {
        if (!m_notifier)
            return;
        ::sigaction(SIGINT, &m_previousInt, nullptr);
        ::sigaction(SIGTERM, &m_previousTerm, nullptr);
        m_notifier.reset();
        ::close(s_fds[0]);
        ::close(s_fds[1]);
        s_fds[0] = s_fds[1] = -1;
    }

    bool isReady() const { return m_notifier != nullptr; }

Q_SIGNALS:
    void interrupted();

private:
    static void onSignal(int)
    {
        const int saved = errno;
        const char byte = 1;
        (void)!::write(s_fds[1], &byte, 1);
        errno = saved;
    }

    static inline int s_fds[2] = {-1, -1};
    struct sigaction m_previousInt {};
    struct sigaction m_previousTerm {};
    std::unique_ptr<QSocketNotifier> m_notifier;
};
