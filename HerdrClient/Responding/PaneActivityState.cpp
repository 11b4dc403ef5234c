#include "HerdrClient/Responding/PaneActivityState.h"

using namespace Qt::StringLiterals;

QString toString(PaneOutputPhase phase)
{
    return phase == PaneOutputPhase::reading ? u"reading"_s : u"idle"_s;
}

QString toString(PanePromptPhase phase)
{
    return phase == PanePromptPhase::sending ? u"sending"_s : u"idle"_s;
}
