#pragma once

#include <QJsonObject>
#include <QProcessEnvironment>
#include <QString>

#include <chrono>
#include <functional>
#include <vector>

// What the benches that start the resident application share: its figures from /proc, its
// automation channel, and a `herdr` that lists the benches' fake sessions.

struct ProcessSample {
    double cpuSeconds = 0; // user and system
    double residentMegabytes = 0;
    int descriptors = 0;
    int threads = 0;
};

// Zeros for a process that is gone.
ProcessSample sampleProcess(qint64 pid);

class AutomationChannel {
public:
    explicit AutomationChannel(QString path) : m_path(std::move(path)) {}

    // The reply, or {"ok":false,"error":...} when the channel cannot be reached.
    QJsonObject request(const QJsonObject& command) const;
    QJsonObject state() const;
    bool waitFor(const std::function<bool(const QJsonObject&)>& holds,
                 std::chrono::milliseconds limit) const;

private:
    QString m_path;
};

struct ListedSession {
    QString name;
    QString socketPath;
};

// Writes `herdr session list --json` for `sessions` into `directory`, and a `herdr` there that
// prints it; returns the environment that points the application at it, with its settings, its
// automation socket (`directory`/automation.sock) and its home in `directory`.
QProcessEnvironment residentEnvironment(const QString& directory,
                                        const std::vector<ListedSession>& sessions);

// A claude approval of a Bash `command`, as the pane shows it.
QString claudeApprovalScreen(const QString& command);
