#pragma once

#include "tests/support/TestSupport.h"

#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <gtest/gtest.h>

struct ProgramRun {
    int status = -1;
    QString out;
    QString err;
};

// Runs `program` to its end, with herdr's socket given by the environment (none reachable when
// `socket` is empty) rather than by whoever runs the tests.
// `extra` adds to or replaces variables of the environment.
// With `serving`, this thread's event loop keeps running meanwhile, for a server that lives on it.
inline ProgramRun run(const QString& program, const QStringList& arguments,
                      const QString& socket = {}, const QProcessEnvironment& extra = {},
                      bool serving = false)
{
    QProcess process;
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.remove(QStringLiteral("HERDR_SESSION"));
    environment.insert(QStringLiteral("HERDR_SOCKET_PATH"),
                       socket.isEmpty() ? QStringLiteral("/nonexistent/herdr.sock") : socket);
    environment.insert(extra);
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    const bool finished =
        serving ? processEventsUntil([&] { return process.state() == QProcess::NotRunning; },
                                     std::chrono::seconds(30))
                : process.waitForFinished(30000);
    EXPECT_TRUE(finished) << program.toStdString();
    return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
            QString::fromUtf8(process.readAllStandardError())};
}
