#include "OrrelApp/Automation/AutomationCommand.h"

#include <QJsonDocument>
#include <QJsonParseError>
#include <QJsonValue>

#include <algorithm>
#include <cmath>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

using Kind = AutomationCommand::Kind;
using Type = AutomationCommand::ArgumentType;

// One named argument and the field of the record it fills: text-valued types fill `textField`,
// the integer type `integerField`.
struct ArgumentRule {
    QLatin1StringView key;
    Type type;
    QString AutomationCommand::*textField = nullptr;
    qint64 AutomationCommand::*integerField = nullptr;
};

const ArgumentRule sessionArgument{"session"_L1, Type::nonEmptyText, &AutomationCommand::session};
const ArgumentRule paneArgument{"pane"_L1, Type::nonEmptyText, &AutomationCommand::pane};
const ArgumentRule indexArgument{"index"_L1, Type::nonNegativeInteger, nullptr,
                                 &AutomationCommand::index};
const ArgumentRule textArgument{"text"_L1, Type::text, &AutomationCommand::text};
const ArgumentRule pathArgument{"path"_L1, Type::absolutePath, &AutomationCommand::path};
const ArgumentRule actionArgument{"action"_L1, Type::notificationAction,
                                  &AutomationCommand::action};

const ArgumentRule* const allArguments[] = {&sessionArgument, &paneArgument, &indexArgument,
                                            &textArgument,    &pathArgument, &actionArgument};

// What a person can do with a notification on the desktop.
const QLatin1StringView notificationActions[] = {"open"_L1, "jump"_L1, "dismiss"_L1};

struct CommandRule {
    QLatin1StringView name;
    Kind kind;
    std::vector<const ArgumentRule*> arguments;
    bool deliversToAgent = false;
};

// A new command is one more row here and one more `Kind`.
const std::vector<CommandRule>& commandRules()
{
    static const std::vector<CommandRule> rules{
        {"state"_L1, Kind::state, {}},
        {"toggle"_L1, Kind::toggle, {}},
        {"showOverview"_L1, Kind::showOverview, {}},
        {"collapse"_L1, Kind::collapse, {}},
        {"select"_L1, Kind::select, {&sessionArgument, &paneArgument}},
        {"answer"_L1, Kind::answer, {&indexArgument}, true},
        {"approve"_L1, Kind::approve, {}, true},
        {"deny"_L1, Kind::deny, {}, true},
        {"recommended"_L1, Kind::recommended, {}, true},
        {"armFloor"_L1, Kind::armFloor, {&textArgument}, true},
        {"reply"_L1, Kind::reply, {&textArgument}, true},
        {"typeText"_L1, Kind::typeText, {&textArgument}, true},
        {"beginTextEntry"_L1, Kind::beginTextEntry, {}, true},
        {"backToChoices"_L1, Kind::backToChoices, {}, true},
        {"sendTask"_L1, Kind::sendTask, {&textArgument}, true},
        {"interrupt"_L1, Kind::interrupt, {&sessionArgument, &paneArgument}, true},
        {"jump"_L1, Kind::jump, {&sessionArgument, &paneArgument}},
        {"notification"_L1, Kind::notification, {&actionArgument, &sessionArgument, &paneArgument}},
        {"screenshot"_L1, Kind::screenshot, {&pathArgument}},
        {"quit"_L1, Kind::quit, {}},
    };
    return rules;
}

const CommandRule& ruleFor(Kind kind)
{
    const auto& rules = commandRules();
    return *std::find_if(rules.begin(), rules.end(),
                         [kind](const CommandRule& rule) { return rule.kind == kind; });
}

QString typeDescription(Type type)
{
    switch (type) {
    case Type::nonNegativeInteger: return u"a whole number of 0 or more"_s;
    case Type::text: return u"a string"_s;
    case Type::nonEmptyText: return u"a non-empty string"_s;
    case Type::absolutePath: return u"an absolute path"_s;
    case Type::notificationAction: return u"one of open, jump, dismiss"_s;
    }
    return {};
}

