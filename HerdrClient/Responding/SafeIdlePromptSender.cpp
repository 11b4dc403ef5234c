#include "HerdrClient/Responding/SafeIdlePromptSender.h"

#include "HerdrClient/Wire/PaneInfo.h"
#include "HerdrClient/Wire/PaneParams.h"

using namespace Qt::StringLiterals;

QCoro::Task<IdlePromptSendResult> SafeIdlePromptSender::sendPrompt(QString paneID, QString text)
{
    const RequestSendingHandle client = m_client;
    const Actions actions = m_actions;
    FocusParams focus;
    focus.paneID = paneID;
    const JSONValue params = focus.asJSONValue();
    const RequestResult got = co_await client.request(u"pane.get"_s, params);
    if (!got)
        co_return std::unexpected(IdlePromptSendFailure(ActionFailure(got.error())));
    std::optional<PaneInfo> pane;
    if (const JSONValue* record = got->member(u"pane")) {
        if (auto decoded = PaneInfo::decode(*record))
            pane = std::move(*decoded);
    }
    if (!pane)
        co_return std::unexpected(
            IdlePromptSendFailure(IdlePromptSenderError::unreadablePane(paneID)));
    if (pane->agentStatus != AgentStatus::idle)
        co_return std::unexpected(IdlePromptSendFailure(
            IdlePromptSenderError::paneNoLongerIdle(paneID, pane->agentStatus)));
    // Text and Enter go out back to back: a check between them would leave typed text behind.
    const ActionOutcome sent = co_await actions.reply(paneID, text, true);
    if (!sent)
        co_return std::unexpected(IdlePromptSendFailure(sent.error()));
    co_return IdlePromptSendResult{};
}
