#include "HerdrClient/Responding/Actions.h"

#include "HerdrClient/Wire/PaneInfo.h"
#include "HerdrClient/Wire/PaneParams.h"

using namespace Qt::StringLiterals;

namespace {
// The pane record of a `pane.get` result, if it has one.
std::optional<PaneInfo> paneOf(const JSONValue& result)
{
    const JSONValue* pane = result.member(u"pane");
    if (!pane)
        return std::nullopt;
    auto decoded = PaneInfo::decode(*pane);
    return decoded ? std::optional<PaneInfo>(std::move(*decoded)) : std::nullopt;
}
// Parameters are built outside the coroutines, or at least outside a co_await expression:
// g++ 12 rejects braced lists of strings in a coroutine body ("array used as initializer") and
// destroys aggregate temporaries inside a co_await expression twice.
JSONValue oneKey(const QString& paneID, const QString& key)
{
    return PaneSendKeysParams{paneID, std::vector<QString>(1, key)}.asJSONValue();
}

JSONValue paneParams(const QString& paneID)
{
    return FocusParams{paneID}.asJSONValue();
}

JSONValue idParams(const QString& key, const QString& id)
{
    return JSONValue::object({{key, id}});
}
} // namespace

QCoro::Task<ActionSendResult> Actions::send(QString method, JSONValue params) const
{
    const RequestSendingHandle client = m_client;
    const RequestResult result = co_await client.request(method, std::move(params));
    if (!result)
        co_return std::unexpected(ActionFailure::fromRequest(method, result.error()));
    co_return ActionSendResult{};
}

QCoro::Task<ActionOutcome> Actions::reply(QString paneID, QString text, bool submit) const
{
    const Actions self = *this;
    const JSONValue textParams = PaneSendTextParams{paneID, text}.asJSONValue();
    const auto typed = co_await self.send(u"pane.send_text"_s, textParams);
    if (!typed)
        co_return std::unexpected(typed.error());
    if (submit) {
        const auto entered = co_await self.send(u"pane.send_keys"_s, oneKey(paneID, u"enter"_s));
        if (!entered)
            co_return std::unexpected(entered.error());
    }
    co_return ActionResult::sent();
}

QCoro::Task<ActionOutcome> Actions::sendRawKeys(QString paneID, std::vector<QString> keys) const
{
    const JSONValue params = PaneSendKeysParams{std::move(paneID), std::move(keys)}.asJSONValue();
    const auto sent = co_await send(u"pane.send_keys"_s, params);
    if (!sent)
        co_return std::unexpected(sent.error());
    co_return ActionResult::sent();
}

QCoro::Task<ActionOutcome> Actions::cycleAgentMode(QString paneID) const
{
    // Written as raw bytes: herdr passes send_text to the pty untouched.
    const JSONValue params = PaneSendTextParams{std::move(paneID), u"\x1b[Z"_s}.asJSONValue();
    const auto sent = co_await send(u"pane.send_text"_s, params);
    if (!sent)
        co_return std::unexpected(sent.error());
    co_return ActionResult::sent();
}

QCoro::Task<ActionOutcome> Actions::sendMessage(QString paneID, QString text) const
{
    const Actions self = *this;
    const auto got = co_await self.m_client.request(u"pane.get"_s, paneParams(paneID));
    if (!got)
        co_return std::unexpected(ActionFailure(got.error()));
    const auto pane = paneOf(*got);
    if (!pane)
        co_return std::unexpected(ActionFailure(ActionError::messagePaneUnreadable(paneID)));
    if (pane->agentStatus == AgentStatus::blocked)
        co_return std::unexpected(ActionFailure(ActionError::messagePaneBlocked(paneID)));
    co_return co_await self.reply(paneID, text, true);
}

QCoro::Task<ActionOutcome> Actions::interrupt(QString paneID) const
{
    const Actions self = *this;
    const auto got = co_await self.m_client.request(u"pane.get"_s, paneParams(paneID));
    if (!got)
        co_return std::unexpected(ActionFailure(got.error()));
    const auto pane = paneOf(*got);
    if (!pane)
        co_return std::unexpected(ActionFailure(ActionError::interruptPaneUnreadable(paneID)));
    if (pane->agentStatus != AgentStatus::working)
        co_return std::unexpected(
            ActionFailure(ActionError::interruptPaneNoLongerWorking(paneID, pane->agentStatus)));
    const auto sent = co_await self.send(u"pane.send_keys"_s, oneKey(paneID, u"esc"_s));
    if (!sent)
        co_return std::unexpected(sent.error());
    co_return ActionResult::sent();
}

QCoro::Task<std::expected<void, RequestFailure>> Actions::focusPath(
    QString paneID, std::optional<QString> workspaceID, std::optional<QString> tabID) const
{
    const RequestSendingHandle client = m_client;
    if (workspaceID) {
        const auto r = co_await client.request(u"workspace.focus"_s,
                                               idParams(u"workspace_id"_s, *workspaceID));
        if (!r)
            co_return std::unexpected(r.error());
    }
    if (tabID) {
        const auto r = co_await client.request(u"tab.focus"_s, idParams(u"tab_id"_s, *tabID));
        if (!r)
            co_return std::unexpected(r.error());
    }
    const auto r = co_await client.request(u"pane.focus"_s, paneParams(paneID));
    if (!r)
        co_return std::unexpected(r.error());
    co_return std::expected<void, RequestFailure>();
}

QCoro::Task<ActionOutcome> Actions::jump(QString paneID, std::optional<QString> workspaceID,
                                         std::optional<QString> tabID,
                                         TerminalPresenting* presenter) const
{
    const Actions self = *this;
    if (!workspaceID || !tabID) {
        // A failed look-up is no reason not to focus the pane itself.
        const auto got = co_await self.m_client.request(u"pane.get"_s, paneParams(paneID));
        const JSONValue* pane = got ? got->member(u"pane") : nullptr;
        if (pane && !workspaceID && pane->member(u"workspace_id"))
            workspaceID = pane->member(u"workspace_id")->stringValue();
        if (pane && !tabID && pane->member(u"tab_id"))
            tabID = pane->member(u"tab_id")->stringValue();
    }
    const auto focused = co_await self.focusPath(paneID, workspaceID, tabID);
    if (!focused) {
        const HerdrError* herdr = focused.error().herdrError();
        if (herdr && herdr->kind == HerdrError::Kind::api
            && (herdr->code.contains(u"detached"_s)
                || herdr->message.toLower().contains(u"detached"_s)))
            co_return ActionResult{ActionResult::Kind::needsAttach, {}};
        co_return std::unexpected(ActionFailure(focused.error()));
    }
    TerminalPresenting* shown = presenter ? presenter : self.m_terminal;
    const TerminalPresentation presentation =
        shown ? shown->present()
              : TerminalPresentation::unavailable(
                  TerminalPresentationFailure::noSupportedTerminalRunning());
    // A terminal coming forward can move herdr's focus with it; focus once more after it settles.
    co_await self.m_clock.sleep(Seconds(0.12));
    co_await self.focusPath(paneID, workspaceID, tabID);
    co_return ActionResult{ActionResult::Kind::jumped, presentation};
}
