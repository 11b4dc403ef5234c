#include "HerdrClient/OpenCode/OpenCodeHTTPResponseReader.h"

#include <QList>

#include <algorithm>
#include <cctype>

namespace {

constexpr qsizetype maxChunkLineBytes = 1024;

OpenCodeNativeFailure invalid()
{
    return OpenCodeNativeProviderError::invalidResponse();
}

OpenCodeNativeFailure tooLarge()
{
    return OpenCodeTransportError{OpenCodeTransportError::Kind::responseTooLarge};
}

// Decimal digits only: a sign, blanks inside or an empty value are not a length.
std::optional<qint64> parseLength(QByteArrayView text)
{
    if (text.isEmpty() || text.size() > 18)
        return std::nullopt;
    qint64 value = 0;
    for (const char c : text) {
        if (c < '0' || c > '9')
            return std::nullopt;
        value = value * 10 + (c - '0');
    }
    return value;
}

} // namespace

OpenCodeHTTPResponseReader::OpenCodeHTTPResponseReader(qsizetype maxBodyBytes)
    : m_maxBodyBytes(maxBodyBytes)
{
}

OpenCodeHTTPResponseReader::State OpenCodeHTTPResponseReader::fail(OpenCodeNativeFailure failure)
{
    m_failure = std::move(failure);
    m_buffer.clear();
    m_body.clear();
    return m_state = State::failed;
}

OpenCodeHTTPResponseReader::State OpenCodeHTTPResponseReader::feed(QByteArrayView bytes)
{
    if (m_state != State::incomplete)
        return m_state;
    m_buffer.append(bytes);
    if (!m_headRead) {
        if (const State head = readHead(); head != State::incomplete || !m_headRead)
            return head;
    }
    return readBody();
}

OpenCodeHTTPResponseReader::State OpenCodeHTTPResponseReader::finishAtEnd()
{
    if (m_state != State::incomplete)
        return m_state;
    if (m_headRead && m_framing == Framing::untilClose)
        return m_state = State::complete;
    return fail(invalid());
}

OpenCodeHTTPResponseReader::State OpenCodeHTTPResponseReader::readHead()
{
    // Search only the new bytes (and three before them), so that a server that trickles its head
    // costs no more than one that sends it at once.
    const qsizetype end = m_buffer.indexOf("\r\n\r\n", qMax<qsizetype>(0, m_headScanned - 3));
    m_headScanned = m_buffer.size();
    if (end < 0)
        return m_buffer.size() > maxHeaderBytes ? fail(tooLarge()) : State::incomplete;
    if (end > maxHeaderBytes)
        return fail(tooLarge());
    const QList<QByteArray> lines = m_buffer.first(end).split('\n');
    m_buffer.remove(0, end + 4);

    // "HTTP/1.1 200 OK": anything else is not an HTTP answer.
    const QByteArray statusLine = lines.front().chopped(lines.front().endsWith('\r') ? 1 : 0);
    if (!statusLine.startsWith("HTTP/1.") || statusLine.size() < 12 || statusLine[8] != ' '
        || (statusLine.size() > 12 && statusLine[12] != ' '))
        return fail(invalid());
    const auto status = parseLength(QByteArrayView(statusLine).sliced(9, 3));
    if (!status || *status < 100)
        return fail(invalid());
    m_status = int(*status);
    for (qsizetype i = 1; i < lines.size(); ++i) {
        QByteArrayView line(lines[i]);
        if (line.endsWith('\r'))
            line.chop(1);
        if (!parseHeaderLine(line))
            return fail(invalid());
    }
    m_headRead = true;

    if (m_status == 204 || m_status == 304 || m_status < 200)
        m_framing = Framing::none;
    else if (m_chunked)
        m_framing = Framing::chunked;
    else if (m_contentLength)
        m_framing = Framing::length;
    if (m_framing == Framing::length && *m_contentLength > m_maxBodyBytes)
        return fail(tooLarge());
    return State::incomplete;
}

