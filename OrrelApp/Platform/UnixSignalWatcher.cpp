#include "OrrelApp/Platform/UnixSignalWatcher.h"

#include <QPointer>
#include <QSocketNotifier>
#include <QtGlobal>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr std::array watchedSignals{SIGINT, SIGTERM};

// Written by the handler, read by the notifier. Plain ints: the handler may touch nothing else.
std::atomic<int> writeEnd{-1};
int readEnd = -1;
std::array<struct sigaction, watchedSignals.size()> previousActions{};

extern "C" void forwardSignal(int signalNumber)
{
    const int savedErrno = errno;
    const auto byte = static_cast<unsigned char>(signalNumber);
    // A full socket drops the byte; one already waiting is enough to wake the loop.
    [[maybe_unused]] const auto written = ::write(writeEnd.load(), &byte, 1);
    errno = savedErrno;
}

void closeSockets()
{
    const int write = writeEnd.exchange(-1);
    if (write >= 0)
        ::close(write);
    if (readEnd >= 0)
        ::close(readEnd);
    readEnd = -1;
}

} // namespace

UnixSignalWatcher::UnixSignalWatcher(QObject* parent) : QObject(parent)
{
    Q_ASSERT_X(writeEnd.load() < 0, "UnixSignalWatcher", "one watcher per process");
    int sockets[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, sockets) != 0) {
        qWarning("Cannot watch for termination signals: socketpair failed (errno %d).", errno);
        return;
    }
    readEnd = sockets[0];
    writeEnd.store(sockets[1]);

    for (std::size_t i = 0; i < watchedSignals.size(); ++i) {
        struct sigaction action {};
        action.sa_handler = forwardSignal;
        sigemptyset(&action.sa_mask);
        action.sa_flags = SA_RESTART;
        if (::sigaction(watchedSignals[i], &action, &previousActions[i]) != 0) {
            qWarning("Cannot watch for signal %d (errno %d).", watchedSignals[i], errno);
            for (std::size_t j = 0; j < i; ++j)
                ::sigaction(watchedSignals[j], &previousActions[j], nullptr);
            closeSockets();
            return;
        }
    }
    m_notifier = new QSocketNotifier(readEnd, QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &UnixSignalWatcher::drain);
}

UnixSignalWatcher::~UnixSignalWatcher()
{
    if (!m_notifier)
        return;
    for (std::size_t i = 0; i < watchedSignals.size(); ++i)
        ::sigaction(watchedSignals[i], &previousActions[i], nullptr);
    delete m_notifier;
    closeSockets();
}

void UnixSignalWatcher::drain()
{
    std::array<unsigned char, 16> bytes{};
    const auto count = ::read(readEnd, bytes.data(), bytes.size());
    // The first receiver may well tear the program, and this watcher with it, down.
    const QPointer self(this);
    for (ssize_t i = 0; i < count && self; ++i)
        Q_EMIT terminationRequested(bytes[static_cast<std::size_t>(i)]);
}
