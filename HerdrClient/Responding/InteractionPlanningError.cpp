#include "HerdrClient/Responding/InteractionPlanningError.h"

using namespace Qt::StringLiterals;

QString toString(InteractionPlanningError error)
{
    switch (error) {
    case InteractionPlanningError::unsupportedIntent: return u"unsupportedIntent"_s;
    case InteractionPlanningError::invalidChoice: return u"invalidChoice"_s;
    case InteractionPlanningError::missingCursor: return u"missingCursor"_s;
    case InteractionPlanningError::ambiguousMechanism: return u"ambiguousMechanism"_s;
    case InteractionPlanningError::emptyText: return u"emptyText"_s;
    case InteractionPlanningError::terminalDraft: break;
    }
    return u"terminalDraft"_s;
}

std::optional<QString> errorDescription(InteractionPlanningError error)
{
    if (error == InteractionPlanningError::terminalDraft)
        return refusalCause(error) + u" Nothing was sent."_s;
    return std::nullopt;
}

QString refusalCause(InteractionPlanningError error)
{
    switch (error) {
    case InteractionPlanningError::unsupportedIntent:
        return u"That response is not supported for this interaction."_s;
    case InteractionPlanningError::invalidChoice: return u"The prompt has no such choice."_s;
    case InteractionPlanningError::missingCursor:
        return u"The prompt's cursor could not be found on the screen."_s;
    case InteractionPlanningError::ambiguousMechanism:
        return u"It is not clear which keys answer this prompt safely; answer it in the terminal."_s;
    case InteractionPlanningError::emptyText: return u"The text is empty."_s;
    case InteractionPlanningError::terminalDraft: break;
    }
    return u"There's a draft in the terminal; answer there or clear it."_s;
}
