#pragma once

#include "HerdrClient/Responding/ActionError.h"
#include "HerdrClient/Wire/RequestSending.h"

#include <QCoroTask>

#include <expected>

using ActionSendResult = std::expected<void, ActionFailure>;

// The one place where a person's direct commands become herdr calls. The client must outlive
// every call started here.
class Actions {
public:
    explicit Actions(RequestSending& client) : m_client(&client) {}

    // One `pane.send_*` (or other) request; herdr's answer is dropped. Refused keys come back as
    // `keysRejected`, every other failure as it came.
    QCoro::Task<ActionSendResult> send(QString method, JSONValue params) const;

private:
    RequestSending* m_client;
};
