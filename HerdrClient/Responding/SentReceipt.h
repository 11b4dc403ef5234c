#pragma once

#include "HerdrClient/Interaction/PendingInteraction.h"
#include "HerdrClient/Responding/InteractionResponseIntent.h"
#include "HerdrClient/Responding/InteractionResponseOperation.h"
#include "HerdrClient/Wire/JSONValue.h"

#include <QString>

#include <optional>
#include <vector>

// What the person is shown once an answer went out: what was chosen, the keys that carried it,
// and that the fresh read matched before anything was sent.
struct SentReceipt {
    QString headline;
    QString detail;
    QString footnote;
    std::optional<QString> paneTitle;

    // `interaction` is the fresh read the answer was planned on; `sent` what herdr accepted.
    static SentReceipt make(const InteractionResponseIntent& intent,
                            const PendingInteraction& interaction,
                            const std::vector<InteractionResponseOperation>& sent,
                            std::optional<QString> paneTitle = std::nullopt);

    JSONValue asJSONValue() const;
    bool operator==(const SentReceipt&) const = default;
};
