#pragma once

#include "HerdrClient/Interaction/PendingInteraction.h"
#include "HerdrClient/Interaction/ScreenAdapterInput.h"

#include <QString>

#include <set>

// A reader of one agent's prompts from its terminal text. It yields a fully understood
// interaction, or the generic reading; never a partial result. Adapters are immutable and may
// be used from any thread.
class ScreenAdapter {
public:
    virtual ~ScreenAdapter() = default;

    virtual QString adapterID() const = 0;
    virtual std::set<QString> agentIDs() const = 0;
    // Cannot fail: every doubt ends in the generic reading.
    virtual PendingInteraction parse(const ScreenAdapterInput& input) const = 0;
};
