#pragma once

#include "HerdrClient/Interaction/InteractionEnums.h"

#include <QString>

#include <optional>
#include <variant>
#include <vector>

// The command an approval would run.
struct InteractionCommandEvidence {
    std::optional<QString> environment;
    std::optional<QString> reason;
    QString command;

    bool operator==(const InteractionCommandEvidence&) const = default;
};

struct InteractionDiffLine {
    std::optional<qint64> lineNumber;
    InteractionDiffLineKind kind = InteractionDiffLineKind::context;
    QString text;

    bool operator==(const InteractionDiffLine&) const = default;
};

// The edit an approval would make.
struct InteractionDiffEvidence {
    QString filePath;
    std::vector<InteractionDiffLine> lines;

    bool operator==(const InteractionDiffEvidence&) const = default;
};

// What is being approved: a command or a diff.
struct InteractionContentEvidence {
    std::variant<InteractionCommandEvidence, InteractionDiffEvidence> value;

    InteractionContentEvidence(InteractionCommandEvidence command) : value(std::move(command)) {}
    InteractionContentEvidence(InteractionDiffEvidence diff) : value(std::move(diff)) {}

    const InteractionCommandEvidence* command() const
    {
        return std::get_if<InteractionCommandEvidence>(&value);
    }
    const InteractionDiffEvidence* diff() const
    {
        return std::get_if<InteractionDiffEvidence>(&value);
    }

    bool operator==(const InteractionContentEvidence&) const = default;
};
