#pragma once

#include "HerdrClient/Wire/JSONValue.h"

#include <QString>

#include <optional>

// What a person asks of a prompt. A small tagged value: `kind` says which of the fifteen it is,
// and only the payload fields of that kind are meaningful. Build it through the named
// constructors, which leave every other field at its default, so that equality is exact.
struct InteractionResponseIntent {
    enum class Kind {
        previewChoice,
        selectChoice,
        setChoice,
        enterText,
        submitText,
        submitChoiceText,
        navigateToStep,
        beginTextEntry,
        clearTextEntry,
        navigatePrevious,
        navigateNext,
        submit,
        approve,
        deny,
        cancel
    };

    Kind kind = Kind::submit;
    qint64 index = 0;     // the choice, or for navigateToStep the step
    bool checked = false; // setChoice
    QString text;         // enterText, submitText, submitChoiceText

    static InteractionResponseIntent previewChoice(qint64 choice)
    {
        return make(Kind::previewChoice, choice);
    }
    static InteractionResponseIntent selectChoice(qint64 choice)
    {
        return make(Kind::selectChoice, choice);
    }
    static InteractionResponseIntent setChoice(qint64 choice, bool checked)
    {
        return make(Kind::setChoice, choice, checked);
    }
    static InteractionResponseIntent enterText(QString text)
    {
        return make(Kind::enterText, 0, false, std::move(text));
    }
    static InteractionResponseIntent submitText(QString text)
    {
        return make(Kind::submitText, 0, false, std::move(text));
    }
    static InteractionResponseIntent submitChoiceText(qint64 choice, QString text)
    {
        return make(Kind::submitChoiceText, choice, false, std::move(text));
    }
    static InteractionResponseIntent navigateToStep(qint64 step)
    {
        return make(Kind::navigateToStep, step);
    }
    static InteractionResponseIntent beginTextEntry() { return make(Kind::beginTextEntry); }
    static InteractionResponseIntent clearTextEntry() { return make(Kind::clearTextEntry); }
    static InteractionResponseIntent navigatePrevious() { return make(Kind::navigatePrevious); }
    static InteractionResponseIntent navigateNext() { return make(Kind::navigateNext); }
    static InteractionResponseIntent submit() { return make(Kind::submit); }
    static InteractionResponseIntent approve() { return make(Kind::approve); }
    static InteractionResponseIntent deny() { return make(Kind::deny); }
    static InteractionResponseIntent cancel() { return make(Kind::cancel); }

    // The choice this intent names, for the kinds that name one.
    std::optional<qint64> choiceIndex() const;
    bool hasText() const;
    // True when the text holds a character of the Unicode category Cc (newline, tab, escape...).
    bool textHasControlCharacters() const;

    // "selectChoice(2)", "setChoice(1, checked)", "submitText" (never the text itself, which may
    // be private): for diagnostics.
    QString description() const;
    // {"intent":"selectChoice","choiceIndex":2}, with the payload under its field name.
    JSONValue asJSONValue() const;

    bool operator==(const InteractionResponseIntent&) const = default;

private:
    static InteractionResponseIntent make(Kind kind, qint64 index = 0, bool checked = false,
                                          QString text = {})
    {
        InteractionResponseIntent intent;
        intent.kind = kind;
        intent.index = index;
        intent.checked = checked;
        intent.text = std::move(text);
        return intent;
    }
};

QString toString(InteractionResponseIntent::Kind kind);
