#include "HerdrClient/OpenCode/OpenCodeHTTPExchange.h"

#include "HerdrClient/OpenCode/OpenCodePaneDescriptor.h"

#include <QCoroSignal>
#include <QNetworkProxy>

#include <memory>

using namespace Qt::StringLiterals;

QCoro::Task<OpenCodeHTTPResult> OpenCodeHTTPExchange::send(OpenCodeHTTPRequest request,
                                                           OpenCodeHTTPLimits limits)
{
    std::unique_ptr<OpenCodeHTTPExchange> exchange(
        new OpenCodeHTTPExchange(std::move(request), limits));
    exchange->start();
    // `finished` is always queued, so it cannot go by before this await begins.
    co_await qCoro(exchange.get(), &OpenCodeHTTPExchange::finished);
    co_return *exchange->m_result;
}

QByteArray OpenCodeHTTPExchange::requestBytes(const OpenCodeHTTPRequest& request)
{
    QByteArray path = request.endpoint.path(QUrl::FullyEncoded).toUtf8();
    if (!path.endsWith('/'))
        path += '/';
    const QString host = request.endpoint.host();
    const QByteArray hostHeader = (host.contains(u':') ? u"[%1]"_s.arg(host) : host).toUtf8() + ':'
                                  + QByteArray::number(request.endpoint.port(80));

    QByteArray bytes = request.method + ' ' + path + request.target + " HTTP/1.1\r\n";
    bytes += "Host: " + hostHeader + "\r\n";
    bytes += "Accept: application/json\r\n";
    bytes += "Connection: close\r\n";
    if (request.jsonBody) {
        bytes += "Content-Type: application/json\r\n";
        bytes += "Content-Length: " + QByteArray::number(request.jsonBody->size()) + "\r\n";
    }
    bytes += "\r\n";
    if (request.jsonBody)
        bytes += *request.jsonBody;
    return bytes;
}

std::vector<QHostAddress> OpenCodeHTTPExchange::addresses(const QUrl& endpoint)
{
    if (!OpenCodePaneDescriptor::isLoopback(endpoint))
        return {};
    // "localhost" is not looked up: a hosts file could point it anywhere.
    const QString host = endpoint.host().toLower();
    if (host == u"::1"_s)
        return {QHostAddress(QHostAddress::LocalHostIPv6)};
    if (host == u"127.0.0.1"_s)
        return {QHostAddress(QHostAddress::LocalHost)};
    return {QHostAddress(QHostAddress::LocalHost), QHostAddress(QHostAddress::LocalHostIPv6)};
}

OpenCodeHTTPExchange::OpenCodeHTTPExchange(OpenCodeHTTPRequest request, OpenCodeHTTPLimits limits)
    : m_request(std::move(request)), m_addresses(addresses(m_request.endpoint)),
      m_reader(limits.maxBodyBytes), m_deadlineDuration(limits.deadline)
{
    m_socket.setProxy(QNetworkProxy::NoProxy);
    m_deadline.setSingleShot(true);
    connect(&m_deadline, &QTimer::timeout, this, [this] {
        finish(std::unexpected(OpenCodeTransportError{OpenCodeTransportError::Kind::timedOut}));
    });
    connect(&m_socket, &QTcpSocket::connected, this, &OpenCodeHTTPExchange::onConnected);
    connect(&m_socket, &QTcpSocket::readyRead, this, &OpenCodeHTTPExchange::onReadyRead);
    connect(&m_socket, &QTcpSocket::disconnected, this, &OpenCodeHTTPExchange::onEnd);
    connect(&m_socket, &QTcpSocket::errorOccurred, this, &OpenCodeHTTPExchange::onError);
}

void OpenCodeHTTPExchange::start()
{
    if (m_addresses.empty()) {
        finish(std::unexpected(OpenCodeTransportError{OpenCodeTransportError::Kind::notLoopback}));
        return;
    }
    m_deadline.start(m_deadlineDuration);
    connectNext();
}

void OpenCodeHTTPExchange::connectNext()
{
    if (m_result)
        return;
    if (m_nextAddress >= m_addresses.size()) {
        finish(std::unexpected(
            OpenCodeTransportError{OpenCodeTransportError::Kind::connectionRefused}));
        return;
    }
    m_socket.abort();
    m_socket.connectToHost(m_addresses[m_nextAddress++], quint16(m_request.endpoint.port(80)));
}

void OpenCodeHTTPExchange::onConnected()
{
    m_connected = true;
    m_socket.write(requestBytes(m_request));
}

void OpenCodeHTTPExchange::onReadyRead()
{
    if (!m_result)
        take(m_reader.feed(m_socket.readAll()));
}

void OpenCodeHTTPExchange::onEnd()
{
    if (m_result || !m_connected)
        return;
    onReadyRead();
    if (!m_result)
        take(m_reader.finishAtEnd());
}

void OpenCodeHTTPExchange::onError(QAbstractSocket::SocketError error)
{
    if (m_result)
        return;
    if (!m_connected) {
        // Try the next address once the socket has left this callback.
        QMetaObject::invokeMethod(this, &OpenCodeHTTPExchange::connectNext, Qt::QueuedConnection);
        return;
    }
    if (error == QAbstractSocket::RemoteHostClosedError) {
        onEnd();
        return;
    }
    onReadyRead();
    if (!m_result)
        finish(
            std::unexpected(OpenCodeTransportError{OpenCodeTransportError::Kind::connectionLost}));
}

void OpenCodeHTTPExchange::take(OpenCodeHTTPResponseReader::State state)
{
    switch (state) {
    case OpenCodeHTTPResponseReader::State::incomplete: return;
    case OpenCodeHTTPResponseReader::State::complete:
        finish(OpenCodeHTTPResponse{m_reader.status(), m_reader.body()});
        return;
    case OpenCodeHTTPResponseReader::State::failed: break;
    }
    finish(std::unexpected(*m_reader.failure()));
}

void OpenCodeHTTPExchange::finish(OpenCodeHTTPResult result)
{
    if (m_result)
        return;
    m_result = std::move(result);
    m_deadline.stop();
    m_socket.disconnect(this);
    m_socket.abort();
    QMetaObject::invokeMethod(this, &OpenCodeHTTPExchange::finished, Qt::QueuedConnection);
}
