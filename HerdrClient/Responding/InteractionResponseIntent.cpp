#include "HerdrClient/Responding/InteractionResponseIntent.h"

#include <algorithm>

using namespace Qt::StringLiterals;

QString toString(InteractionResponseIntent::Kind kind)
{
    using Kind = InteractionResponseIntent::Kind;
    switch (kind) {
    case Kind::previewChoice: return u"previewChoice"_s;
    case Kind::selectChoice: return u"selectChoice"_s;
    case Kind::setChoice: return u"setChoice"_s;
    case Kind::enterText: return u"enterText"_s;
    case Kind::submitText: return u"submitText"_s;
    case Kind::submitChoiceText: return u"submitChoiceText"_s;
    case Kind::navigateToStep: return u"navigateToStep"_s;
    case Kind::beginTextEntry: return u"beginTextEntry"_s;
    case Kind::clearTextEntry: return u"clearTextEntry"_s;
    case Kind::navigatePrevious: return u"navigatePrevious"_s;
    case Kind::navigateNext: return u"navigateNext"_s;
    case Kind::submit: return u"submit"_s;
    case Kind::approve: return u"approve"_s;
    case Kind::deny: return u"deny"_s;
    case Kind::cancel: return u"cancel"_s;
    }
    return {};
}

std::optional<qint64> InteractionResponseIntent::choiceIndex() const
{
    switch (kind) {
    case Kind::previewChoice:
    case Kind::selectChoice:
    case Kind::setChoice:
    case Kind::submitChoiceText: return index;
    default: return std::nullopt;
    }
}

bool InteractionResponseIntent::hasText() const
{
    return kind == Kind::enterText || kind == Kind::submitText || kind == Kind::submitChoiceText;
}

bool InteractionResponseIntent::textHasControlCharacters() const
{
    return std::any_of(text.begin(), text.end(),
                       [](QChar c) { return c.category() == QChar::Other_Control; });
}

QString InteractionResponseIntent::description() const
{
    const QString name = toString(kind);
    if (kind == Kind::setChoice)
        return u"%1(%2, %3)"_s.arg(name).arg(index).arg(checked ? u"checked"_s : u"unchecked"_s);
    if (choiceIndex() || kind == Kind::navigateToStep)
        return u"%1(%2)"_s.arg(name).arg(index);
    return name;
}

JSONValue InteractionResponseIntent::asJSONValue() const
{
    JSONValue::Object object{{u"intent"_s, JSONValue(toString(kind))}};
    if (choiceIndex())
        object.emplace(u"choiceIndex"_s, JSONValue(index));
    if (kind == Kind::navigateToStep)
        object.emplace(u"stepIndex"_s, JSONValue(index));
    if (kind == Kind::setChoice)
        object.emplace(u"checked"_s, JSONValue(checked));
    if (hasText())
        object.emplace(u"text"_s, JSONValue(text));
    return JSONValue(std::move(object));
}
