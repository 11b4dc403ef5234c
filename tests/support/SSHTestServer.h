#pragma once

#include "HerdrClient/Commands/BoundedPipeDrain.h"
#include "HerdrClient/Commands/ChildProcess.h"

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <chrono>
#include <cstdint>
#include <memory>

// A real OpenSSH server on 127.0.0.1, for the current user, with keys and configuration made
// for it in a temporary folder. Clients reach it through wrapper scripts that hand ssh a
// configuration of their own, so nothing of the user's ~/.ssh is read.
class SSHTestServer {
public:
    enum class ClientKey { authorized, unauthorized };
    enum class HostKey { known, unknown };

    static constexpr const char* sshdPath = "/usr/sbin/sshd";
    static constexpr const char* sshPath = "/usr/bin/ssh";

    SSHTestServer();
    ~SSHTestServer();
    SSHTestServer(const SSHTestServer&) = delete;
    SSHTestServer& operator=(const SSHTestServer&) = delete;

    // Sets `name` in every session sshd starts, over sshd's own defaults (PATH among them). Takes
    // effect at `start`.
    void setSessionEnvironment(const QString& name, const QString& value);

    // Makes the keys, starts sshd and waits until it listens. False, with `lastError`, when
    // OpenSSH is missing or sshd does not come up within `timeout`.
    bool start(std::chrono::milliseconds timeout = std::chrono::seconds(15));
    void stop();

    QString lastError() const { return m_lastError; }
    // The Host name the client configurations know the server by.
    static QString hostAlias() { return QStringLiteral("tunnel-test-host"); }
    std::uint16_t port() const { return m_port; }
    QString directory() const { return m_directory.path(); }

    // An executable that runs ssh with a configuration of its own for `hostAlias`: the client
    // key that the server accepts or one it does not, and a known_hosts that has the server's
    // key or is empty. Also usable by hand: it is a shell script.
    QString sshWrapper(ClientKey key = ClientKey::authorized, HostKey host = HostKey::known) const;
    // The ssh configuration file the wrapper passes with -F.
    QString clientConfiguration(ClientKey key, HostKey host) const;

private:
    bool fail(const QString& error);
    bool makeKey(const QString& name);
    bool waitUntilListening(std::chrono::milliseconds timeout);

    QTemporaryDir m_directory;
    QString m_lastError;
    QStringList m_sessionEnvironment; // NAME=VALUE
    std::uint16_t m_port = 0;
    ChildProcess m_sshd;
    // Keeps sshd's log pipe from filling once it listens.
    std::unique_ptr<BoundedPipeDrain> m_log;
    QByteArray m_startupLog;
};
