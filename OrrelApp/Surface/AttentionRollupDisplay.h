#pragma once

#include "HerdrClient/State/AgentRef.h"
#include "OrrelApp/Surface/InteractionAttentionDisplayModel.h"

#include <QString>

#include <optional>
#include <span>

namespace AttentionRollupDisplay {

// The task the compact pill names: the selected agent when it is blocked, else the first blocked
// one of `items`; nothing when none is blocked.
std::optional<QString> pillTaskTitle(std::span<const InteractionAttentionDisplayModel> items,
                                     const std::optional<AgentRef>& selected);

} // namespace AttentionRollupDisplay
