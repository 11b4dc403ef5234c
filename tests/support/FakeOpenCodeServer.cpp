#include "tests/support/FakeOpenCodeServer.h"

#include <QTcpSocket>
#include <QUrl>

using namespace Qt::StringLiterals;

QByteArray FakeHTTPRequest::path() const
{
    const qsizetype query = target.indexOf('?');
    return query < 0 ? target : target.first(query);
}

std::optional<QByteArray> FakeHTTPRequest::header(const QByteArray& name) const
{
    const auto found = headers.find(name.toLower());
    if (found == headers.end())
        return std::nullopt;
    return found->second;
}

FakeHTTPReply FakeHTTPReply::json(JSONValue value, int status)
{
    FakeHTTPReply reply;
    reply.status = status;
    reply.body = value.serialized();
    return reply;
}

FakeHTTPReply FakeHTTPReply::html(int status)
{
    FakeHTTPReply reply;
    reply.status = status;
    reply.contentType = "text/html";
    reply.body = "<!doctype html><html><body>Welcome</body></html>";
    return reply;
}

FakeHTTPReply FakeHTTPReply::silent()
{
    FakeHTTPReply reply;
    reply.kind = Kind::silent;
    return reply;
}

FakeHTTPReply FakeHTTPReply::raw(QByteArray bytes)
{
    FakeHTTPReply reply;
    reply.kind = Kind::raw;
    reply.bytes = std::move(bytes);
    return reply;
}

FakeOpenCodeServer::FakeOpenCodeServer(QHostAddress address) : m_address(address)
{
    connect(&m_server, &QTcpServer::newConnection, this, &FakeOpenCodeServer::accept);
}

bool FakeOpenCodeServer::start()
{
    return m_server.listen(m_address, 0);
}

QString FakeOpenCodeServer::url() const
{
    const QString host =
        m_address.protocol() == QAbstractSocket::IPv6Protocol ? u"[::1]"_s : u"127.0.0.1"_s;
    return u"http://%1:%2"_s.arg(host).arg(port());
}

void FakeOpenCodeServer::setMessages(const QString& sessionID, JSONValue messages)
{
    m_messages.insert_or_assign(sessionID, std::move(messages));
}

void FakeOpenCodeServer::setOverride(const QByteArray& method, const QByteArray& path,
                                     FakeHTTPReply reply)
{
    m_overrides.insert_or_assign(method + ' ' + path, std::move(reply));
}

std::vector<FakeHTTPRequest> FakeOpenCodeServer::requests(const QByteArray& method) const
{
    std::vector<FakeHTTPRequest> matching;
    for (const auto& request : m_requests) {
        if (request.method == method)
            matching.push_back(request);
    }
    return matching;
}

void FakeOpenCodeServer::accept()
{
    while (QTcpSocket* socket = m_server.nextPendingConnection()) {
        ++m_connections;
        socket->setParent(this);
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { readFrom(socket); });
        connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
            m_buffers.erase(socket);
            socket->deleteLater();
        });
    }
}

void FakeOpenCodeServer::readFrom(QTcpSocket* socket)
{
    QByteArray& buffer = m_buffers[socket];
    buffer += socket->readAll();
    const qsizetype headEnd = buffer.indexOf("\r\n\r\n");
    if (headEnd < 0)
        return;
    FakeHTTPRequest request;
    const QList<QByteArray> lines = buffer.first(headEnd).split('\n');
    const QList<QByteArray> requestLine = lines.front().trimmed().split(' ');
    if (requestLine.size() != 3)
        return;
    request.method = requestLine[0];
    request.target = requestLine[1];
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const qsizetype colon = lines[i].indexOf(':');
        if (colon > 0)
            request.headers[lines[i].first(colon).trimmed().toLower()] =
                lines[i].sliced(colon + 1).trimmed();
    }
    const qsizetype length = request.header("content-length").value_or("0").toLongLong();
    if (buffer.size() < headEnd + 4 + length)
        return;
    request.body = buffer.sliced(headEnd + 4, length);
    buffer.clear();
    m_requests.push_back(request);
    write(socket, answer(request));
}

