#include "HerdrClient/Wire/HerdrError.h"

#include <cstring>

using namespace Qt::StringLiterals;

namespace {
QString errnoText(int errorNumber)
{
    return QString::fromLocal8Bit(std::strerror(errorNumber));
}
} // namespace

QString SocketError::errorDescription() const
{
    switch (kind) {
    case Kind::connectFailed:
        return u"Couldn't connect to %1: %2"_s.arg(path, errnoText(errorNumber));
    case Kind::writeFailed: return u"Couldn't write to herdr: %1"_s.arg(errnoText(errorNumber));
    case Kind::pathTooLong: return u"The socket path is longer than 103 bytes: %1"_s.arg(path);
    case Kind::timedOut: return u"herdr did not answer in time"_s;
    case Kind::closed: break;
    }
    return u"The connection to herdr was closed"_s;
}

QString HerdrError::errorDescription() const
{
    switch (kind) {
    case Kind::api: return u"herdr refused the request (%1): %2"_s.arg(code, message);
    case Kind::noResponse: return u"herdr closed the connection without answering %1"_s.arg(method);
    case Kind::malformedResponse: break;
    }
    return u"herdr's answer to %1 could not be read: %2"_s.arg(method, message);
}

bool RequestFailure::isUnreachable() const
{
    const SocketError* socket = socketError();
    return socket
           && (socket->kind == SocketError::Kind::connectFailed
               || socket->kind == SocketError::Kind::timedOut);
}

QString RequestFailure::errorDescription() const
{
    return std::visit([](const auto& e) { return e.errorDescription(); }, error);
}
