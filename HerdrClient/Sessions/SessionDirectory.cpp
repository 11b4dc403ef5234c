#include "HerdrClient/Sessions/SessionDirectory.h"

#include "HerdrClient/Commands/ExecutableLocator.h"
#include "HerdrClient/Sessions/SSHMultiplexing.h"
#include "HerdrClient/Sessions/SSHTarget.h"
#include "HerdrClient/Wire/JSONDecoding.h"
#include "HerdrClient/Wire/SocketPath.h"

using namespace Qt::StringLiterals;

namespace {

// Garbage can be long; a person needs only its beginning.
constexpr qsizetype maximumQuotedOutput = 1000;

// One entry of `herdr session list --json`; every key is optional.
struct SessionListEntry {
    std::optional<QString> name;
    std::optional<bool> running;
    std::optional<QString> sessionDir;
    std::optional<QString> socketPath;
    std::optional<bool> isDefault;

    static Decoded<SessionListEntry> decode(const JSONValue& value)
    {
        if (!value.objectValue())
            return std::unexpected(DecodingError{u"a session entry is not an object"_s});
        RecordReader r(value);
        SessionListEntry e;
        e.name = r.optional<QString>(u"name");
        e.running = r.optional<bool>(u"running");
        e.sessionDir = r.optional<QString>(u"session_dir");
        e.socketPath = r.optional<QString>(u"socket_path");
        e.isDefault = r.optional<bool>(u"default");
        return r.finish(e);
    }
};

QString quoted(const QByteArray& output)
{
    QString text = QString::fromUtf8(output).trimmed();
    if (text.size() > maximumQuotedOutput)
        text = text.left(maximumQuotedOutput) + u'…';
    return text;
}

} // namespace

const QString SessionDirectory::remoteListingCommand =
    uR"(for c in herdr "$HOME/.local/bin/herdr" /opt/homebrew/bin/herdr /usr/local/bin/herdr )"
    uR"("$HOME/.cargo/bin/herdr" "$HOME/.nix-profile/bin/herdr"; do if command -v "$c" )"
    uR"(>/dev/null 2>&1; then exec "$c" session list --json; fi; done; )"
    uR"(echo "herdr not found on remote PATH" >&2; exit 127)"_s;

QString SessionDirectory::Failure::errorDescription() const
{
    switch (kind) {
    case Kind::executableNotFound:
        return u"Couldn't find the "_s + text + u" command. Check that it's installed."_s;
    case Kind::invalidSSHTarget: return u"Invalid SSH target: "_s + text;
    case Kind::commandFailed: return text;
    case Kind::malformedOutput: break;
    }
    return u"Unexpected session list output: "_s + text;
}

SessionDirectory::SessionDirectory(std::shared_ptr<CommandRunning> runner,
                                   std::optional<QString> herdrPath, std::optional<QString> sshPath,
                                   Environment environment, Deadlines deadlines)
    : m_runner(std::move(runner)), m_herdrPath(std::move(herdrPath)), m_sshPath(std::move(sshPath)),
      m_environment(std::move(environment)), m_deadlines(deadlines)
{
}

SessionDirectory SessionDirectory::located(std::shared_ptr<CommandRunning> runner,
                                           Environment environment)
{
    auto herdr = ExecutableLocator::locate(u"herdr"_s, environment);
    auto ssh = ExecutableLocator::locate(u"ssh"_s, environment);
    return SessionDirectory(std::move(runner), std::move(herdr), std::move(ssh),
                            std::move(environment));
}

SessionDirectory::Result SessionDirectory::localSessions() const
{
    if (!m_herdrPath)
        return std::unexpected(Failure::executableNotFound(u"herdr"_s));
    return list(*m_herdrPath, {u"session"_s, u"list"_s, u"--json"_s}, m_deadlines.local,
                std::nullopt);
}

SessionDirectory::Result SessionDirectory::remoteSessions(const QString& target) const
{
    if (!SSHTarget::isValid(target))
        return std::unexpected(Failure::invalidSSHTarget(target));
    if (!m_sshPath)
        return std::unexpected(Failure::executableNotFound(u"ssh"_s));
    return list(*m_sshPath, remoteListingArguments(target), m_deadlines.remote, target);
}

QStringList SessionDirectory::remoteListingArguments(const QString& target)
{
    return SSHMultiplexing::discoveryArguments(target)
           + QStringList{u"-o"_s, u"BatchMode=yes"_s,  u"-o"_s, u"ConnectTimeout=10"_s,
                         target,  remoteListingCommand};
}

SessionDirectory::Result SessionDirectory::list(const QString& executable,
                                                const QStringList& arguments, double deadline,
                                                const std::optional<QString>& target) const
{
    const auto output = m_runner->run(executable, arguments, deadline);
    if (!output)
        return std::unexpected(Failure::commandFailed(-1, output.error().errorDescription()));
    return decode(*output, target, m_environment);
}

SessionDirectory::Result SessionDirectory::decode(const CommandOutput& output,
                                                  const std::optional<QString>& target,
                                                  const Environment& environment)
{
    if (output.status != 0) {
        QString message = output.errorMessage();
        if (message.isEmpty())
            message = u"exited with status %1"_s.arg(output.status);
        return std::unexpected(Failure::commandFailed(output.status, message));
    }

    const auto payload = JSONValue::parse(output.standardOutput);
    if (!payload || !payload->objectValue())
        return std::unexpected(Failure::malformedOutput(quoted(output.standardOutput)));
    const JSONValue* list = payload->member(u"sessions");
    if (!list || list->isNull())
        return std::unexpected(Failure::malformedOutput(u"no \"sessions\" array in output"_s));
    const auto entries = JSONCoding<std::vector<SessionListEntry>>::decode(*list);
    if (!entries)
        return std::unexpected(Failure::malformedOutput(quoted(output.standardOutput)));

    std::vector<SessionDescriptor> sessions;
    for (const SessionListEntry& entry : *entries) {
        if (!entry.name || entry.name->isEmpty())
            continue;
        const QString& name = *entry.name;
        const bool isDefault =
            entry.isDefault.value_or(name == SessionDescriptor::defaultSessionName);
        const bool isRunning = entry.running.value_or(true);

        QString socketPath;
        if (entry.socketPath && !entry.socketPath->isEmpty())
            socketPath = *entry.socketPath;
        else if (target)
            continue; // a remote socket cannot be guessed from here
        else if (isDefault)
            socketPath = SocketPath::defaultPath(environment);
        else
            socketPath = SocketPath::forSession(name, environment);

        const auto kind = target ? SessionDescriptor::Kind::remote(*target, name)
                                 : SessionDescriptor::Kind::local(name);
        sessions.push_back({kind, socketPath, isDefault, isRunning});
    }
    return sessions;
}
