// What the person can do from the surface. Every action speaks of the agent selected now; it
// either goes through the runtime, whose responder reads the live prompt again before any key,
// or it is refused in a sentence that ends with what did not happen.
#include "OrrelApp/Surface/OrrelViewModel.h"

#include "HerdrClient/Adapters/PiScreenAdapter.h"
#include "HerdrClient/Attention/EscalationAnswer.h"
#include "HerdrClient/Attention/HardFloor.h"
#include "OrrelApp/Sessions/SessionRegistry.h"
#include "OrrelApp/Sessions/SessionRuntime.h"
#include "OrrelApp/Surface/PaneDisplayIdentity.h"

#include <QPointer>

using namespace Qt::StringLiterals;

namespace {

// Moving the cursor or saying no never needs the floor armed.
bool bypassesFloor(const InteractionResponseIntent& intent)
{
    using Kind = InteractionResponseIntent::Kind;
    switch (intent.kind) {
    case Kind::deny:
    case Kind::previewChoice:
    case Kind::navigateToStep:
    case Kind::navigatePrevious:
    case Kind::navigateNext: return true;
    default: return false;
    }
}

} // namespace

// --- The floor.

std::optional<HardFloorVerdict> OrrelViewModel::selectedHardFloor() const
{
    if (!m_selected)
        return std::nullopt;
    const Located located = locate(*m_selected);
    if (!located.runtime || !located.pane)
        return std::nullopt;
    const auto state = located.runtime->interactions().state(m_selected->paneID);
    const std::optional<NeedsHumanSignal> signal = located.runtime->signal(m_selected->paneID);
    const PendingInteraction* interaction =
        state && state->interaction ? &*state->interaction : nullptr;
    if (!interaction && !signal)
        return std::nullopt;
    return HardFloor::classify(interaction, signal ? &*signal : nullptr,
                               selectedProjectTitle().value_or(QString()));
}

QString OrrelViewModel::selectedFloorAskKey() const
{
    if (!m_selected)
        return u"none"_s;
    const Located located = locate(*m_selected);
    if (!located.runtime)
        return u"none"_s;
    if (const auto signal = located.runtime->signal(m_selected->paneID))
        return u"ask:%1:%2"_s.arg(m_selected->id(), signal->id);
    const auto state = located.runtime->interactions().state(m_selected->paneID);
    if (state && state->interaction)
        return u"screen:"_s + state->interaction->fingerprint().rawValue;
    return u"none"_s;
}

std::optional<FloorConfirmation> OrrelViewModel::selectedFloorConfirmation() const
{
    if (!m_selected)
        return std::nullopt;
    const auto found = m_floorConfirmations.find(*m_selected);
    // Typing toward an earlier prompt does not count for this one.
    if (found == m_floorConfirmations.end() || found->second.askKey != selectedFloorAskKey())
        return std::nullopt;
    return found->second;
}

bool OrrelViewModel::selectedFloorArmed() const
{
    const auto floor = selectedHardFloor();
    const auto confirmation = selectedFloorConfirmation();
    return floor && confirmation && confirmation->text == floor->target;
}

void OrrelViewModel::setSelectedFloorText(QString text)
{
    if (!m_selected)
        return;
    m_floorConfirmations[*m_selected] = {selectedFloorAskKey(), std::move(text)};
    notifyChanged();
}

// --- Answers.

std::optional<QString> OrrelViewModel::answerRefusal(const InteractionResponseIntent& intent) const
{
    if (!m_selected)
        return std::nullopt;
    const auto escalation = selectedEscalation();
    const auto state = selectedState();
    const bool liveBlocked =
        selectedStatus() == RollupStatus::blocked && state && state->interaction;
    if (escalation && !escalation->canAnswer && !liveBlocked)
        return u"Nothing was sent to the underlying pane. Use the escalation card for its current "
               "status."_s;
    if ((!state || !state->interaction) && state && state->error)
        return state->error;
    if (!isRoot(*m_selected))
        return u"A worker's question goes to its orchestrator, not to you. Use Jump to watch it. "
               "Nothing was sent."_s;
    if (!bypassesFloor(intent) && !selectedFloorArmed())
        if (const auto floor = selectedHardFloor())
            return u"Type %1 to arm this %2 action. Nothing was sent."_s.arg(
                floor->target, title(floor->category));
    return std::nullopt;
}

