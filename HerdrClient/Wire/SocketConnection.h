#pragma once

#include "HerdrClient/Wire/HerdrEndpoint.h"
#include "HerdrClient/Wire/SocketError.h"

#include <QByteArray>

#include <atomic>
#include <expected>
#include <optional>

// One stream connection to herdr, carrying newline-framed JSON. Owned by one thread at a time;
// only `interrupt` may be called from another thread, to wake a read that blocks.
class SocketConnection {
public:
    SocketConnection(HerdrEndpoint endpoint, std::optional<double> ioTimeout);
    ~SocketConnection();
    SocketConnection(const SocketConnection&) = delete;
    SocketConnection& operator=(const SocketConnection&) = delete;

    std::expected<void, SocketError> connect();
    // Writes `data` and one newline.
    std::expected<void, SocketError> writeLine(const QByteArray& data);
    // The next line without its newline; nothing at a clean end of stream. Bytes before an end of
    // stream without a newline are a last line. With a timeout, the whole line must arrive within
    // it, however the bytes trickle in.
    std::expected<std::optional<QByteArray>, SocketError> readLine();
    void close();
    // Ends the connection from another thread: a blocked read returns at once with end of stream.
    void interrupt();

    bool isOpen() const { return m_fd.load() >= 0; }
    const HerdrEndpoint& endpoint() const { return m_endpoint; }

private:
    void configureTimeout(int fd) const;
    static void setTimeout(int fd, int option, double seconds);

    std::atomic<int> m_fd{-1};
    QByteArray m_readBuffer;
    std::optional<double> m_ioTimeout;
    HerdrEndpoint m_endpoint;
};
