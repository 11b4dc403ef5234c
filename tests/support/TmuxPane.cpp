#include "tests/support/TmuxPane.h"

#include "HerdrClient/Commands/ExecutableLocator.h"
#include "HerdrClient/Support/Environment.h"

#include <QStringDecoder>

#include <map>

using namespace Qt::StringLiterals;

namespace {

constexpr double tmuxTimeoutSeconds = 5;
// A thousand rows of history of a wide pane with colours stay far below this.
constexpr qsizetype largestCapture = 16 * 1024 * 1024;

// tmux ends a command at an argument that ends in ";" unless the semicolon is escaped.
QString escapedArgument(const QString& argument)
{
    return argument.endsWith(u';') ? argument.chopped(1) + u"\\;"_s : argument;
}

const std::map<QString, QString>& namedKeys()
{
    static const std::map<QString, QString> keys{
        {u"enter"_s, u"Enter"_s},      {u"return"_s, u"Enter"_s}, {u"esc"_s, u"Escape"_s},
        {u"escape"_s, u"Escape"_s},    {u"tab"_s, u"Tab"_s},      {u"space"_s, u"Space"_s},
        {u"backspace"_s, u"BSpace"_s}, {u"bs"_s, u"BSpace"_s},    {u"left"_s, u"Left"_s},
        {u"right"_s, u"Right"_s},      {u"up"_s, u"Up"_s},        {u"down"_s, u"Down"_s},
    };
    return keys;
}

const std::map<QString, QString>& punctuationKeys()
{
    static const std::map<QString, QString> keys{
        {u"minus"_s, u"-"_s},         {u"comma"_s, u","_s},         {u"period"_s, u"."_s},
        {u"slash"_s, u"/"_s},         {u"backslash"_s, u"\\"_s},    {u"quote"_s, u"'"_s},
        {u"double_quote"_s, u"\""_s}, {u"double-quote"_s, u"\""_s}, {u"semicolon"_s, u";"_s},
        {u"colon"_s, u":"_s},         {u"percent"_s, u"%"_s},       {u"ampersand"_s, u"&"_s},
        {u"backtick"_s, u"`"_s},      {u"plus"_s, u"+"_s},
    };
    return keys;
}

bool isOneCharacter(const QString& text)
{
    return text.size() == 1 || (text.size() == 2 && text[0].isHighSurrogate());
}

} // namespace

TmuxPane::TmuxPane(QString target, Server server)
    : m_target(std::move(target)), m_server(std::move(server)),
      m_executable(ExecutableLocator::locate(u"tmux"_s, processEnvironment()))
{
}

std::expected<QByteArray, QString> TmuxPane::run(const QStringList& arguments) const
{
    if (!m_executable)
        return std::unexpected(u"tmux is not installed (not found on PATH)"_s);
    QStringList full;
    if (m_server.socketName)
        full << u"-L"_s << *m_server.socketName;
    if (m_server.socketPath)
        full << u"-S"_s << *m_server.socketPath;
    full << arguments;
    const auto result = ProcessCommandRunner().run(*m_executable, full, tmuxTimeoutSeconds);
    if (!result)
        return std::unexpected(result.error().errorDescription());
    if (result->status != 0)
        return std::unexpected(u"tmux %1 failed (status %2): %3"_s.arg(arguments.value(0))
                                   .arg(result->status)
                                   .arg(result->errorMessage()));
    if (result->standardOutput.size() > largestCapture)
        return std::unexpected(
            u"tmux %1 printed more than %2 bytes"_s.arg(arguments.value(0)).arg(largestCapture));
    return result->standardOutput;
}

std::expected<QString, QString> TmuxPane::read(ReadSource source, bool ansi) const
{
    QStringList arguments{u"capture-pane"_s, u"-p"_s, u"-t"_s, m_target};
    if (ansi && source != ReadSource::detection)
        arguments << u"-e"_s;
    if (source == ReadSource::recent || source == ReadSource::recentUnwrapped)
        arguments << u"-S"_s << u"-1000"_s;
    if (source == ReadSource::recentUnwrapped)
        arguments << u"-J"_s;
    const auto bytes = run(arguments);
    if (!bytes)
        return std::unexpected(bytes.error());
    QStringDecoder decoder(QStringDecoder::Utf8);
    QString text = decoder.decode(*bytes);
    if (decoder.hasError())
        return std::unexpected(u"tmux printed a screen that is not UTF-8"_s);
    return text;
}

