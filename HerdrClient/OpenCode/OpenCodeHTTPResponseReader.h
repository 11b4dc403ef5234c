#pragma once

#include "HerdrClient/OpenCode/OpenCodeNativeFailure.h"

#include <QByteArray>
#include <QByteArrayView>

#include <optional>

// Reads one HTTP/1.1 response as its bytes arrive, with a bound on what it keeps. It knows
// bodies by Content-Length, by chunks, or by the end of the connection.
class OpenCodeHTTPResponseReader {
public:
    static constexpr qsizetype maxHeaderBytes = 64 * 1024;

    enum class State { incomplete, complete, failed };

    explicit OpenCodeHTTPResponseReader(qsizetype maxBodyBytes);

    State feed(QByteArrayView bytes);
    // The connection ended: a body that runs to the end is complete, anything else cut short.
    State finishAtEnd();

    State state() const { return m_state; }
    int status() const { return m_status; }
    const QByteArray& body() const { return m_body; }
    // Set once `failed`.
    std::optional<OpenCodeNativeFailure> failure() const { return m_failure; }

private:
    enum class Framing { untilClose, length, chunked, none };

    State fail(OpenCodeNativeFailure failure);
    State readHead();
    State readBody();
    State readChunks();
    bool parseHeaderLine(QByteArrayView line);

    qsizetype m_maxBodyBytes;
    State m_state = State::incomplete;
    std::optional<OpenCodeNativeFailure> m_failure;
    QByteArray m_buffer; // bytes not yet taken into the head or the body
    bool m_headRead = false;
    qsizetype m_headScanned = 0; // bytes of the head already searched for its end
    int m_status = 0;
    Framing m_framing = Framing::untilClose;
    std::optional<qint64> m_contentLength;
    bool m_chunked = false;
    qint64 m_chunkLeft = -1; // bytes of the current chunk still to come; -1 before a size line
    QByteArray m_body;
};
