#pragma once

#include <QString>

// A command that could not be run to its end.
struct CommandFailure {
    enum class Kind {
        launchFailed,
        // Only when the caller gave a deadline: the command was killed when it passed.
        timedOut,
    };

    Kind kind = Kind::launchFailed;
    QString executable;
    QString message;           // launchFailed
    double timeoutSeconds = 0; // timedOut

    static CommandFailure launchFailed(QString executable, QString message)
    {
        return {Kind::launchFailed, std::move(executable), std::move(message), 0};
    }
    static CommandFailure timedOut(QString executable, double seconds)
    {
        return {Kind::timedOut, std::move(executable), {}, seconds};
    }

    // "Couldn't run <executable>: <message>".
    QString errorDescription() const;
    bool operator==(const CommandFailure&) const = default;
};
