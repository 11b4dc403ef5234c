#pragma once

#include <QString>

#include <optional>

// The one-line message that carries a person's answer to an escalated question back into the
// owner agent's pane.
struct EscalationAnswer {
    // "[orrel] Answer for escalated question <id> from worker <tab or pane> (<pane>): <answer>",
    // the answer's white space folded so that the message is one line.
    static QString message(const QString& questionID, const std::optional<QString>& workerTab,
                           const QString& workerPane, const QString& answer);
};