QCoro::Task<bool> OrrelViewModel::respondToSelectedInteraction(InteractionResponseIntent intent)
{
    if (!m_selected)
        co_return false;
    const AgentRef ref = *m_selected;
    if (const auto refusal = answerRefusal(intent)) {
        m_refusalNotices[ref] = *refusal;
        notifyChanged();
        co_return false;
    }
    m_refusalNotices.erase(ref);
    m_changedUnderYou.erase(ref);
    notifyChanged();
    SessionRuntime* runtime = locate(ref).runtime;
    if (!runtime)
        co_return false;

    QPointer<OrrelViewModel> self{this};
    QPointer<SessionRuntime> target{runtime};
    const QString title = paneTitle(ref);
    const auto report = co_await runtime->interactions().respondReporting(ref.paneID, intent);
    if (!self)
        co_return false;
    if (report) {
        recordReceipt(ref, SentReceipt::make(intent, report->validatedInteraction,
                                             report->sentOperations, title));
        m_floorConfirmations.erase(ref);
        notifyChanged();
        co_return true;
    }
    if (report.error() && report.error()->isStale())
        m_changedUnderYou[ref] = report.error()->refusalSentence();
    else if (!report.error())
        // Refused before any read: nothing on show, or an answer already under way.
        m_refusalNotices[ref] = u"No prompt of this agent is waiting for an answer. Nothing was "
                                "sent."_s;
    notifyChanged();
    co_return false;
}

QCoro::Task<bool> OrrelViewModel::answerSelected(qint64 index)
{
    return respondToSelectedInteraction(InteractionResponseIntent::selectChoice(index));
}

QCoro::Task<bool> OrrelViewModel::approveSelected()
{
    return respondToSelectedInteraction(InteractionResponseIntent::approve());
}

QCoro::Task<bool> OrrelViewModel::denySelected()
{
    return respondToSelectedInteraction(InteractionResponseIntent::deny());
}

QCoro::Task<bool> OrrelViewModel::replySelected(QString text)
{
    return respondToSelectedInteraction(InteractionResponseIntent::submitText(std::move(text)));
}

QCoro::Task<bool> OrrelViewModel::answerRecommendedSelected()
{
    const auto order = selectedRecommendedOrder();
    if (!order.recommended)
        return []() -> QCoro::Task<bool> { co_return false; }();
    return answerSelected(*order.recommended);
}

RecommendedChoiceOrder OrrelViewModel::selectedRecommendedOrder() const
{
    RecommendedChoiceOrder result;
    const auto state = selectedState();
    if (!state || !state->interaction)
        return result;
    const PendingInteraction& interaction = *state->interaction;
    for (qint64 index = 0; index < qint64(interaction.choices.size()); ++index)
        result.order.push_back(index);
    const Located located = locate(*m_selected);
    const auto signal = located.runtime ? located.runtime->signal(m_selected->paneID)
                                        : std::optional<NeedsHumanSignal>();
    if (interaction.evidence.providerID != PiScreenAdapter::piAdapterID || !signal || !signal->rec)
        return result;
    const qint64 recommended = *signal->rec;
    const auto position = std::ranges::find(result.order, recommended);
    if (position == result.order.end())
        return result;
    result.order.erase(position);
    result.order.insert(result.order.begin(), recommended);
    result.recommended = recommended;
    return result;
}

// --- Receipts.

std::optional<SentReceipt> OrrelViewModel::selectedReceipt() const
{
    if (!m_selected)
        return std::nullopt;
    const auto found = m_sentReceipts.find(*m_selected);
    return found == m_sentReceipts.end() ? std::nullopt : std::optional(found->second);
}

void OrrelViewModel::recordReceipt(const AgentRef& ref, const SentReceipt& receipt)
{
    m_sentReceipts[ref] = receipt;
    notifyChanged();
}

void OrrelViewModel::dismissReceiptAndCollapse()
{
    if (m_selected)
        m_sentReceipts.erase(*m_selected);
    setPresentation(OrrelPresentation::compact());
    notifyChanged();
}

std::optional<QString> OrrelViewModel::lastError() const
{
    const auto state = selectedState();
    return state ? state->error : std::nullopt;
}

QString OrrelViewModel::failureSentence(const AgentRef& ref) const
{
    return refusalNotice(ref)
        .or_else([&] { return changedUnderYou(ref); })
        .or_else([&] { return m_selected == ref ? lastError() : std::nullopt; })
        .value_or(u"Nothing was sent."_s);
}

// --- Interrupt and jump.

bool OrrelViewModel::canInterrupt(const AgentRef& ref) const
{
    const Located located = locate(ref);
    return located.pane && !m_interruptingAgents.contains(ref)
           && located.runtime->store().derivedStatus(ref.paneID) == RollupStatus::working;
}

QCoro::Task<bool> OrrelViewModel::interrupt(AgentRef ref)
{
    const Located located = locate(ref);
    if (!located.pane) {
        m_interruptErrors[ref] = u"This agent is no longer available. Nothing was sent."_s;
        notifyChanged();
        co_return false;
    }
    const RollupStatus status = located.runtime->store().derivedStatus(ref.paneID);
    if (status != RollupStatus::working) {
        m_interruptErrors[ref] = u"This agent is now %1. Nothing was sent."_s.arg(toString(status));
        notifyChanged();
        co_return false;
    }
    if (m_interruptingAgents.contains(ref))
        co_return false;
    m_interruptErrors.erase(ref);
    m_interruptingAgents.insert(ref);
    notifyChanged();
    QPointer<OrrelViewModel> self{this};
    // The runtime asks herdr whether the pane still works before the key goes out.
    const ActionOutcome outcome = co_await located.runtime->interrupt(ref.paneID);
    if (!self)
        co_return false;
    m_interruptingAgents.erase(ref);
    if (!outcome)
        m_interruptErrors[ref] = outcome.error().errorDescription();
    notifyChanged();
    co_return outcome.has_value();
}

