#include "HerdrClient/Responding/InteractionResponderError.h"

using namespace Qt::StringLiterals;

QString toString(InteractionResponderError::Kind kind)
{
    using Kind = InteractionResponderError::Kind;
    switch (kind) {
    case Kind::staleInteraction: return u"staleInteraction"_s;
    case Kind::unsupportedIntent: return u"unsupportedIntent"_s;
    case Kind::choiceCursorDidNotSettle: return u"choiceCursorDidNotSettle"_s;
    case Kind::submitConfirmationDidNotSettle: return u"submitConfirmationDidNotSettle"_s;
    case Kind::typedTextDidNotSettle: return u"typedTextDidNotSettle"_s;
    case Kind::controlCharactersInText: break;
    }
    return u"controlCharactersInText"_s;
}

QString withheldSentence(Withheld withheld, bool somethingWentOut)
{
    switch (withheld) {
    case Withheld::sending:
        return somethingWentOut ? u"Nothing more was sent."_s : u"Nothing was sent."_s;
    case Withheld::selecting: return u"Nothing was selected."_s;
    case Withheld::submitting: break;
    }
    return u"Nothing was submitted."_s;
}

QString InteractionResponderError::refusalCause() const
{
    switch (kind) {
    case Kind::staleInteraction: return u"This interaction changed before the response was sent."_s;
    case Kind::unsupportedIntent: return u"That response is not supported for this interaction."_s;
    case Kind::choiceCursorDidNotSettle:
        return u"The option cursor did not settle on option %1."_s.arg(targetIndex + 1);
    case Kind::typedTextDidNotSettle:
        return u"The typed text did not settle in the prompt's text field."_s;
    case Kind::controlCharactersInText:
        return u"The text holds control characters, which the terminal would take as keys."_s;
    case Kind::submitConfirmationDidNotSettle: break;
    }
    return u"Claude's submit confirmation did not settle."_s;
}

Withheld InteractionResponderError::withheld() const
{
    switch (kind) {
    case Kind::choiceCursorDidNotSettle: return Withheld::selecting;
    case Kind::submitConfirmationDidNotSettle:
    case Kind::typedTextDidNotSettle: return Withheld::submitting;
    default: return Withheld::sending;
    }
}

QString InteractionResponderError::errorDescription() const
{
    // The responder's own record; a person is told the refusal sentence built from the parts.
    if (kind == Kind::staleInteraction)
        return u"The interaction changed before the response was sent. Nothing was sent."_s;
    if (kind == Kind::unsupportedIntent)
        return refusalCause();
    return refusalCause() + u' ' + withheldSentence(withheld(), false);
}
