#include "HerdrClient/Responding/PaneInteractionDraft.h"

using namespace Qt::StringLiterals;

QString toString(InteractionDraftState state)
{
    return state == InteractionDraftState::stale ? u"stale"_s : u"attached"_s;
}

std::optional<InteractionDraftState> interactionDraftStateFromString(const QString& text)
{
    if (text == u"attached")
        return InteractionDraftState::attached;
    if (text == u"stale")
        return InteractionDraftState::stale;
    return std::nullopt;
}