QCoro::Task<bool> OrrelViewModel::jump(AgentRef ref)
{
    m_jumpNotice.reset();
    const Located located = locate(ref);
    if (!located.runtime) {
        m_jumpNotice = JumpNotice{u"This agent is no longer available."_s, std::nullopt};
        notifyChanged();
        co_return false;
    }
    QPointer<OrrelViewModel> self{this};
    const SessionDescriptor descriptor = located.runtime->descriptor();
    const ActionOutcome outcome =
        co_await located.runtime->jump(ref.paneID, m_collaborators.terminal);
    if (!self)
        co_return false;
    const std::optional<QString> attach =
        descriptor.isRemote() ? std::optional(descriptor.attachCommand()) : std::nullopt;
    if (!outcome)
        m_jumpNotice = JumpNotice{outcome.error().errorDescription(), attach};
    else if (outcome->kind == ActionResult::Kind::needsAttach)
        m_jumpNotice = JumpNotice{
            u"No terminal is attached to this herdr session. Attach to it to watch the agent."_s,
            descriptor.attachCommand()};
    else if (outcome->terminal && outcome->terminal->failure)
        m_jumpNotice = JumpNotice{jumpFailureMessage(*outcome->terminal->failure), attach};
    notifyChanged();
    co_return outcome && !m_jumpNotice;
}

QCoro::Task<> OrrelViewModel::handleNotificationJump(AgentRef ref)
{
    if (!locate(ref).pane) {
        m_jumpNotice = JumpNotice{
            u"This notification refers to an agent that is no longer available."_s, std::nullopt};
        notifyChanged();
        co_return;
    }
    co_await jump(ref);
}

// --- Escalations.

std::optional<EscalationCardModel> OrrelViewModel::selectedEscalation() const
{
    if (!m_selected)
        return std::nullopt;
    const Located located = locate(*m_selected);
    if (!located.runtime)
        return std::nullopt;
    for (const AttentionItem& item : located.runtime->attention().items) {
        const auto* escalation = item.escalation();
        if (!escalation || item.paneID != m_selected->paneID)
            continue;
        const auto question = located.runtime->escalation(escalation->questionID);
        if (!question)
            continue;
        const StateStore& store = located.runtime->store();
        EscalationCardModel card;
        card.questionID = question->id;
        card.question = question->question;
        card.header = question->header.value_or(u"Escalated question"_s);
        card.options = question->options;
        card.optionDescriptions = question->optionDescriptions;
        const PaneInfo* owner = store.pane(question->ownerPaneID);
        card.orchestratorTitle = owner ? taskTitle(store, *owner) : question->ownerPaneID;
        card.orchestratorPaneID = question->ownerPaneID;
        card.workerPaneID = question->childPaneID;
        if (const PaneInfo* worker = store.pane(question->childPaneID))
            if (const auto tab = store.tabs().find(worker->tabID); tab != store.tabs().end())
                card.workerTab =
                    PaneDisplayIdentity::tabTitle(tab->second.label, tab->second.number);
        card.since = question->since;
        card.originPaneID = question->originPaneID;
        card.canAnswer = question->canAnswer();
        card.status = question->status();
        if (const auto sent = m_sentEscalationAnswers.find(question->id);
            sent != m_sentEscalationAnswers.end())
            card.sentAnswer = sent->second;
        return card;
    }
    return std::nullopt;
}

QCoro::Task<bool> OrrelViewModel::answerEscalation(QString answer)
{
    const auto card = selectedEscalation();
    if (!card || !card->canAnswer || m_sendingEscalations.contains(card->questionID)
        || answer.trimmed().isEmpty())
        co_return false;
    SessionRuntime* runtime = locate(*m_selected).runtime;
    const QString id = card->questionID;
    m_sendingEscalations.insert(id);
    m_escalationErrors.erase(id);
    notifyChanged();
    QPointer<OrrelViewModel> self{this};
    const QString message =
        EscalationAnswer::message(id, card->workerTab, card->workerPaneID, answer);
    const auto sent = co_await runtime->sendEscalationAnswer(id, card->orchestratorPaneID,
                                                             card->originPaneID, message);
    if (!self)
        co_return false;
    m_sendingEscalations.erase(id);
    if (sent)
        m_sentEscalationAnswers[id] = answer;
    else
        m_escalationErrors[id] = sent.error().errorDescription();
    notifyChanged();
    co_return sent.has_value();
}
