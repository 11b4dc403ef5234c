#pragma once

#include "HerdrClient/Interaction/PendingInteraction.h"
#include "HerdrClient/Responding/InteractionResponseIntent.h"

#include <QString>

#include <optional>

// What an answer that stopped kept from the pane; a refusal ends by saying so.
enum class Withheld { sending, selecting, submitting };

// "Nothing was sent." ("Nothing more was sent." once something went out), "Nothing was
// selected." or "Nothing was submitted.".
QString withheldSentence(Withheld withheld, bool somethingWentOut);

// The responder's own refusals and give-ups.
struct InteractionResponderError {
    enum class Kind {
        staleInteraction,
        unsupportedIntent,
        choiceCursorDidNotSettle,
        submitConfirmationDidNotSettle,
        // Text went out, and the keys behind it waited for a screen that kept the focus in the
        // field and held still; it never did.
        typedTextDidNotSettle,
        // pane.send_text writes raw bytes: a newline would press Enter and an escape would start
        // a key sequence, in the middle of the person's text.
        controlCharactersInText
    };

    Kind kind = Kind::staleInteraction;
    InteractionFingerprint expected;          // staleInteraction: what the person saw
    std::optional<PendingInteraction> actual; // staleInteraction: what the pane shows now
    InteractionKind interactionKind = InteractionKind::unknown; // unsupportedIntent
    InteractionResponseIntent intent;                           // unsupportedIntent
    qint64 targetIndex = 0;                                     // choiceCursorDidNotSettle

    static InteractionResponderError staleInteraction(InteractionFingerprint expected,
                                                      PendingInteraction actual)
    {
        InteractionResponderError e;
        e.expected = std::move(expected);
        e.actual = std::move(actual);
        return e;
    }
    static InteractionResponderError unsupportedIntent(InteractionKind kind,
                                                       InteractionResponseIntent intent)
    {
        InteractionResponderError e;
        e.kind = Kind::unsupportedIntent;
        e.interactionKind = kind;
        e.intent = std::move(intent);
        return e;
    }
    static InteractionResponderError choiceCursorDidNotSettle(qint64 targetIndex)
    {
        InteractionResponderError e;
        e.kind = Kind::choiceCursorDidNotSettle;
        e.targetIndex = targetIndex;
        return e;
    }
    static InteractionResponderError submitConfirmationDidNotSettle()
    {
        InteractionResponderError e;
        e.kind = Kind::submitConfirmationDidNotSettle;
        return e;
    }

    static InteractionResponderError typedTextDidNotSettle()
    {
        InteractionResponderError e;
        e.kind = Kind::typedTextDidNotSettle;
        return e;
    }

    static InteractionResponderError controlCharactersInText()
    {
        InteractionResponderError e;
        e.kind = Kind::controlCharactersInText;
        return e;
    }

    // Why, in one sentence, before a refusal says what did not happen.
    QString refusalCause() const;
    Withheld withheld() const;
    QString errorDescription() const;
    bool operator==(const InteractionResponderError&) const = default;
};

QString toString(InteractionResponderError::Kind kind);
