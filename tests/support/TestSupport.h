#pragma once

#include "tests/support/ManualClock.h"

#include <QCoreApplication>
#include <QCoroTask>
#include <QEventLoop>
#include <QFile>
#include <QTimer>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <optional>
#include <type_traits>

namespace testing_detail {
struct Empty {};

template <class T>
QCoro::Task<> store(QCoro::Task<T> task,
                    std::optional<std::conditional_t<std::is_void_v<T>, Empty, T>>* out,
                    QEventLoop* loop)
{
    if constexpr (std::is_void_v<T>) {
        co_await std::move(task);
        out->emplace();
    } else {
        out->emplace(co_await std::move(task));
    }
    loop->quit();
}
} // namespace testing_detail

// Runs a coroutine on a private event loop until it finishes. A stuck coroutine ends the test
// program with a message instead of hanging it: a suspended coroutine still points into this
// frame, so there is no safe way back.
template <class T>
T runTask(QCoro::Task<T> task, std::chrono::milliseconds timeout = std::chrono::seconds(20))
{
    QEventLoop loop;
    std::optional<std::conditional_t<std::is_void_v<T>, testing_detail::Empty, T>> result;
    auto runner = testing_detail::store(std::move(task), &result, &loop);
    if (!result) {
        QTimer watchdog;
        watchdog.setSingleShot(true);
        QObject::connect(&watchdog, &QTimer::timeout, &loop, [timeout] {
            std::fprintf(stderr, "A coroutine under test did not finish within %lld ms.\n",
                         static_cast<long long>(timeout.count()));
            std::abort();
        });
        watchdog.start(timeout);
        loop.exec();
    }
    if constexpr (!std::is_void_v<T>)
        return std::move(*result);
}

// Runs the event loop until `condition` holds or the deadline passes. With a clock, time on it
// moves by `step` whenever something sleeps on it, so backoffs and probe pauses pass at once.
inline bool processEventsUntil(const std::function<bool()>& condition,
                               std::chrono::milliseconds timeout = std::chrono::seconds(20),
                               ManualClock* clock = nullptr, Seconds step = Seconds(0.15))
{
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline)
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 10);
        if (clock && !condition() && clock->pendingSleeps() > 0)
            clock->advance(step);
    }
    return true;
}

// Writes an executable shell script that runs `body`; returns its path.
inline QString writeScript(const QString& path, const QByteArray& body)
{
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate)) << path.toStdString();
    file.write("#!/bin/sh\n" + body + '\n');
    file.close();
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return path;
}
