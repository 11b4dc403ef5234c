#pragma once

#include "HerdrClient/Wire/PaneParams.h"
#include "HerdrClient/Wire/RequestSending.h"

#include <QCoroTask>
#include <QString>

#include <expected>

using PaneTextResult = std::expected<QString, RequestFailure>;

// One `pane.read` and the text of its answer. A value: a read that outlives the client fails as
// a closed connection, and one that outlives the reader needs nothing of it.
class PaneTextReader {
public:
    explicit PaneTextReader(RequestSending& client) : m_client(client) {}

    // The last `lines` lines of the pane's scrollback with wrapped lines joined, as plain text.
    static PaneReadParams recentUnwrappedText(QString paneID, int lines);

    // A reply without a readable `read` member fails as a malformed response.
    QCoro::Task<PaneTextResult> read(PaneReadParams params) const;

private:
    RequestSendingHandle m_client;
};