std::expected<TmuxPane::Key, QString> TmuxPane::tmuxKey(const QString& herdrKey)
{
    auto unsupported = [&] { return std::unexpected(u"unsupported key "_s + herdrKey); };
    QStringList parts = herdrKey.split(u'+');
    if (herdrKey == u"+")
        parts = {u"plus"_s};
    else if (herdrKey.size() == 3 && herdrKey.startsWith(u"C-", Qt::CaseInsensitive))
        parts = {u"ctrl"_s, herdrKey.right(1)};
    QString prefix;
    bool shift = false;
    for (qsizetype i = 0; i + 1 < parts.size(); ++i) {
        const QString modifier = parts[i].trimmed().toLower();
        if (modifier == u"ctrl" || modifier == u"control")
            prefix += u"C-"_s;
        else if (modifier == u"alt" || modifier == u"option" || modifier == u"meta")
            prefix += u"M-"_s;
        else if (modifier == u"shift")
            shift = true;
        else
            return std::unexpected(u"tmux has no modifier for "_s + herdrKey);
    }
    const QString last = parts.back().trimmed();
    const QString lower = last.toLower();
    if (lower == u"tab" && shift)
        return Key{prefix + u"BTab"_s, false};
    static const QRegularExpression function(u"^f([1-9][0-9]{0,2})$"_s);
    QString name;
    if (auto named = namedKeys().find(lower); named != namedKeys().end()) {
        name = named->second;
    } else if (const auto f = function.match(lower); f.hasMatch()) {
        // herdr goes up to f255; tmux stops at F12.
        if (f.captured(1).toInt() > 12)
            return std::unexpected(u"tmux has no key "_s + herdrKey);
        name = u"F"_s + f.captured(1);
    }
    if (!name.isEmpty())
        return Key{(shift ? u"S-"_s : QString()) + prefix + name, false};

    QString character = last;
    if (auto punctuation = punctuationKeys().find(lower); punctuation != punctuationKeys().end())
        character = punctuation->second;
    if (!isOneCharacter(character))
        return unsupported();
    if (shift) {
        if (character.size() != 1 || !character[0].isLetter() || character[0].unicode() > 127)
            return std::unexpected(u"tmux has no key "_s + herdrKey);
        character = character.toUpper();
    }
    if (prefix.isEmpty())
        return Key{character, true};
    return Key{prefix + (prefix.contains(u"C-"_s) ? character.toLower() : character), false};
}

std::expected<void, QString> TmuxPane::sendKeys(const std::vector<QString>& keys) const
{
    QStringList arguments;
    for (const QString& herdrKey : keys) {
        const auto key = tmuxKey(herdrKey);
        if (!key)
            return std::unexpected(key.error());
        if (!arguments.isEmpty())
            arguments << u";"_s;
        arguments << u"send-keys"_s << u"-t"_s << m_target;
        if (key->literal)
            arguments << u"-l"_s << u"--"_s;
        arguments << escapedArgument(key->argument);
    }
    if (arguments.isEmpty())
        return {};
    const auto sent = run(arguments);
    if (!sent)
        return std::unexpected(sent.error());
    return {};
}

std::expected<void, QString> TmuxPane::sendText(const QString& text) const
{
    if (text.isEmpty())
        return {};
    const auto sent =
        run({u"send-keys"_s, u"-t"_s, m_target, u"-l"_s, u"--"_s, escapedArgument(text)});
    if (!sent)
        return std::unexpected(sent.error());
    return {};
}

std::expected<std::optional<TerminalPane>, QString> TerminalPane::fromPaneJSON(
    const JSONValue& pane)
{
    auto text = [&](QStringView key) -> std::expected<std::optional<QString>, QString> {
        const JSONValue* value = pane.member(key);
        if (!value)
            return std::nullopt;
        if (!value->stringValue() || value->stringValue()->isEmpty())
            return std::unexpected(u"%1 must be a text that is not empty: %2"_s.arg(
                key.toString(), pane.description()));
        return *value->stringValue();
    };
    const auto target = text(u"tmux");
    const auto socketName = text(u"tmux_socket");
    const auto socketPath = text(u"tmux_socket_path");
    const auto blockedWhen = text(u"blocked_when");
    for (const auto* value : {&target, &socketName, &socketPath, &blockedWhen}) {
        if (!*value)
            return std::unexpected(value->error());
    }
    if (!*target) {
        if (*socketName || *socketPath || *blockedWhen)
            return std::unexpected(
                u"tmux_socket, tmux_socket_path and blocked_when need tmux: %1"_s.arg(
                    pane.description()));
        return std::nullopt;
    }
    if (*socketName && *socketPath)
        return std::unexpected(
            u"give tmux_socket or tmux_socket_path, not both: %1"_s.arg(pane.description()));
    TerminalPane terminal;
    terminal.tmux = std::make_shared<const TmuxPane>(
        **target, TmuxPane::Server{.socketName = *socketName, .socketPath = *socketPath});
    if (*blockedWhen) {
        QRegularExpression pattern(**blockedWhen, QRegularExpression::MultilineOption);
        if (!pattern.isValid())
            return std::unexpected(u"blocked_when is no regular expression: %1 (%2)"_s.arg(
                **blockedWhen, pattern.errorString()));
        terminal.blockedWhen = std::move(pattern);
    }
    return terminal;
}

std::expected<AgentStatus, QString> TerminalPane::status() const
{
    if (!blockedWhen)
        return otherwise;
    const auto screen = tmux->read(ReadSource::visible, false);
    if (!screen)
        return std::unexpected(screen.error());
    return blockedWhen->match(*screen).hasMatch() ? AgentStatus::blocked : otherwise;
}
