#pragma once

#include "HerdrClient/Commands/CommandRunning.h"

// Runs commands as child processes. Both outputs are read together, so a child that fills one
// pipe while we wait on the other cannot stall.
class ProcessCommandRunner : public CommandRunning {
public:
    using CommandRunning::run;
    CommandResult run(const QString& executable, const QStringList& arguments,
                      std::optional<double> timeoutSeconds) override;
};
