// app: drives the running application through its automation channel.
#include "tools/orrelctl/Command.h"

#include "HerdrClient/Wire/SocketConnection.h"
#include "OrrelApp/Automation/AutomationChannel.h"
#include "OrrelApp/Automation/AutomationCommand.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstring>

using namespace Qt::StringLiterals;

namespace {

const QString usage = u"app COMMAND [--automation-socket PATH] [--json] [--timeout SECONDS] "
                      u"[key=value ...]"_s;

// The request as the channel reads it; the error is a usage sentence.
std::expected<QJsonObject, QString> buildRequest(const QStringList& positional)
{
    QJsonObject request{{u"cmd"_s, positional.first()}};
    for (const QString& argument : positional.mid(1)) {
        const qsizetype equals = argument.indexOf(u'=');
        if (equals <= 0)
            return std::unexpected(u"expected key=value, not %1"_s.arg(argument));
        const QString key = argument.left(equals);
        const QString value = argument.mid(equals + 1);
        if (request.contains(key))
            return std::unexpected(u"%1 is given twice"_s.arg(key));
        const auto type = AutomationCommand::argumentType(key);
        if (type == AutomationCommand::ArgumentType::nonNegativeInteger) {
            bool isNumber = false;
            const qint64 number = value.toLongLong(&isNumber);
            if (!isNumber)
                return std::unexpected(u"%1 must be a whole number, not %2"_s.arg(key, value));
            request.insert(key, double(number));
        } else if (type == AutomationCommand::ArgumentType::absolutePath) {
            // The application runs elsewhere: a path is read from where orrelctl was started.
            request.insert(key, value.isEmpty() ? value : QDir::current().absoluteFilePath(value));
        } else {
            request.insert(key, value);
        }
    }
    return request;
}

void printForPeople(const CommandContext& context, const QString& name, QJsonObject reply)
{
    reply.remove(u"ok"_s);
    if (name == u"state") {
        const QJsonObject state = reply.value(u"state"_s).toObject();
        context.print(QString::fromUtf8(QJsonDocument(state).toJson(QJsonDocument::Indented)));
    } else if (reply.isEmpty()) {
        context.print(u"ok"_s);
    } else {
        context.print(QString::fromUtf8(QJsonDocument(reply).toJson(QJsonDocument::Indented)));
    }
}

QCoro::Task<int> runApp(CommandContext context)
{
    QCommandLineParser parser;
    parser.addOption(QCommandLineOption(u"automation-socket"_s,
                                        u"the application's automation socket"_s, u"PATH"_s));
    parser.addOption(QCommandLineOption(
        u"timeout"_s, u"seconds to wait for the reply (default 30)"_s, u"SECONDS"_s));
    addJSONOption(parser);
    if (!parseArguments(parser, context, usage))
        co_return ExitStatus::usage;
    const QStringList positional = parser.positionalArguments();
    if (positional.isEmpty())
        co_return context.fail(u"orrelctl app: which command? %1\nusage: orrelctl %2"_s.arg(
                                   AutomationCommand::knownNames().join(u", "_s), usage),
                               ExitStatus::usage);
    double timeout = 30.0;
    if (parser.isSet(u"timeout"_s)) {
        bool isNumber = false;
        timeout = parser.value(u"timeout"_s).toDouble(&isNumber);
        if (!isNumber || timeout <= 0)
            co_return context.fail(u"orrelctl app: --timeout takes a number of seconds above 0"_s,
                                   ExitStatus::usage);
    }
    const auto request = buildRequest(positional);
    if (!request)
        co_return context.fail(
            u"orrelctl app: %1\nusage: orrelctl %2"_s.arg(request.error(), usage),
            ExitStatus::usage);
    // Checked here too, so that a mistyped command is told without reaching the application.
    const auto command = AutomationCommand::fromJSON(*request);
    if (!command)
        co_return context.fail(u"orrelctl app: "_s + command.error(), ExitStatus::usage);

    std::optional<QString> path = AutomationChannel::socketPathFromEnvironment(context.environment);
    if (parser.isSet(u"automation-socket"_s))
        path = parser.value(u"automation-socket"_s);
    if (!path || path->isEmpty())
        co_return context.fail(u"orrelctl app: no automation socket; pass --automation-socket "
                               u"PATH or set %1"_s.arg(automationSocketVariable),
                               ExitStatus::usage);

    SocketConnection connection(HerdrEndpoint::unixSocket(*path), timeout);
    if (const auto connected = connection.connect(); !connected) {
        const SocketError& error = connected.error();
        const QString reason = error.kind == SocketError::Kind::connectFailed
                                   ? QString::fromLocal8Bit(std::strerror(error.errorNumber))
                                   : error.errorDescription();
        co_return context.fail(
            u"Couldn't reach Orrel Sentry's automation socket %1: %2. Is the application "
            u"running with %3 set?"_s.arg(*path, reason, automationSocketVariable));
    }
    const QByteArray line = QJsonDocument(*request).toJson(QJsonDocument::Compact);
    const auto written = connection.writeLine(line);
    const auto replyLine = written ? connection.readLine() : std::unexpected(written.error());
    if (!replyLine) {
        if (replyLine.error().kind == SocketError::Kind::timedOut)
            co_return context.fail(u"Orrel Sentry did not answer within %1 seconds (%2)."_s.arg(
                QString::number(timeout), *path));
        co_return context.fail(u"The automation socket %1 failed: %2."_s.arg(
            *path, replyLine.error().errorDescription()));
    }
    if (!*replyLine)
        co_return context.fail(
            u"Orrel Sentry closed the automation socket %1 without a reply."_s.arg(*path));
    const QJsonObject reply = QJsonDocument::fromJson(**replyLine).object();
    if (!reply.value(u"ok"_s).isBool())
        co_return context.fail(u"Orrel Sentry's reply could not be read: %1"_s.arg(
            printableText(QString::fromUtf8(**replyLine))));

    if (parser.isSet(u"json"_s))
        context.print(QString::fromUtf8(**replyLine));
    if (!reply.value(u"ok"_s).toBool()) {
        co_return context.fail(printableText(reply.value(u"error"_s).toString()),
                               command->deliversToAgent() ? ExitStatus::refused
                                                          : ExitStatus::failure);
    }
    if (!parser.isSet(u"json"_s))
        printForPeople(context, command->name(), reply);
    co_return ExitStatus::success;
}

const CommandRegistration appRegistration{
    u"app"_s, u"drive the running application through its automation socket"_s, &runApp};

} // namespace
