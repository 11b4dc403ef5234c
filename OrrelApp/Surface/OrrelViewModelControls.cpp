// The card's other controls: moving between agents and steps, the manual controls that go
// around the planner, drafts, the idle agent's new task, and refreshes. Manual sends are refused
// where an answer would be: a worker, or a hard floor that is not armed.
#include "OrrelApp/Surface/OrrelViewModel.h"

#include "OrrelApp/Sessions/SessionRuntime.h"

#include <QPointer>

using namespace Qt::StringLiterals;

namespace {

// The runtime's send, as the coordinator's manual action wants it.
QCoro::Task<ActionSendResult> settled(QCoro::Task<ActionOutcome> send)
{
    const ActionOutcome outcome = co_await std::move(send);
    if (!outcome)
        co_return std::unexpected(outcome.error());
    co_return ActionSendResult{};
}

QCoro::Task<ActionSendResult> replyTo(QPointer<SessionRuntime> runtime, QString paneID,
                                      QString text, bool submit)
{
    if (!runtime)
        co_return std::unexpected(ActionFailure(ActionError::interruptPaneUnreadable(paneID)));
    // Named, not a temporary of the co_await expression (see the notes on g++ 12).
    auto send = runtime->reply(std::move(paneID), std::move(text), submit);
    co_return co_await settled(std::move(send));
}

QCoro::Task<ActionSendResult> keysTo(QPointer<SessionRuntime> runtime, QString paneID,
                                     std::vector<QString> keys)
{
    if (!runtime)
        co_return std::unexpected(ActionFailure(ActionError::interruptPaneUnreadable(paneID)));
    // Named, not a temporary of the co_await expression (see the notes on g++ 12).
    auto send = runtime->sendRawKeys(std::move(paneID), std::move(keys));
    co_return co_await settled(std::move(send));
}

QCoro::Task<ActionSendResult> modeOf(QPointer<SessionRuntime> runtime, QString paneID)
{
    if (!runtime)
        co_return std::unexpected(ActionFailure(ActionError::interruptPaneUnreadable(paneID)));
    // Named, not a temporary of the co_await expression (see the notes on g++ 12).
    auto send = runtime->cycleAgentMode(std::move(paneID));
    co_return co_await settled(std::move(send));
}

} // namespace

QCoro::Task<> OrrelViewModel::selectAdjacentPane(int offset)
{
    // The board's order, which the selection does not change.
    const AttentionBoard board = attentionBoard(now());
    std::vector<AgentRef> refs;
    for (const auto* section : {&board.needsYou, &board.grace, &board.rest})
        for (const AttentionBoardRow& row : *section)
            refs.push_back(row.item.ref);
    if (refs.empty())
        co_return;
    const auto current = m_selected ? std::ranges::find(refs, *m_selected) : refs.end();
    const qsizetype count = qsizetype(refs.size());
    const qsizetype from = current == refs.end() ? (offset > 0 ? -1 : 0) : current - refs.begin();
    const qsizetype to = ((from + offset) % count + count) % count;
    const std::optional<AgentRef> target = refs[std::size_t(to)];
    co_await select(target);
}

QCoro::Task<bool> OrrelViewModel::navigateStep(int direction)
{
    return respondToSelectedInteraction(direction < 0
                                            ? InteractionResponseIntent::navigatePrevious()
                                            : InteractionResponseIntent::navigateNext());
}

std::optional<QString> OrrelViewModel::manualRefusal() const
{
    if (!m_selected)
        return u"No agent is selected. Nothing was sent."_s;
    if (!isRoot(*m_selected))
        return u"A worker's question goes to its orchestrator, not to you. Use Jump to watch it. "
               "Nothing was sent."_s;
    if (const auto floor = selectedHardFloor(); floor && !selectedFloorArmed())
        return u"Type %1 to arm this %2 action. Nothing was sent."_s.arg(floor->target,
                                                                         title(floor->category));
    return std::nullopt;
}

QCoro::Task<bool> OrrelViewModel::runManualAction(InteractionCoordinator::ManualAction operation)
{
    if (const auto refusal = manualRefusal()) {
        if (m_selected)
            m_refusalNotices[*m_selected] = *refusal;
        notifyChanged();
        co_return false;
    }
    const AgentRef ref = *m_selected;
    SessionRuntime* runtime = locate(ref).runtime;
    if (!runtime)
        co_return false;
    m_refusalNotices.erase(ref);
    QPointer<OrrelViewModel> self{this};
    const bool sent = co_await runtime->interactions().performManualAction(ref.paneID, operation);
    if (self)
        notifyChanged();
    co_return sent;
}

QCoro::Task<bool> OrrelViewModel::typeTextWithoutSubmitSelected(QString text)
{
    return sendText(std::move(text), false);
}

QCoro::Task<bool> OrrelViewModel::sendManualTextSelected(QString text)
{
    return sendText(std::move(text), true);
}

