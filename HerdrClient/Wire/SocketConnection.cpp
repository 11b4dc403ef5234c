#include "HerdrClient/Wire/SocketConnection.h"

#include "HerdrClient/Wire/SocketPath.h"

#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstring>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

SocketConnection::SocketConnection(HerdrEndpoint endpoint, std::optional<double> ioTimeout)
    : m_ioTimeout(ioTimeout), m_endpoint(std::move(endpoint))
{
}

SocketConnection::~SocketConnection()
{
    close();
}

void SocketConnection::setTimeout(int fd, int option, double seconds)
{
    const double whole = std::floor(seconds);
    timeval tv{};
    tv.tv_sec = time_t(whole);
    tv.tv_usec = suseconds_t((seconds - whole) * 1'000'000.0);
    // A socket without the timeout still works; it only blocks for longer.
    (void)::setsockopt(fd, SOL_SOCKET, option, &tv, sizeof tv);
}

void SocketConnection::configureTimeout(int fd) const
{
    if (!m_ioTimeout)
        return;
    setTimeout(fd, SO_RCVTIMEO, *m_ioTimeout);
    setTimeout(fd, SO_SNDTIMEO, *m_ioTimeout);
}

std::expected<void, SocketError> SocketConnection::connect()
{
    close();
    if (const auto* socket = std::get_if<HerdrEndpoint::UnixSocket>(&m_endpoint.value)) {
        const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (fd < 0)
            return std::unexpected(SocketError::connectFailed(socket->path, errno));
        configureTimeout(fd);
        const QByteArray path = socket->path.toUtf8();
        if (path.size() > SocketPath::maximumPathBytes) {
            ::close(fd);
            return std::unexpected(SocketError::pathTooLong(socket->path));
        }
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, path.constData(), std::size_t(path.size()));
        if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
            const int error = errno;
            ::close(fd);
            return std::unexpected(SocketError::connectFailed(socket->path, error));
        }
        m_fd = fd;
        return {};
    }
    const auto port = std::get<HerdrEndpoint::LoopbackTCP>(m_endpoint.value).port;
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return std::unexpected(SocketError::connectFailed(m_endpoint.description(), errno));
    configureTimeout(fd);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        const int error = errno;
        ::close(fd);
        return std::unexpected(SocketError::connectFailed(m_endpoint.description(), error));
    }
    m_fd = fd;
    return {};
}

std::expected<void, SocketError> SocketConnection::writeLine(const QByteArray& data)
{
    const int fd = m_fd.load();
    if (fd < 0)
        return std::unexpected(SocketError::closed());
    QByteArray frame = data;
    frame.append('\n');
    qsizetype written = 0;
    while (written < frame.size()) {
        const ssize_t n = ::send(fd, frame.constData() + written,
                                 std::size_t(frame.size() - written), MSG_NOSIGNAL);
        if (n > 0) {
            written += n;
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
            return std::unexpected(SocketError::timedOut());
        return std::unexpected(SocketError::writeFailed(n < 0 ? errno : 0));
    }
    return {};
}

std::expected<std::optional<QByteArray>, SocketError> SocketConnection::readLine()
{
    using Clock = std::chrono::steady_clock;
    // The socket's own timeout counts per read; a server sending a byte now and then would never
    // trip it, so each read gets only what is left of the line's time.
    const std::optional<Clock::time_point> deadline =
        m_ioTimeout ? std::optional(Clock::now()
                                    + std::chrono::duration_cast<Clock::duration>(
                                        std::chrono::duration<double>(*m_ioTimeout)))
                    : std::nullopt;
    char chunk[8192];
    for (;;) {
        if (const qsizetype newline = m_readBuffer.indexOf('\n'); newline >= 0) {
            QByteArray line = m_readBuffer.left(newline);
            m_readBuffer.remove(0, newline + 1);
            return line;
        }
        const int fd = m_fd.load();
        if (fd < 0)
            return std::unexpected(SocketError::closed());
        if (deadline) {
            const double left = std::chrono::duration<double>(*deadline - Clock::now()).count();
            // A zero timeval would mean no timeout at all.
            if (left < 1e-6)
                return std::unexpected(SocketError::timedOut());
            setTimeout(fd, SO_RCVTIMEO, left);
        }
        const ssize_t n = ::recv(fd, chunk, sizeof chunk, 0);
        if (n > 0) {
            m_readBuffer.append(chunk, n);
            continue;
        }
        if (n == 0) {
            if (m_readBuffer.isEmpty())
                return std::optional<QByteArray>();
            QByteArray line = std::exchange(m_readBuffer, {});
            return line;
        }
        if (errno == EINTR)
            continue;
        if (errno == EAGAIN || errno == EWOULDBLOCK)
            return std::unexpected(SocketError::timedOut());
        return std::unexpected(SocketError::closed());
    }
}

void SocketConnection::close()
{
    const int fd = m_fd.exchange(-1);
    if (fd >= 0)
        ::close(fd);
}

void SocketConnection::interrupt()
{
    // shutdown, not close: closing a descriptor does not wake a recv blocked on it under Linux,
    // and the number could be reused by another thread before the reader notices.
    const int fd = m_fd.load();
    if (fd >= 0)
        ::shutdown(fd, SHUT_RDWR);
}
