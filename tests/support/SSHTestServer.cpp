#include "tests/support/SSHTestServer.h"

#include "HerdrClient/Commands/ProcessCommandRunner.h"
#include "HerdrClient/Sessions/SSHTunnel.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <csignal>
#include <poll.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

QString currentUser()
{
    const passwd* entry = ::getpwuid(::getuid());
    return entry ? QString::fromLocal8Bit(entry->pw_name) : QString();
}

bool writeFile(const QString& path, const QByteArray& contents, QFile::Permissions permissions)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)
        || file.write(contents) != contents.size())
        return false;
    file.close();
    return file.setPermissions(permissions);
}

constexpr auto ownerReadWrite = QFile::ReadOwner | QFile::WriteOwner;

} // namespace

SSHTestServer::SSHTestServer() = default;

SSHTestServer::~SSHTestServer()
{
    stop();
}

bool SSHTestServer::fail(const QString& error)
{
    m_lastError = error;
    return false;
}

bool SSHTestServer::makeKey(const QString& name)
{
    ProcessCommandRunner runner;
    const auto result = runner.run(u"/usr/bin/ssh-keygen"_s,
                                   {u"-q"_s, u"-t"_s, u"ed25519"_s, u"-N"_s, QString(), u"-C"_s,
                                    name, u"-f"_s, m_directory.filePath(name)},
                                   30.0);
    if (!result)
        return fail(result.error().errorDescription());
    if (result->status != 0)
        return fail(u"ssh-keygen failed: "_s + result->errorMessage());
    return true;
}

bool SSHTestServer::start(std::chrono::milliseconds timeout)
{
    if (!QFileInfo(QString::fromLatin1(sshdPath)).isExecutable()
        || !QFileInfo(QString::fromLatin1(sshPath)).isExecutable())
        return fail(u"OpenSSH (ssh and sshd) is not installed"_s);
    if (!m_directory.isValid())
        return fail(u"no temporary folder"_s);
    // A root sshd separates privileges into this folder, which its service would make.
    if (::geteuid() == 0)
        ::mkdir("/run/sshd", 0755);
    for (const auto* name : {"host_key", "client_key", "stranger_key"}) {
        if (!makeKey(QString::fromLatin1(name)))
            return false;
    }
    QFile::remove(m_directory.filePath(u"authorized_keys"_s));
    if (!QFile::copy(m_directory.filePath(u"client_key.pub"_s),
                     m_directory.filePath(u"authorized_keys"_s)))
        return fail(u"couldn't write authorized_keys"_s);

    const auto port = SSHTunnel::availableLoopbackPort();
    if (!port)
        return fail(port.error().errorDescription());
    m_port = *port;

    QFile hostKey(m_directory.filePath(u"host_key.pub"_s));
    if (!hostKey.open(QIODevice::ReadOnly))
        return fail(u"couldn't read the host key"_s);
    const QByteArray knownHost =
        "[127.0.0.1]:" + QByteArray::number(m_port) + ' ' + hostKey.readAll().trimmed() + '\n';
    if (!writeFile(m_directory.filePath(u"known_hosts"_s), knownHost, ownerReadWrite)
        || !writeFile(m_directory.filePath(u"no_known_hosts"_s), {}, ownerReadWrite))
        return fail(u"couldn't write known_hosts"_s);

    const QString config =
        uR"(Port %1
ListenAddress 127.0.0.1
HostKey %2/host_key
AuthorizedKeysFile %2/authorized_keys
PidFile %2/sshd.pid
AllowUsers %3
UsePAM no
StrictModes no
PasswordAuthentication no
KbdInteractiveAuthentication no
PubkeyAuthentication yes
PermitRootLogin %4
AllowStreamLocalForwarding yes
DisableForwarding no
LogLevel INFO
)"_s.arg(m_port)
            .arg(directory(), currentUser(), ::geteuid() == 0 ? u"prohibit-password"_s : u"no"_s);
    // sshd heeds only the first SetEnv line, so all of them go on one.
    QString sessionEnvironment;
    if (!m_sessionEnvironment.isEmpty())
        sessionEnvironment = u"SetEnv \""_s + m_sessionEnvironment.join(u"\" \""_s) + u"\"\n"_s;
    const QString configPath = m_directory.filePath(u"sshd_config"_s);
    if (!writeFile(configPath, (config + sessionEnvironment).toUtf8(), ownerReadWrite))
        return fail(u"couldn't write sshd_config"_s);

    auto sshd = ChildProcess::launch(QString::fromLatin1(sshdPath),
                                     {u"-D"_s, u"-e"_s, u"-f"_s, configPath});
    if (!sshd)
        return fail(sshd.error().errorDescription());
    m_sshd = *sshd;
    if (!waitUntilListening(timeout)) {
        stop();
        return false;
    }
    return true;
}

