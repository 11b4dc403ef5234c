#pragma once

#include <QCoroTask>
#include <QEventLoop>
#include <QTimer>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <optional>

namespace testing_detail {
template <class T>
QCoro::Task<> store(QCoro::Task<T> task, std::optional<T>* out, bool* done, QEventLoop* loop)
{
    *out = co_await std::move(task);
    *done = true;
    loop->quit();
}

inline QCoro::Task<> storeVoid(QCoro::Task<> task, bool* done, QEventLoop* loop)
{
    co_await std::move(task);
    *done = true;
    loop->quit();
}

[[noreturn]] inline void watchdogFired(std::chrono::milliseconds timeout)
{
    std::fprintf(stderr, "A coroutine under test did not finish within %lld ms.\n",
                 static_cast<long long>(timeout.count()));
    // A suspended coroutine still points into this frame, so there is no safe way back.
    std::abort();
}
} // namespace testing_detail

// Runs a coroutine on a private event loop until it finishes. A stuck coroutine ends the test
// program with a message instead of hanging it.
template <class T>
T runTask(QCoro::Task<T> task, std::chrono::milliseconds timeout = std::chrono::seconds(20))
{
    QEventLoop loop;
    std::optional<T> result;
    bool done = false;
    auto runner = testing_detail::store(std::move(task), &result, &done, &loop);
    if (!done) {
        QTimer watchdog;
        watchdog.setSingleShot(true);
        QObject::connect(&watchdog, &QTimer::timeout, &loop, [timeout] { testing_detail::watchdogFired(timeout); });
        watchdog.start(timeout);
        loop.exec();
    }
    return std::move(*result);
}

inline void runTask(QCoro::Task<> task, std::chrono::milliseconds timeout = std::chrono::seconds(20))
{
    QEventLoop loop;
    bool done = false;
    auto runner = testing_detail::storeVoid(std::move(task), &done, &loop);
    if (!done) {
        QTimer watchdog;
        watchdog.setSingleShot(true);
        QObject::connect(&watchdog, &QTimer::timeout, &loop, [timeout] { testing_detail::watchdogFired(timeout); });
        watchdog.start(timeout);
        loop.exec();
    }
}
