#pragma once

#include "HerdrClient/Commands/BoundedPipeDrain.h"
#include "HerdrClient/Commands/ChildProcess.h"
#include "HerdrClient/Commands/CommandFailure.h"

#include <QFuture>
#include <QObject>
#include <QSocketNotifier>
#include <QTimer>

#include <chrono>
#include <expected>
#include <memory>
#include <optional>

// One run of a long-lived ssh: its standard error kept in a bounded drain for the reason of a
// failure, its standard output thrown away, and its exit noticed on the event loop of the thread
// that launched it. The child never outlives this object.
class SSHTunnelProcess : public QObject {
    Q_OBJECT
public:
    static std::expected<std::unique_ptr<SSHTunnelProcess>, CommandFailure> launch(
        const QString& executable, const QStringList& arguments, qsizetype maximumErrorBytes);
    ~SSHTunnelProcess() override;

    pid_t processID() const { return m_child.pid; }
    // Looks without blocking; a child that has exited is reaped here.
    bool isRunning();
    // Its exit status, or 128 plus the signal that ended it; absent while it runs.
    std::optional<qint32> exitStatus() const { return m_status; }

    // Asks the child to end (SIGTERM) and reaps it, killing it when it is still there after
    // `grace`. Blocks for at most a little more than `grace`.
    void end(std::chrono::milliseconds grace = std::chrono::milliseconds(500));

    // The last bytes of standard error, once the pipe ends or `timeoutSeconds` pass (then the
    // reading is cut and 0.25 s more are granted). Waits on a worker thread, not on the caller.
    QFuture<QByteArray> finishStandardError(double timeoutSeconds) const;

Q_SIGNALS:
    // The child has exited and was reaped. Emitted once.
    void exited();

private:
    explicit SSHTunnelProcess(ChildProcess child, qsizetype maximumErrorBytes);
    void watchExit();
    void noticeExit();

    ChildProcess m_child;
    std::optional<qint32> m_status;
    bool m_announced = false;
    int m_pidfd = -1;
    std::unique_ptr<QSocketNotifier> m_exitNotifier;
    // Without a pidfd (old kernels) the exit is looked for now and then.
    std::unique_ptr<QTimer> m_exitPoll;
    std::shared_ptr<BoundedPipeDrain> m_standardError;
    std::unique_ptr<BoundedPipeDrain> m_standardOutput;
};
