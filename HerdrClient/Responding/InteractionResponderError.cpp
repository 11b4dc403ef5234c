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
    case Kind::controlCharactersInText: break;
    }
    return u"controlCharactersInText"_s;
}

QString InteractionResponderError::errorDescription() const
{
    switch (kind) {
    case Kind::staleInteraction:
        return u"The interaction changed before the response was sent. Nothing was sent."_s;
    case Kind::unsupportedIntent: return u"That response is not supported for this interaction."_s;
    case Kind::choiceCursorDidNotSettle:
        return u"The option cursor did not settle on option %1. Nothing was selected."_s.arg(targetIndex + 1);
    case Kind::controlCharactersInText:
        return u"The text holds control characters, which the terminal would take as keys. Nothing was sent."_s;
    case Kind::submitConfirmationDidNotSettle: break;
    }
    return u"Claude's submit confirmation did not settle. Nothing was submitted."_s;
}
