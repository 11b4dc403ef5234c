#pragma once

#include "HerdrClient/Commands/CommandFailure.h"

#include <QStringList>

#include <sys/types.h>

#include <chrono>
#include <expected>
#include <optional>

// A child started with its standard output and standard error each on a pipe of ours, and its
// standard input and environment inherited. The caller reads the two pipes, closes them, and
// reaps the child.
struct ChildProcess {
    pid_t pid = -1;
    int standardOutput = -1; // read end, close-on-exec
    int standardError = -1;  // read end, close-on-exec

    static std::expected<ChildProcess, CommandFailure> launch(const QString& executable,
                                                              const QStringList& arguments);

    // Waits for the child to exit: its exit status, or 128 plus the signal that ended it.
    qint32 wait();
    // The same, but absent when the child is still running at `deadline`.
    std::optional<qint32> waitUntil(std::chrono::steady_clock::time_point deadline);
    void closePipes();
};
