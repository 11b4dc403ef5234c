#pragma once

#include "HerdrClient/Sessions/SSHTunnel.h"
#include "tests/support/TestSupport.h"

#include <QCoreApplication>

#include <csignal>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

// Every state a tunnel published, in order.
struct PublishedStates {
    std::vector<SSHTunnelState> states;

    SSHTunnel::StateCallback callback()
    {
        return [this](const SSHTunnelState& state) { states.push_back(state); };
    }
    bool reached(SSHTunnelState::Kind kind, std::size_t times = 1) const
    {
        std::size_t seen = 0;
        for (const auto& state : states)
            seen += state.kind == kind ? 1 : 0;
        return seen >= times;
    }
    std::vector<SSHTunnelState::Kind> kinds() const
    {
        std::vector<SSHTunnelState::Kind> result;
        for (const auto& state : states)
            result.push_back(state.kind);
        return result;
    }
};

// Lets the waits that a stop or a destruction cut short see it and end.
inline void settleEvents()
{
    for (int i = 0; i < 3; ++i)
        QCoreApplication::processEvents();
}

inline bool processIsGone(pid_t pid)
{
    return ::kill(pid, 0) != 0 && errno == ESRCH;
}

inline SSHTunnelOptions::ReadinessProbe answeringProbe(bool answer)
{
    if (answer)
        return [](HerdrEndpoint) -> QCoro::Task<bool> { co_return true; };
    return [](HerdrEndpoint) -> QCoro::Task<bool> { co_return false; };
}

// A TCP socket on 127.0.0.1:`port`, listening there or connected to it; -1 when that fails.
inline int loopbackSocket(std::uint16_t port, bool listening)
{
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    const auto* at = reinterpret_cast<const sockaddr*>(&address);
    if (listening ? ::bind(fd, at, sizeof address) == 0 && ::listen(fd, 8) == 0
                  : ::connect(fd, at, sizeof address) == 0)
        return fd;
    ::close(fd);
    return -1;
}
