#include "HerdrClient/Responding/InteractionResponsePlan.h"

const InteractionResponsePlan& InteractionResponsePlan::noOp()
{
    static const InteractionResponsePlan empty;
    return empty;
}

std::optional<std::vector<QString>> InteractionResponsePlan::flattenedKeys() const
{
    std::vector<QString> keys;
    for (const auto& operation : operations) {
        if (operation.kind == InteractionResponseOperation::Kind::sendText)
            return std::nullopt;
        keys.insert(keys.end(), operation.keys.begin(), operation.keys.end());
    }
    return keys;
}
