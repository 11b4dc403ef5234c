#pragma once

#include "HerdrClient/Commands/CommandRunning.h"
#include "HerdrClient/Sessions/SessionDescriptor.h"
#include "HerdrClient/Support/Environment.h"

#include <expected>
#include <memory>
#include <optional>
#include <vector>

// How long one listing may take, in seconds, before its command is stopped. ssh gives up
// connecting after 10 seconds by itself; these bound whatever comes after.
struct SessionListingDeadlines {
    double local = 10;
    double remote = 30;
};

// Asks a herdr binary, here or on an SSH host, which sessions exist. Every call blocks on an
// outside command: run it from a worker thread.
class SessionDirectory {
public:
    struct Failure {
        enum class Kind { executableNotFound, invalidSSHTarget, commandFailed, malformedOutput };

        Kind kind = Kind::commandFailed;
        QString text;      // the command's name, the target, the message, or the output
        qint32 status = 0; // commandFailed

        static Failure executableNotFound(QString name)
        {
            return {Kind::executableNotFound, std::move(name), 0};
        }
        static Failure invalidSSHTarget(QString target)
        {
            return {Kind::invalidSSHTarget, std::move(target), 0};
        }
        static Failure commandFailed(qint32 status, QString message)
        {
            return {Kind::commandFailed, std::move(message), status};
        }
        static Failure malformedOutput(QString text)
        {
            return {Kind::malformedOutput, std::move(text), 0};
        }

        QString errorDescription() const;
        bool operator==(const Failure&) const = default;
    };
    using Result = std::expected<std::vector<SessionDescriptor>, Failure>;

    using Deadlines = SessionListingDeadlines;

    SessionDirectory(std::shared_ptr<CommandRunning> runner, std::optional<QString> herdrPath,
                     std::optional<QString> sshPath, Environment environment = processEnvironment(),
                     Deadlines deadlines = {});
    // herdr and ssh as the executable locator finds them in `environment`.
    static SessionDirectory located(std::shared_ptr<CommandRunning> runner,
                                    Environment environment = processEnvironment());

    const std::optional<QString>& herdrPath() const { return m_herdrPath; }
    const std::optional<QString>& sshPath() const { return m_sshPath; }

    // `herdr session list --json` on this machine.
    Result localSessions() const;
    // The same on `target`, through ssh in batch mode: it never prompts.
    Result remoteSessions(const QString& target) const;

    // Reads a listing's output; `target` makes the sessions remote ones.
    static Result decode(const CommandOutput& output, const std::optional<QString>& target,
                         const Environment& environment);
    static QStringList remoteListingArguments(const QString& target);
    // Runs the first herdr found on the remote side; a non-interactive ssh has a short PATH.
    static const QString remoteListingCommand;

private:
    Result list(const QString& executable, const QStringList& arguments, double deadline,
                const std::optional<QString>& target) const;

    std::shared_ptr<CommandRunning> m_runner;
    std::optional<QString> m_herdrPath;
    std::optional<QString> m_sshPath;
    Environment m_environment;
    Deadlines m_deadlines;
};