void SSHTestServer::setSessionEnvironment(const QString& name, const QString& value)
{
    m_sessionEnvironment.push_back(name + u'=' + value);
}

bool SSHTestServer::waitUntilListening(std::chrono::milliseconds timeout)
{
    // sshd says so on standard error once its socket listens; nothing else needs a guess.
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!m_startupLog.contains("Server listening on")) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0)
            return fail(u"sshd did not listen in time: "_s + QString::fromUtf8(m_startupLog));
        pollfd fd = {m_sshd.standardError, POLLIN, 0};
        const int ready = ::poll(&fd, 1, int(left.count()));
        if (ready < 0 && errno != EINTR)
            return fail(u"couldn't read sshd's log"_s);
        if (ready <= 0)
            continue;
        char buffer[4096];
        const ssize_t count = ::read(m_sshd.standardError, buffer, sizeof buffer);
        if (count <= 0)
            return fail(u"sshd ended: "_s + QString::fromUtf8(m_startupLog));
        m_startupLog.append(buffer, count);
    }
    m_log = std::make_unique<BoundedPipeDrain>(m_sshd.standardError, 1 << 20);
    m_sshd.standardError = -1;
    m_log->start();
    return true;
}

void SSHTestServer::stop()
{
    if (m_sshd.pid > 0) {
        ::kill(m_sshd.pid, SIGTERM);
        if (!m_sshd.waitUntil(std::chrono::steady_clock::now() + std::chrono::seconds(5))) {
            ::kill(m_sshd.pid, SIGKILL);
            m_sshd.wait();
        }
        m_sshd.pid = -1;
    }
    m_sshd.closePipes();
    m_log.reset();
}

QString SSHTestServer::clientConfiguration(ClientKey key, HostKey host) const
{
    const QString name =
        u"ssh_config_%1_%2"_s.arg(key == ClientKey::authorized ? u"authorized"_s : u"stranger"_s,
                                  host == HostKey::known ? u"known"_s : u"unknown"_s);
    const QString path = m_directory.filePath(name);
    const QString config =
        uR"(Host %1
  HostName 127.0.0.1
  Port %2
  User %3
  IdentityFile %4
  IdentitiesOnly yes
  IdentityAgent none
  UserKnownHostsFile %5
  GlobalKnownHostsFile /dev/null
  StrictHostKeyChecking yes
  UpdateHostKeys no
)"_s.arg(hostAlias())
            .arg(m_port)
            .arg(currentUser(),
                 m_directory.filePath(key == ClientKey::authorized ? u"client_key"_s
                                                                   : u"stranger_key"_s),
                 m_directory.filePath(host == HostKey::known ? u"known_hosts"_s
                                                             : u"no_known_hosts"_s));
    writeFile(path, config.toUtf8(), ownerReadWrite);
    return path;
}

QString SSHTestServer::sshWrapper(ClientKey key, HostKey host) const
{
    const QString config = clientConfiguration(key, host);
    const QString path = config + u".ssh"_s;
    // exec keeps the process id, so ending the wrapper ends ssh itself.
    const QByteArray script =
        "#!/bin/sh\nexec " + QByteArray(sshPath) + " -F '" + config.toUtf8() + "' \"$@\"\n";
    writeFile(path, script, ownerReadWrite | QFile::ExeOwner);
    return path;
}