bool OpenCodeHTTPResponseReader::parseHeaderLine(QByteArrayView line)
{
    const qsizetype colon = line.indexOf(':');
    if (colon <= 0)
        return false;
    const QByteArray name = line.first(colon).trimmed().toByteArray().toLower();
    const QByteArrayView value = line.sliced(colon + 1).trimmed();
    if (name == "content-length") {
        const auto length = parseLength(value);
        // Two different lengths leave the body's end unknown.
        if (!length || (m_contentLength && *m_contentLength != *length))
            return false;
        m_contentLength = length;
    } else if (name == "transfer-encoding") {
        const QByteArray coding = value.toByteArray().toLower();
        if (coding != "chunked" && coding != "identity")
            return false;
        m_chunked = coding == "chunked";
    }
    return true;
}

OpenCodeHTTPResponseReader::State OpenCodeHTTPResponseReader::readBody()
{
    switch (m_framing) {
    case Framing::none: return m_state = State::complete;
    case Framing::chunked: return readChunks();
    case Framing::length: {
        const qsizetype wanted = qsizetype(*m_contentLength) - m_body.size();
        m_body.append(QByteArrayView(m_buffer).first(qMin(wanted, m_buffer.size())));
        m_buffer.clear();
        return m_body.size() == *m_contentLength ? m_state = State::complete : State::incomplete;
    }
    case Framing::untilClose: break;
    }
    if (m_body.size() + m_buffer.size() > m_maxBodyBytes)
        return fail(tooLarge());
    m_body.append(m_buffer);
    m_buffer.clear();
    return State::incomplete;
}

OpenCodeHTTPResponseReader::State OpenCodeHTTPResponseReader::readChunks()
{
    // m_chunkLeft: -1 waits for a size line, above 0 counts data still to come, 0 waits for the
    // line break that closes a chunk.
    for (;;) {
        if (m_chunkLeft < 0) {
            const qsizetype lineEnd = m_buffer.indexOf("\r\n");
            // A size line longer than the bound is refused however its bytes arrive; while it is
            // incomplete, its last byte may be the CR of its end.
            if (lineEnd < 0)
                return m_buffer.size() > maxChunkLineBytes + 1 ? fail(invalid())
                                                               : State::incomplete;
            if (lineEnd > maxChunkLineBytes)
                return fail(invalid());
            QByteArrayView sizeText = QByteArrayView(m_buffer).first(lineEnd);
            if (const qsizetype extension = sizeText.indexOf(';'); extension >= 0)
                sizeText = sizeText.first(extension);
            sizeText = sizeText.trimmed();
            bool ok = !sizeText.isEmpty() && sizeText.size() <= 15
                      && std::all_of(sizeText.begin(), sizeText.end(),
                                     [](char c) { return std::isxdigit(uchar(c)); });
            const qint64 size = ok ? sizeText.toByteArray().toLongLong(&ok, 16) : 0;
            if (!ok)
                return fail(invalid());
            if (m_body.size() + size > m_maxBodyBytes)
                return fail(tooLarge());
            m_buffer.remove(0, lineEnd + 2);
            if (size == 0) {
                // Trailers are not needed: the last chunk ends what matters.
                m_buffer.clear();
                return m_state = State::complete;
            }
            m_chunkLeft = size;
        }
        if (m_chunkLeft > 0) {
            const qsizetype take = qsizetype(qMin<qint64>(m_chunkLeft, m_buffer.size()));
            m_body.append(QByteArrayView(m_buffer).first(take));
            m_buffer.remove(0, take);
            m_chunkLeft -= take;
            if (m_chunkLeft > 0)
                return State::incomplete;
        }
        if (m_buffer.size() < 2)
            return State::incomplete;
        if (!m_buffer.startsWith("\r\n"))
            return fail(invalid());
        m_buffer.remove(0, 2);
        m_chunkLeft = -1;
    }
}
