#pragma once

#include <QString>

// A failure of the socket itself, below any meaning of what was said on it.
struct SocketError {
    enum class Kind { connectFailed, writeFailed, pathTooLong, timedOut, closed };

    Kind kind = Kind::closed;
    QString path;        // connectFailed, pathTooLong
    int errorNumber = 0; // connectFailed, writeFailed

    static SocketError connectFailed(QString path, int errorNumber)
    {
        return {Kind::connectFailed, std::move(path), errorNumber};
    }
    static SocketError writeFailed(int errorNumber) { return {Kind::writeFailed, {}, errorNumber}; }
    static SocketError pathTooLong(QString path) { return {Kind::pathTooLong, std::move(path), 0}; }
    static SocketError timedOut() { return {Kind::timedOut, {}, 0}; }
    static SocketError closed() { return {Kind::closed, {}, 0}; }

    QString errorDescription() const;
    bool operator==(const SocketError&) const = default;
};
