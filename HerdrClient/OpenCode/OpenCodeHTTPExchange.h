#pragma once

#include "HerdrClient/OpenCode/OpenCodeHTTPResponseReader.h"
#include "HerdrClient/OpenCode/OpenCodeNativeFailure.h"

#include <QByteArray>
#include <QCoroTask>
#include <QHostAddress>
#include <QObject>
#include <QTcpSocket>
#include <QTimer>
#include <QUrl>

#include <chrono>
#include <expected>
#include <optional>
#include <vector>

// One request to an opencode server. `target` is below the endpoint's path and already encoded,
// such as "permission" or "session/ses_1/message?limit=100".
struct OpenCodeHTTPRequest {
    QByteArray method;
    QUrl endpoint;
    QByteArray target;
    std::optional<QByteArray> jsonBody;
};

struct OpenCodeHTTPLimits {
    std::chrono::milliseconds deadline{60'000}; // for the whole exchange, connecting included
    qsizetype maxBodyBytes = 8 * 1024 * 1024;
};

struct OpenCodeHTTPResponse {
    int status = 0;
    QByteArray body;
};

using OpenCodeHTTPResult = std::expected<OpenCodeHTTPResponse, OpenCodeNativeFailure>;

// One request and its answer over a fresh loopback connection. Only loopback addresses are ever
// dialled, with no name lookup and no proxy, and no redirect is followed, so nothing of a
// session can leave the machine whatever the endpoint says.
class OpenCodeHTTPExchange final : public QObject {
    Q_OBJECT

public:
    // Always ends, at the latest at the deadline.
    static QCoro::Task<OpenCodeHTTPResult> send(OpenCodeHTTPRequest request,
                                                OpenCodeHTTPLimits limits);

    // The bytes that go out, for `Connection: close`.
    static QByteArray requestBytes(const OpenCodeHTTPRequest& request);
    // The addresses a loopback endpoint stands for; none for any other endpoint.
    static std::vector<QHostAddress> addresses(const QUrl& endpoint);

Q_SIGNALS:
    void finished();

private:
    OpenCodeHTTPExchange(OpenCodeHTTPRequest request, OpenCodeHTTPLimits limits);

    void start();
    void connectNext();
    void onConnected();
    void onReadyRead();
    void onEnd();
    void onError(QAbstractSocket::SocketError error);
    void take(OpenCodeHTTPResponseReader::State state);
    void finish(OpenCodeHTTPResult result);

    OpenCodeHTTPRequest m_request;
    std::vector<QHostAddress> m_addresses;
    std::size_t m_nextAddress = 0;
    bool m_connected = false;
    OpenCodeHTTPResponseReader m_reader;
    QTcpSocket m_socket;
    QTimer m_deadline;
    std::chrono::milliseconds m_deadlineDuration;
    std::optional<OpenCodeHTTPResult> m_result;
};
