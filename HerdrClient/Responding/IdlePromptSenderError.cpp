#include "HerdrClient/Responding/IdlePromptSenderError.h"

using namespace Qt::StringLiterals;

QString IdlePromptSenderError::errorDescription() const
{
    if (kind == Kind::paneNoLongerIdle)
        return u"This agent is now %1. Nothing was sent."_s.arg(toString(status));
    return u"Couldn't confirm that pane %1 is still idle. Nothing was sent."_s.arg(paneID);
}
