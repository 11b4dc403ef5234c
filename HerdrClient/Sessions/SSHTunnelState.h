#pragma once

#include <QString>

// Where a tunnel stands. Only `failed` carries words: the reason a person can act on.
struct SSHTunnelState {
    enum class Kind { idle, connecting, up, failed };

    Kind kind = Kind::idle;
    QString reason; // failed

    static SSHTunnelState idle() { return {Kind::idle, {}}; }
    static SSHTunnelState connecting() { return {Kind::connecting, {}}; }
    static SSHTunnelState up() { return {Kind::up, {}}; }
    static SSHTunnelState failed(QString reason) { return {Kind::failed, std::move(reason)}; }

    bool isUp() const { return kind == Kind::up; }
    // "idle", "connecting", "up" or "failed".
    static QString toString(Kind kind);

    bool operator==(const SSHTunnelState&) const = default;
};

// The one thing that can go wrong before any ssh runs.
struct SSHTunnelError {
    enum class Kind { portAllocationFailed };

    Kind kind = Kind::portAllocationFailed;
    qint32 errorNumber = 0;

    static SSHTunnelError portAllocationFailed(qint32 errorNumber)
    {
        return {Kind::portAllocationFailed, errorNumber};
    }

    QString errorDescription() const;
    bool operator==(const SSHTunnelError&) const = default;
};
