#pragma once

#include <QByteArray>

#include <condition_variable>
#include <mutex>
#include <thread>

// Reads a pipe in the background for as long as a long-lived child runs, keeping only its last
// `maximumBytes`, so that the end of what it said is there to quote when it fails. Owns the
// descriptor it is given.
class BoundedPipeDrain {
public:
    BoundedPipeDrain(int fd, qsizetype maximumBytes);
    ~BoundedPipeDrain();
    BoundedPipeDrain(const BoundedPipeDrain&) = delete;
    BoundedPipeDrain& operator=(const BoundedPipeDrain&) = delete;

    // Starts reading on a thread of its own; a second call does nothing.
    void start();
    // Waits up to `timeoutSeconds` for the end of the pipe. When that does not come (a grandchild
    // can hold the pipe open), the reading is stopped and 0.25 s more are granted. Returns what
    // was captured either way.
    QByteArray finish(double timeoutSeconds);

private:
    void readLoop();
    // Ends the reading even while it waits for data.
    void stopReading();

    int m_fd = -1;
    int m_wake[2] = {-1, -1};
    qsizetype m_maximumBytes = 0;
    mutable std::mutex m_lock;
    std::condition_variable m_completion;
    bool m_didStart = false;
    bool m_done = false;
    QByteArray m_captured;
    std::thread m_thread;
};
