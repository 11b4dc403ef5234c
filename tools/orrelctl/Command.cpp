#include "tools/orrelctl/Command.h"

#include "HerdrClient/Wire/SocketPath.h"

#include <QFileInfo>

#include <algorithm>

#include <cstring>

using namespace Qt::StringLiterals;

void CommandContext::printJSON(const JSONValue& value) const
{
    *out << QString::fromUtf8(value.serialized()) << '\n';
    out->flush();
}

void CommandContext::print(const QString& text) const
{
    *out << text;
    if (!text.endsWith(u'\n'))
        *out << '\n';
    out->flush();
}

int CommandContext::fail(const QString& message, int status) const
{
    *err << message << '\n';
    err->flush();
    return status;
}

namespace {
// Qt's own help text lists the options with their descriptions; its first line names the
// program only, so the command's usage takes its place.
void printCommandHelp(const QCommandLineParser& parser, const CommandContext& context,
                      const QString& usage)
{
    const QString name = context.arguments.value(0);
    QString summary;
    for (const auto& command : orrelctlCommands()) {
        if (command.name == name)
            summary = command.summary;
    }
    const QString qtHelp = parser.helpText();
    const qsizetype options = qtHelp.indexOf(u"Options:"_s);
    *context.out << "usage: orrelctl " << usage << "\n\n"
                 << summary << "\n\n"
                 << (options >= 0 ? qtHelp.mid(options) : QString());
    context.out->flush();
    if (context.helpShown)
        *context.helpShown = true;
}
} // namespace

bool parseArguments(QCommandLineParser& parser, const CommandContext& context, const QString& usage)
{
    parser.setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsOptions);
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    QCommandLineOption help({u"h"_s, u"help"_s}, u"show this help"_s);
    help.setFlags(QCommandLineOption::HiddenFromHelp);
    parser.addOption(help);
    if (!parser.parse(context.arguments)) {
        context.fail(u"orrelctl: %1\nusage: orrelctl %2"_s.arg(parser.errorText(), usage),
                     ExitStatus::usage);
        return false;
    }
    if (parser.isSet(help)) {
        printCommandHelp(parser, context, usage);
        return false;
    }
    return true;
}

void addConnectionOptions(QCommandLineParser& parser)
{
    parser.addOption(QCommandLineOption(u"socket"_s, u"herdr's socket"_s, u"PATH"_s));
    parser.addOption(QCommandLineOption(u"session"_s, u"a named herdr session"_s, u"NAME"_s));
}

void addJSONOption(QCommandLineParser& parser)
{
    parser.addOption(QCommandLineOption(u"json"_s, u"JSON lines"_s));
}

std::unique_ptr<HerdrClient> clientFromOptions(const QCommandLineParser& parser,
                                               const CommandContext& context)
{
    constexpr double requestTimeout = 5.0;
    if (parser.isSet(u"session"_s)) {
        return std::make_unique<HerdrClient>(HerdrEndpoint::unixSocket(SocketPath::forSession(
                                                 parser.value(u"session"_s), context.environment)),
                                             requestTimeout);
    }
    std::optional<QString> socket;
    if (parser.isSet(u"socket"_s))
        socket = parser.value(u"socket"_s);
    return std::make_unique<HerdrClient>(socket, requestTimeout, context.environment);
}

int failRequest(const CommandContext& context, const HerdrClient& client,
                const RequestFailure& failure)
{
    const QString path = client.socketPath();
    const SocketError* socket = failure.socketError();
    if (socket && socket->kind == SocketError::Kind::connectFailed) {
        const QFileInfo info(path);
        QString reason = QString::fromLocal8Bit(std::strerror(socket->errorNumber));
        if (info.isDir())
            reason = u"it is a directory, not a socket"_s;
        else if (info.isFile())
            reason = u"it is a regular file, not a socket"_s;
        return context.fail(u"Couldn't reach herdr — is it running? %1: %2"_s.arg(path, reason));
    }
    return context.fail(u"%1 (%2)"_s.arg(failure.errorDescription(), path));
}

namespace {
std::vector<OrrelctlCommand>& registry()
{
    static std::vector<OrrelctlCommand> commands;
    return commands;
}
} // namespace

CommandRegistration::CommandRegistration(QString name, QString summary,
                                         std::function<QCoro::Task<int>(CommandContext)> run)
{
    auto& commands = registry();
    commands.push_back({std::move(name), std::move(summary), std::move(run)});
    std::sort(commands.begin(), commands.end(),
              [](const auto& a, const auto& b) { return a.name < b.name; });
}

const std::vector<OrrelctlCommand>& orrelctlCommands()
{
    return registry();
}

QString printableText(const QString& text)
{
    QString result = text;
    for (QChar& c : result) {
        if (c.category() == QChar::Other_Control || c.category() == QChar::Other_Format)
            c = u' ';
    }
    return result;
}
