// The panes of a scenario that are real terminals: what is sent to them, and their statuses.
#include "tests/support/FakeScenario.h"

using namespace Qt::StringLiterals;

namespace {

QString textMember(const JSONValue& object, QStringView key)
{
    const JSONValue* member = object.member(key);
    return member && member->stringValue() ? *member->stringValue() : QString();
}

} // namespace

std::optional<FakeReply> FakeScenario::sendToTerminal(const FakeRequest& request)
{
    std::shared_ptr<const TmuxPane> tmux;
    {
        std::lock_guard lock(m_mutex);
        const Pane* pane = find(textMember(request.params, u"pane_id"));
        if (!pane || !pane->terminal)
            return std::nullopt;
        tmux = pane->terminal->tmux;
    }
    std::expected<void, QString> sent;
    if (request.method == u"pane.send_keys") {
        const JSONValue* keys = request.params.member(u"keys");
        auto decoded = keys ? JSONCoding<std::vector<QString>>::decode(*keys)
                            : Decoded<std::vector<QString>>(std::vector<QString>());
        if (!decoded)
            return FakeReply::error(u"invalid_request"_s, decoded.error().errorDescription());
        sent = tmux->sendKeys(*decoded);
    } else {
        sent = tmux->sendText(textMember(request.params, u"text"));
    }
    if (!sent)
        return FakeReply::error(u"pane_send_failed"_s, sent.error());
    return FakeReply::ok();
}

std::vector<QString> FakeScenario::refreshTerminals()
{
    std::vector<std::pair<QString, TerminalPane>> terminals;
    {
        std::lock_guard lock(m_mutex);
        for (const auto& pane : m_panes) {
            if (pane.terminal)
                terminals.emplace_back(textMember(pane.record, u"pane_id"), *pane.terminal);
        }
    }
    std::vector<QString> failures;
    for (const auto& [id, terminal] : terminals) {
        const auto status = terminal.status();
        if (!status) {
            failures.push_back(
                u"%1 (tmux %2): %3"_s.arg(id, terminal.tmux->target(), status.error()));
            continue;
        }
        bool changed = false;
        {
            std::lock_guard lock(m_mutex);
            const Pane* pane = find(id);
            changed = pane && textMember(pane->record, u"agent_status") != toString(*status);
        }
        if (changed)
            setPaneStatus(id, *status);
    }
    return failures;
}
