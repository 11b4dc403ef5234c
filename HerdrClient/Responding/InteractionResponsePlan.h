#pragma once

#include "HerdrClient/Responding/InteractionResponseOperation.h"

#include <optional>
#include <vector>

// The ordered operations that answer one prompt as it stands.
struct InteractionResponsePlan {
    std::vector<InteractionResponseOperation> operations;

    // The plan that sends nothing.
    static const InteractionResponsePlan& noOp();

    // Every key of every operation in order; absent if any operation types text. An empty plan
    // gives an empty list.
    std::optional<std::vector<QString>> flattenedKeys() const;

    bool operator==(const InteractionResponsePlan&) const = default;
};