QCoro::Task<bool> OrrelViewModel::sendText(QString text, bool submit)
{
    QPointer<SessionRuntime> runtime = m_selected ? locate(*m_selected).runtime : nullptr;
    const QString paneID = m_selected ? m_selected->paneID : QString();
    return runManualAction(
        [runtime, paneID, text, submit] { return replyTo(runtime, paneID, text, submit); });
}

QCoro::Task<bool> OrrelViewModel::sendRawKeysSelected(std::vector<QString> keys)
{
    QPointer<SessionRuntime> runtime = m_selected ? locate(*m_selected).runtime : nullptr;
    const QString paneID = m_selected ? m_selected->paneID : QString();
    return runManualAction([runtime, paneID, keys] { return keysTo(runtime, paneID, keys); });
}

QCoro::Task<bool> OrrelViewModel::cycleSelectedAgentMode()
{
    QPointer<SessionRuntime> runtime = m_selected ? locate(*m_selected).runtime : nullptr;
    const QString paneID = m_selected ? m_selected->paneID : QString();
    return runManualAction([runtime, paneID] { return modeOf(runtime, paneID); });
}

QCoro::Task<bool> OrrelViewModel::performHotKey(AgentHotKey::Action action)
{
    using Kind = AgentHotKey::Action::Kind;
    switch (action.kind) {
    case Kind::pick: return answerSelected(action.pick - 1);
    case Kind::sendRecommended:
        if (m_selected && !selectedRecommendedOrder().recommended) {
            m_refusalNotices[*m_selected] =
                u"This prompt has no recommended choice. Nothing was sent."_s;
            notifyChanged();
            break;
        }
        return answerRecommendedSelected();
    case Kind::previousStep: return navigateStep(-1);
    case Kind::nextStep: return navigateStep(1);
    // The terminal's own cursor moves; where the floor holds, even that waits for it.
    case Kind::arrowUp: return sendRawKeysSelected({u"up"_s});
    case Kind::arrowDown: return sendRawKeysSelected({u"down"_s});
    case Kind::approve: return approveSelected();
    case Kind::deny: return denySelected();
    }
    return []() -> QCoro::Task<bool> { co_return false; }();
}

bool OrrelViewModel::canSendIdlePrompt() const
{
    if (!m_selected || !isRoot(*m_selected))
        return false;
    const Located located = locate(*m_selected);
    if (!located.pane)
        return false;
    const RollupStatus status = located.runtime->store().derivedStatus(m_selected->paneID);
    const auto activity = located.runtime->activity().state(m_selected->paneID);
    return (status == RollupStatus::idle || status == RollupStatus::done)
           && !located.runtime->activity().promptDraft(m_selected->paneID).trimmed().isEmpty()
           && !(activity && activity->isBusy());
}

void OrrelViewModel::setSelectedIdlePromptDraft(QString text)
{
    if (!m_selected)
        return;
    if (SessionRuntime* runtime = locate(*m_selected).runtime) {
        runtime->activity().setPromptDraft(std::move(text), m_selected->paneID);
        notifyChanged();
    }
}

QCoro::Task<bool> OrrelViewModel::sendIdlePromptSelected()
{
    if (!canSendIdlePrompt())
        co_return false;
    SessionRuntime* runtime = locate(*m_selected).runtime;
    QPointer<OrrelViewModel> self{this};
    const bool sent = co_await runtime->activity().sendPrompt(m_selected->paneID);
    if (self)
        notifyChanged();
    co_return sent;
}

QCoro::Task<bool> OrrelViewModel::retrySelectedWorkingOutput()
{
    SessionRuntime* runtime = m_selected ? locate(*m_selected).runtime : nullptr;
    if (!runtime)
        co_return false;
    co_return co_await runtime->activity().refreshSelectedOutput();
}

QCoro::Task<> OrrelViewModel::reReadSelected()
{
    const std::optional<AgentRef> target = m_selected;
    co_await select(target);
}

bool OrrelViewModel::setSelectedDraftText(QString text)
{
    SessionRuntime* runtime = m_selected ? locate(*m_selected).runtime : nullptr;
    const bool kept =
        runtime && runtime->interactions().setDraftText(std::move(text), m_selected->paneID);
    if (kept)
        notifyChanged();
    return kept;
}

bool OrrelViewModel::confirmSelectedDraftReuse()
{
    SessionRuntime* runtime = m_selected ? locate(*m_selected).runtime : nullptr;
    const bool confirmed = runtime && runtime->interactions().confirmDraftReuse(m_selected->paneID);
    notifyChanged();
    return confirmed;
}

void OrrelViewModel::discardSelectedDraft()
{
    if (SessionRuntime* runtime = m_selected ? locate(*m_selected).runtime : nullptr)
        runtime->interactions().discardDraft(m_selected->paneID);
    notifyChanged();
}

std::optional<QString> OrrelViewModel::jumpAttachCommand() const
{
    return m_jumpNotice ? m_jumpNotice->attachCommand : std::nullopt;
}
