#pragma once

#include "HerdrClient/Commands/CommandFailure.h"
#include "HerdrClient/Commands/CommandOutput.h"

#include <QStringList>

#include <expected>
#include <optional>

using CommandResult = std::expected<CommandOutput, CommandFailure>;

// Runs an outside command to its end and collects what it printed. Blocks the calling thread:
// call it from a worker, never from the main thread. Implementations override the three-argument
// `run` and add `using CommandRunning::run;` to keep the short form visible.
class CommandRunning {
public:
    virtual ~CommandRunning() = default;

    // No deadline: returns once the command has exited and both of its outputs are closed.
    CommandResult run(const QString& executable, const QStringList& arguments)
    {
        return run(executable, arguments, std::nullopt);
    }
    // With a deadline the command is killed when it passes, and the run fails with `timedOut`.
    virtual CommandResult run(const QString& executable, const QStringList& arguments,
                              std::optional<double> timeoutSeconds) = 0;
};
