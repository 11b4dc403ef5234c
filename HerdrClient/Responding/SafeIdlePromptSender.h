#pragma once

#include "HerdrClient/Responding/Actions.h"
#include "HerdrClient/Responding/IdlePromptSending.h"
#include "HerdrClient/Wire/RequestSending.h"

// Types a prompt into an agent only after herdr confirmed, once more, that the agent is idle:
// what the session last saw may be a poll old. A send may outlive the sender; once the client
// has ended, nothing more is sent.
class SafeIdlePromptSender final : public IdlePromptSending {
public:
    explicit SafeIdlePromptSender(RequestSending& client) : m_client(client), m_actions(client) {}

    // Fails with `unreadablePane` when herdr's answer holds no pane record, with
    // `paneNoLongerIdle` when the agent is anything but idle; herdr's own failures pass on.
    QCoro::Task<IdlePromptSendResult> sendPrompt(QString paneID, QString text) override;

private:
    RequestSendingHandle m_client;
    Actions m_actions;
};
