#pragma once

#include "HerdrClient/Attention/HardFloorVerdict.h"
#include "HerdrClient/Attention/NeedsHumanSignal.h"
#include "HerdrClient/Interaction/PendingInteraction.h"

#include <QRegularExpression>
#include <QString>

#include <optional>
#include <vector>

// Whether an approval is one the person must arm by typing its target: a production deploy, a
// live charge, a destructive change or a security change. The agent's own declaration wins;
// otherwise a fixed table of expressions is tried on the words around the prompt.
class HardFloor {
public:
    struct Rule {
        HardFloorVerdict::Category category;
        QString rule;
        QRegularExpression expression;
    };

    // The table, in the order it is tried; the first match wins.
    static const std::vector<Rule>& rules();

    static std::optional<HardFloorVerdict> classify(
        const std::optional<NeedsHumanSignal::Floor>& declared, const std::vector<QString>& texts,
        const QString& project);

    // Gathers the command, the prompt's words, its choices and the ask's words, then classifies.
    static std::optional<HardFloorVerdict> classify(const PendingInteraction* interaction,
                                                    const NeedsHumanSignal* signal,
                                                    const QString& project);

    // "<project slug>-<action word>", with "agent" for an empty project.
    static QString defaultTarget(const QString& project, HardFloorVerdict::Category category);
};
