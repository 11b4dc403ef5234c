// sessions: which herdr sessions exist here or on an SSH host.
#include "tools/orrelctl/Command.h"

#include "HerdrClient/Commands/ProcessCommandRunner.h"
#include "HerdrClient/Sessions/SessionDirectory.h"

#include <QCoroFuture>
#include <QtConcurrent>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

// One line per session: name, running or stopped, socket path, id.
QString formatSessions(const std::vector<SessionDescriptor>& sessions)
{
    qsizetype nameWidth = 0;
    for (const SessionDescriptor& session : sessions)
        nameWidth = std::max(nameWidth, session.label().size());
    QString text;
    for (const SessionDescriptor& session : sessions) {
        text += session.label().leftJustified(nameWidth + 2)
                + (session.isRunning ? u"running  "_s : u"stopped  "_s) + session.serverSocketPath
                + u"  "_s + session.id() + u'\n';
    }
    return text;
}

SessionDirectory::Result listSessions(SessionDirectory directory, std::optional<QString> host)
{
    return host ? directory.remoteSessions(*host) : directory.localSessions();
}

QCoro::Task<int> runSessions(CommandContext context)
{
    QCommandLineParser parser;
    parser.addOption(
        QCommandLineOption(u"host"_s, u"list the sessions of an SSH host"_s, u"TARGET"_s));
    addJSONOption(parser);
    if (!parseArguments(parser, context, u"sessions [--host TARGET] [--json]"_s))
        co_return ExitStatus::usage;
    if (!parser.positionalArguments().isEmpty())
        co_return context.fail(u"orrelctl sessions: unexpected argument %1"_s.arg(
                                   parser.positionalArguments().first()),
                               ExitStatus::usage);

    std::optional<QString> host;
    if (parser.isSet(u"host"_s))
        host = parser.value(u"host"_s);
    const SessionDirectory directory =
        SessionDirectory::located(std::make_shared<ProcessCommandRunner>(), context.environment);
    // The listing waits on an outside command; keep it off this thread's event loop. (The future
    // is named: g++ 12 destroys a temporary inside co_await twice.)
    QFuture<SessionDirectory::Result> listing = QtConcurrent::run(&listSessions, directory, host);
    const SessionDirectory::Result result = co_await listing;
    if (!result) {
        const bool badTarget =
            result.error().kind == SessionDirectory::Failure::Kind::invalidSSHTarget;
        co_return context.fail(result.error().errorDescription(),
                               badTarget ? ExitStatus::usage : ExitStatus::failure);
    }

    if (parser.isSet(u"json"_s)) {
        for (const SessionDescriptor& session : *result)
            context.printJSON(session.asJSONValue());
    } else if (result->empty()) {
        context.print(host ? u"No herdr sessions on %1."_s.arg(*host) : u"No herdr sessions."_s);
    } else {
        context.print(formatSessions(*result));
    }
    co_return ExitStatus::success;
}

const CommandRegistration sessionsRegistration{
    u"sessions"_s, u"list the herdr sessions of this machine or of an SSH host"_s, &runSessions};

} // namespace