// JSON numbers are doubles: a whole one within the exactly representable range is an integer.
std::optional<qint64> wholeNumber(const QJsonValue& value)
{
    constexpr double largestExact = 9007199254740992.0; // 2^53
    if (!value.isDouble())
        return std::nullopt;
    const double number = value.toDouble();
    if (number < 0 || number > largestExact || std::trunc(number) != number)
        return std::nullopt;
    return qint64(number);
}

bool fill(AutomationCommand& command, const ArgumentRule& rule, const QJsonValue& value)
{
    if (rule.type == Type::nonNegativeInteger) {
        const auto number = wholeNumber(value);
        if (number)
            command.*rule.integerField = *number;
        return number.has_value();
    }
    if (!value.isString())
        return false;
    const QString text = value.toString();
    if (rule.type == Type::nonEmptyText && text.isEmpty())
        return false;
    if (rule.type == Type::absolutePath && !text.startsWith(u'/'))
        return false;
    if (rule.type == Type::notificationAction
        && std::ranges::find(notificationActions, text) == std::end(notificationActions))
        return false;
    command.*rule.textField = text;
    return true;
}

QString knownNamesSentence()
{
    return u"the known commands are "_s + AutomationCommand::knownNames().join(u", "_s) + u'.';
}

} // namespace

QString AutomationCommand::name() const
{
    return ruleFor(kind).name;
}

bool AutomationCommand::deliversToAgent() const
{
    return ruleFor(kind).deliversToAgent;
}

QStringList AutomationCommand::knownNames()
{
    QStringList names;
    for (const CommandRule& rule : commandRules())
        names.append(rule.name);
    return names;
}

std::optional<AutomationCommand::ArgumentType> AutomationCommand::argumentType(const QString& key)
{
    for (const ArgumentRule* rule : allArguments) {
        if (rule->key == key)
            return rule->type;
    }
    return std::nullopt;
}

std::expected<AutomationCommand, QString> AutomationCommand::parse(QByteArrayView line)
{
    if (line.trimmed().isEmpty())
        return std::unexpected(u"The request is empty: send one JSON object per line."_s);
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(line.toByteArray(), &error);
    if (error.error != QJsonParseError::NoError) {
        return std::unexpected(u"The request is not valid JSON (%1 at byte %2)."_s.arg(
            error.errorString(), QString::number(error.offset)));
    }
    if (!document.isObject())
        return std::unexpected(
            u"The request must be a JSON object, such as {\"cmd\":\"state\"}."_s);
    return fromJSON(document.object());
}

std::expected<AutomationCommand, QString> AutomationCommand::fromJSON(const QJsonObject& request)
{
    const QJsonValue name = request.value("cmd"_L1);
    if (name.isUndefined())
        return std::unexpected(u"The request has no \"cmd\"; "_s + knownNamesSentence());
    if (!name.isString())
        return std::unexpected(u"\"cmd\" must be a string; "_s + knownNamesSentence());
    const auto& rules = commandRules();
    const auto rule = std::find_if(rules.begin(), rules.end(), [&](const CommandRule& candidate) {
        return candidate.name == name.toString();
    });
    if (rule == rules.end())
        return std::unexpected(u"Unknown command \"%1\"; "_s.arg(name.toString())
                               + knownNamesSentence());

    AutomationCommand command;
    command.kind = rule->kind;
    for (const ArgumentRule* argument : rule->arguments) {
        const QJsonValue value = request.value(argument->key);
        if (value.isUndefined()) {
            return std::unexpected(u"%1 needs \"%2\", %3."_s.arg(rule->name, argument->key,
                                                                 typeDescription(argument->type)));
        }
        if (!fill(command, *argument, value)) {
            return std::unexpected(u"The \"%1\" of %2 must be %3."_s.arg(
                argument->key, rule->name, typeDescription(argument->type)));
        }
    }
    return command;
}
