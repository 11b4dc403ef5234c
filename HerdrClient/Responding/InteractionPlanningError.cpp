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
        return u"There's a draft in the terminal; answer there or clear it. Nothing was sent."_s;
    return std::nullopt;
}
