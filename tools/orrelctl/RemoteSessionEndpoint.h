#pragma once

#include "tools/orrelctl/Command.h"

#include "HerdrClient/Sessions/SSHTunnel.h"
#include "HerdrClient/Sessions/SessionDescriptor.h"

#include <QCommandLineParser>

#include <memory>
#include <optional>

class RemoteSessionEndpoint;

// What opening gave: the session, nothing (no --host), or the exit status of a failure that has
// been printed already. (A task of std::expected does not compile with g++ 12 and QCoro.)
struct RemoteSessionOpening {
    std::unique_ptr<RemoteSessionEndpoint> session;
    std::optional<int> failureStatus;
};

// A herdr session on an SSH host, reached through a tunnel that stays open as long as this does.
class RemoteSessionEndpoint {
public:
    // --host TARGET; with it, --session names a session of that host.
    static void addOptions(QCommandLineParser& parser);

    // Nothing when --host is not given. Otherwise finds the session on the host the way the
    // session directory lists it, forwards its socket and waits until herdr answers through it.
    static QCoro::Task<RemoteSessionOpening> openIfRequested(const QCommandLineParser& parser,
                                                             const CommandContext& context);

    const SessionDescriptor& descriptor() const { return m_descriptor; }
    HerdrEndpoint endpoint() const { return m_tunnel->endpoint(); }
    SSHTunnel& tunnel() { return *m_tunnel; }

private:
    RemoteSessionEndpoint(SessionDescriptor descriptor, std::unique_ptr<SSHTunnel> tunnel);

    static QCoro::Task<RemoteSessionOpening> open(QString target, std::optional<QString> name,
                                                  CommandContext context);
    static QCoro::Task<RemoteSessionOpening> settled(RemoteSessionOpening opening);

    SessionDescriptor m_descriptor;
    std::unique_ptr<SSHTunnel> m_tunnel;
};
