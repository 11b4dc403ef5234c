#include "HerdrClient/Interaction/InteractionProviding.h"

using namespace Qt::StringLiterals;

QString InteractionProviderError::errorDescription() const
{
    return u"Couldn't read the screen of pane %1."_s.arg(paneID);
}

QString InteractionReadFailure::errorDescription() const
{
    return std::visit([](const auto& e) { return e.errorDescription(); }, error);
}
