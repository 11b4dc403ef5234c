#include "OrrelApp/Surface/AttentionRollupDisplay.h"

#include <algorithm>

namespace AttentionRollupDisplay {

std::optional<QString> pillTaskTitle(std::span<const InteractionAttentionDisplayModel> items,
                                     const std::optional<AgentRef>& selected)
{
    const auto isBlocked = [](const InteractionAttentionDisplayModel& item) {
        return item.status == RollupStatus::blocked;
    };
    if (selected) {
        const auto found = std::ranges::find_if(
            items, [&](const auto& item) { return item.ref == *selected && isBlocked(item); });
        if (found != items.end())
            return found->taskTitle;
    }
    const auto first = std::ranges::find_if(items, isBlocked);
    if (first != items.end())
        return first->taskTitle;
    return std::nullopt;
}

} // namespace AttentionRollupDisplay
