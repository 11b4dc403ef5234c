#pragma once

#include <QString>

#include <cstdint>
#include <variant>

// Where a herdr server listens: a local Unix socket, or the loopback end of an SSH forward.
struct HerdrEndpoint {
    struct UnixSocket {
        QString path;
        bool operator==(const UnixSocket&) const = default;
    };
    struct LoopbackTCP {
        std::uint16_t port = 0;
        bool operator==(const LoopbackTCP&) const = default;
    };

    std::variant<UnixSocket, LoopbackTCP> value;

    static HerdrEndpoint unixSocket(QString path) { return {UnixSocket{std::move(path)}}; }
    static HerdrEndpoint loopbackTCP(std::uint16_t port) { return {LoopbackTCP{port}}; }

    // The socket path, or "127.0.0.1:" and the port.
    QString description() const
    {
        if (const auto* socket = std::get_if<UnixSocket>(&value))
            return socket->path;
        return QStringLiteral("127.0.0.1:%1").arg(std::get<LoopbackTCP>(value).port);
    }

    bool operator==(const HerdrEndpoint&) const = default;
};