FakeHTTPReply FakeOpenCodeServer::answer(const FakeHTTPRequest& request)
{
    const QByteArray path = request.path();
    if (const auto found = m_overrides.find(request.method + ' ' + path);
        found != m_overrides.end())
        return found->second;

    QStringList segments;
    for (const QByteArray& segment : path.split('/'))
        segments << QUrl::fromPercentEncoding(segment);
    segments.removeFirst(); // before the leading "/"
    const auto notFound =
        FakeHTTPReply::json(JSONValue::object({{u"name"_s, u"NotFoundError"_s}}), 404);

    if (request.method == "GET" && segments == QStringList{u"permission"_s})
        return FakeHTTPReply::json(m_permissions);
    if (request.method == "GET" && segments.size() == 3 && segments[0] == u"session"_s
        && segments[2] == u"message"_s) {
        const auto found = m_messages.find(segments[1]);
        return FakeHTTPReply::json(found == m_messages.end() ? JSONValue(JSONValue::Array{})
                                                             : found->second);
    }
    if (request.method == "POST" && segments.size() == 3 && segments[0] == u"permission"_s
        && segments[2] == u"reply"_s) {
        if (!m_replyRouteSupported)
            return notFound;
        return takeReply({}, segments[1]);
    }
    if (request.method == "POST" && segments.size() == 4 && segments[0] == u"session"_s
        && segments[2] == u"permissions"_s)
        return takeReply(segments[1], segments[3]);
    if (segments.value(0) == u"question"_s && !m_questionRoutesSupported)
        return notFound;
    if (request.method == "GET" && segments == QStringList{u"question"_s})
        return FakeHTTPReply::json(m_questions);
    if (request.method == "POST" && segments.size() == 3 && segments[0] == u"question"_s
        && (segments[2] == u"reply"_s || segments[2] == u"reject"_s))
        return take(m_questions, {}, segments[1]);
    return notFound;
}

FakeHTTPReply FakeOpenCodeServer::takeReply(const QString& sessionID, const QString& requestID)
{
    return take(m_permissions, sessionID, requestID);
}

FakeHTTPReply FakeOpenCodeServer::take(JSONValue& list, const QString& sessionID,
                                       const QString& requestID)
{
    JSONValue::Array remaining;
    bool taken = false;
    for (const JSONValue& entry : *list.arrayValue()) {
        const bool matches =
            entry.member(u"id") && entry.member(u"id")->stringValue() == requestID
            && (sessionID.isEmpty() || entry.member(u"sessionID")->stringValue() == sessionID);
        if (matches && !taken)
            taken = true;
        else
            remaining.push_back(entry);
    }
    if (!taken)
        return FakeHTTPReply::json(JSONValue::object({{u"name"_s, u"NotFoundError"_s}}), 404);
    list = JSONValue(std::move(remaining));
    return FakeHTTPReply::json(JSONValue(true));
}

void FakeOpenCodeServer::write(QTcpSocket* socket, const FakeHTTPReply& reply)
{
    switch (reply.kind) {
    case FakeHTTPReply::Kind::silent: return;
    case FakeHTTPReply::Kind::raw:
        socket->write(reply.bytes);
        socket->disconnectFromHost();
        return;
    case FakeHTTPReply::Kind::respond: break;
    }
    QByteArray head = "HTTP/1.1 " + QByteArray::number(reply.status) + " Fake\r\n";
    head += "Content-Type: " + reply.contentType + "\r\n";
    head += "Connection: close\r\n";
    QByteArray body = reply.body;
    if (reply.chunked) {
        head += "Transfer-Encoding: chunked\r\n";
        // Two chunks, so that a reader must join them.
        const qsizetype half = body.size() / 2;
        QByteArray chunks;
        for (const QByteArray& part : {body.first(half), body.sliced(half)}) {
            if (!part.isEmpty())
                chunks += QByteArray::number(part.size(), 16) + "\r\n" + part + "\r\n";
        }
        body = chunks + "0\r\n\r\n";
    } else {
        head += "Content-Length: " + QByteArray::number(body.size()) + "\r\n";
    }
    socket->write(head + "\r\n" + body);
    socket->disconnectFromHost();
}
