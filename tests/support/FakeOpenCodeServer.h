#pragma once

#include "HerdrClient/Wire/JSONValue.h"

#include <QByteArray>
#include <QHostAddress>
#include <QObject>
#include <QString>
#include <QTcpServer>

#include <map>
#include <optional>
#include <vector>

class QTcpSocket;

// One HTTP request as the fake opencode server read it.
struct FakeHTTPRequest {
    QByteArray method;
    QByteArray target;                        // as sent: path and query, still encoded
    std::map<QByteArray, QByteArray> headers; // names in lower case
    QByteArray body;

    // The target's path without its query.
    QByteArray path() const;
    std::optional<QByteArray> header(const QByteArray& name) const;
};

// What the fake server does with one request.
struct FakeHTTPReply {
    enum class Kind { respond, silent, raw };

    Kind kind = Kind::respond;
    int status = 200;
    QByteArray contentType = "application/json";
    QByteArray body;
    bool chunked = false;
    QByteArray bytes; // raw: written as they are, then the connection closes

    static FakeHTTPReply json(JSONValue value, int status = 200);
    static FakeHTTPReply html(int status = 200);
    // Never answers; the connection stays open until the server goes.
    static FakeHTTPReply silent();
    static FakeHTTPReply raw(QByteArray bytes);
};

// An opencode server on a real loopback port, on the thread that runs the test's event loop. It
// keeps pending permissions and session messages, answers the routes opencode answers, and logs
// every request. Overrides stand in for failures.
class FakeOpenCodeServer final : public QObject {
    Q_OBJECT

public:
    explicit FakeOpenCodeServer(QHostAddress address = QHostAddress(QHostAddress::LocalHost));

    bool start();
    // Stops listening: later connections are refused.
    void close() { m_server.close(); }
    quint16 port() const { return m_server.serverPort(); }
    // "http://127.0.0.1:<port>" (or the IPv6 form).
    QString url() const;

    // The JSON array that GET /permission answers; a reply takes its request out.
    void setPermissions(JSONValue permissions) { m_permissions = std::move(permissions); }
    const JSONValue& permissions() const { return m_permissions; }
    void setMessages(const QString& sessionID, JSONValue messages);
    // The JSON array that GET /question answers; a reply or a rejection takes its request out.
    void setQuestions(JSONValue questions) { m_questions = std::move(questions); }
    const JSONValue& questions() const { return m_questions; }
    // A server from before questions answers their routes with 404.
    void setQuestionRoutesSupported(bool supported) { m_questionRoutesSupported = supported; }
    // A server from before POST /permission/<id>/reply answers that route with 404.
    void setReplyRouteSupported(bool supported) { m_replyRouteSupported = supported; }
    // Answers "METHOD path" (the path without its query) with `reply`, before anything else.
    void setOverride(const QByteArray& method, const QByteArray& path, FakeHTTPReply reply);

    const std::vector<FakeHTTPRequest>& requests() const { return m_requests; }
    std::vector<FakeHTTPRequest> requests(const QByteArray& method) const;
    int connectionCount() const { return m_connections; }

private:
    void accept();
    void readFrom(QTcpSocket* socket);
    FakeHTTPReply answer(const FakeHTTPRequest& request);
    FakeHTTPReply takeReply(const QString& sessionID, const QString& requestID);
    // Takes the request with `requestID` out of `list`; 404 when it is not there.
    static FakeHTTPReply take(JSONValue& list, const QString& sessionID, const QString& requestID);
    static void write(QTcpSocket* socket, const FakeHTTPReply& reply);

    QHostAddress m_address;
    QTcpServer m_server;
    JSONValue m_permissions = JSONValue(JSONValue::Array{});
    std::map<QString, JSONValue> m_messages;
    bool m_replyRouteSupported = true;
    JSONValue m_questions = JSONValue(JSONValue::Array{});
    bool m_questionRoutesSupported = true;
    std::map<QByteArray, FakeHTTPReply> m_overrides;
    std::vector<FakeHTTPRequest> m_requests;
    std::map<QTcpSocket*, QByteArray> m_buffers;
    int m_connections = 0;
};
