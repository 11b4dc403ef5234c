#include "HerdrClient/Responding/InteractionResponder.h"

#include "HerdrClient/Wire/PaneParams.h"

using namespace Qt::StringLiterals;

namespace {

using Kind = InteractionResponseIntent::Kind;
using Keys = std::vector<QString>;

QCoro::Task<> tellPhase(InteractionPhaseCallback onPhase, InteractionResponsePhase phase)
{
    if (onPhase)
        co_await onPhase(phase);
}

// Typing redraws the row that takes the text (its draft, and with claude its label and hint too);
// the rest of the prompt must stay the one the person saw.
InteractionFingerprint fingerprintOutsideField(PendingInteraction interaction,
                                               std::optional<qint64> field)
{
    for (std::size_t i = 0; i < interaction.choices.size(); ++i) {
        if (field && qint64(i) == *field)
            interaction.choices[i] = InteractionChoice{};
        else if (!field)
            interaction.choices[i].draft.reset();
    }
    return interaction.fingerprint();
}

// One answer from read to settle. It lives in the frame of the call that runs it, so its
// member coroutines, all awaited there, may use it freely.
class ResponseRun {
public:
    ResponseRun(InteractionResponder::Gate gate, InteractionResponseRequest request)
        : m_gate(std::move(gate)), m_request(std::move(request))
    {
    }

    // With `ownKeys`, those keys take the place of the kind test and the plan.
    QCoro::Task<InteractionResponseOutcome> run(InteractionPhaseCallback onPhase,
                                                std::optional<std::vector<QString>> ownKeys);

private:
    QCoro::Task<InteractionReadResult> read();
    QCoro::Task<> pause();
    QCoro::Task<ActionSendResult> send(InteractionResponseOperation operation);
    QCoro::Task<std::expected<void, InteractionResponseFailure>> sendTyping(
        InteractionResponsePlan plan, const PendingInteraction& fresh);
    QCoro::Task<std::expected<void, InteractionResponseFailure>> awaitTypedText(
        const PendingInteraction& fresh);
    std::optional<qint64> typedField(const PendingInteraction& fresh) const;
    bool focusStaysOnText(const PendingInteraction& fresh, const PendingInteraction& now) const;
    QCoro::Task<std::expected<void, InteractionResponseFailure>> sendCheckboxToggle(
        InteractionResponsePlan plan, qint64 targetIndex);
    QCoro::Task<std::expected<void, InteractionResponseFailure>> sendMultiSelectSubmit(
        InteractionResponsePlan plan);
    QCoro::Task<std::optional<PendingInteraction>> settle(PendingInteraction validated);
    bool isConfirmationPage(const PendingInteraction& read) const;

    InteractionResponseFailure failed(InteractionResponseFailure failure) const
    {
        failure.sentOperations = m_sent;
        return failure;
    }
    InteractionResponderError unsupportedToggle() const
    {
        // The kind is always `question` here: only multi-selects take these two paths.
        return InteractionResponderError::unsupportedIntent(InteractionKind::question,
                                                            m_request.intent);
    }

    InteractionResponder::Gate m_gate;
    InteractionResponseRequest m_request;
    std::vector<InteractionResponseOperation> m_sent;
};

QCoro::Task<InteractionReadResult> ResponseRun::read()
{
    if (!m_gate.providerAlive)
        co_return std::unexpected(InteractionProviderError::unreadablePane(m_request.paneID));
    co_return co_await m_gate.provider->interaction(m_request.paneID, m_request.agentID,
                                                    m_request.paneRevision);
}

QCoro::Task<> ResponseRun::pause()
{
    co_await m_gate.sleep(std::chrono::duration_cast<Seconds>(m_gate.settings.settleDelay));
}

QCoro::Task<ActionSendResult> ResponseRun::send(InteractionResponseOperation operation)
{
    const JSONValue params =
        operation.kind == InteractionResponseOperation::Kind::sendKeys
            ? PaneSendKeysParams{m_request.paneID, operation.keys}.asJSONValue()
            : PaneSendTextParams{m_request.paneID, operation.text}.asJSONValue();
    const ActionSendResult result = co_await m_gate.actions.send(operation.method(), params);
    if (result)
        m_sent.push_back(std::move(operation));
    co_return result;
}

// Keys right behind text can reach the agent before it has taken the text in: codex folds an
// Enter that arrives within its paste burst into the text, and the note is lost. So keys after
// text wait until the screen holds still with the focus where the text went, and go only to the
// prompt the person saw; the text itself may only have filled its field. Nothing sent is undone
// when a later operation fails.
QCoro::Task<std::expected<void, InteractionResponseFailure>> ResponseRun::sendTyping(
    InteractionResponsePlan plan, const PendingInteraction& fresh)
{
    bool textWentOut = false;
    for (auto& operation : plan.operations) {
        const bool isKeys = operation.kind == InteractionResponseOperation::Kind::sendKeys;
        if (isKeys && operation.keys.empty())
            continue;
        if (isKeys && textWentOut) {
            if (auto landed = co_await awaitTypedText(fresh); !landed)
                co_return landed;
            textWentOut = false;
        }
        textWentOut = textWentOut || !isKeys;
        if (auto sent = co_await send(std::move(operation)); !sent)
            co_return std::unexpected(failed(sent.error()));
    }
    co_return {};
}

std::optional<qint64> ResponseRun::typedField(const PendingInteraction& fresh) const
{
    if (m_request.intent.kind == Kind::submitChoiceText)
        return m_request.intent.index;
    return fresh.presentation.selectedChoiceIndex;
}

bool ResponseRun::focusStaysOnText(const PendingInteraction& fresh,
                                   const PendingInteraction& now) const
{
    if (now.presentation.selectedChoiceIndex != typedField(fresh))
        return false;
    return fresh.presentation.mechanism != InteractionMechanism::textEntry
           || now.presentation.mechanism == InteractionMechanism::textEntry;
}

QCoro::Task<std::expected<void, InteractionResponseFailure>> ResponseRun::awaitTypedText(
    const PendingInteraction& fresh)
{
    const auto field = typedField(fresh);
    const InteractionFingerprint expected = fingerprintOutsideField(fresh, field);
    std::optional<PendingInteraction> previous;
    for (int attempt = 0; attempt < m_gate.settings.settleAttempts; ++attempt) {
        co_await pause();
        InteractionReadResult now = co_await read();
        if (now && fingerprintOutsideField(*now, field) != expected)
            co_return std::unexpected(failed(
                InteractionResponderError::staleInteraction(m_request.expectedFingerprint, *now)));
        if (!now || !focusStaysOnText(fresh, *now)) {
            previous.reset();
            continue;
        }
        if (previous && *now == *previous)
            co_return {};
        previous = std::move(*now);
    }
    co_return std::unexpected(failed(InteractionResponderError::typedTextDidNotSettle()));
}

QCoro::Task<std::expected<void, InteractionResponseFailure>> ResponseRun::sendCheckboxToggle(
    InteractionResponsePlan plan, qint64 targetIndex)
{
    // The box is flipped only once the cursor has been seen on it twice in a row; a box already
    // in the wanted state (an empty plan) is refused rather than reported as done.
    auto keys = plan.flattenedKeys();
    if (!keys || keys->empty() || keys->back() != u"enter")
        co_return std::unexpected(failed(unsupportedToggle()));
    keys->pop_back();
    const auto enter = InteractionResponseOperation::sendKeys({u"enter"_s});
    if (keys->empty()) {
        if (auto sent = co_await send(enter); !sent)
            co_return std::unexpected(failed(sent.error()));
        co_return {};
    }
    if (auto sent = co_await send(InteractionResponseOperation::sendKeys(std::move(*keys))); !sent)
        co_return std::unexpected(failed(sent.error()));
    int onTarget = 0;
    for (int attempt = 0; attempt < m_gate.settings.settleAttempts; ++attempt) {
        co_await pause();
        const InteractionReadResult now = co_await read();
        if (!now) {
            onTarget = 0;
            continue;
        }
        if (now->fingerprint() != m_request.expectedFingerprint)
            co_return std::unexpected(failed(
                InteractionResponderError::staleInteraction(m_request.expectedFingerprint, *now)));
        if (now->presentation.selectedChoiceIndex != targetIndex) {
            onTarget = 0;
            continue;
        }
        if (++onTarget < 2)
            continue;
        if (auto sent = co_await send(enter); !sent)
            co_return std::unexpected(failed(sent.error()));
        co_return {};
    }
    co_return std::unexpected(
        failed(InteractionResponderError::choiceCursorDidNotSettle(targetIndex)));
}

bool ResponseRun::isConfirmationPage(const PendingInteraction& read) const
{
    const auto& cursor = read.presentation.selectedChoiceIndex;
    return read.kind == InteractionKind::reviewSubmit && read.paneID == m_request.paneID
           && read.evidence.agentID == m_request.agentID && cursor && *cursor >= 0
           && *cursor < qint64(read.choices.size())
           && read.choices[*cursor].kind == InteractionChoiceKind::submit;
}

QCoro::Task<std::expected<void, InteractionResponseFailure>> ResponseRun::sendMultiSelectSubmit(
    InteractionResponsePlan plan)
{
    // The tabs lead to a confirmation page, which is a prompt of its own: it must be seen, and
    // seen unchanged, before Enter confirms it. The person's fingerprint has no say here.
    auto keys = plan.flattenedKeys();
    if (!keys || keys->empty() || keys->back() != u"enter")
        co_return std::unexpected(failed(unsupportedToggle()));
    keys->pop_back();
    if (keys->empty())
        co_return std::unexpected(
            failed(InteractionResponderError::submitConfirmationDidNotSettle()));
    if (auto sent = co_await send(InteractionResponseOperation::sendKeys(std::move(*keys))); !sent)
        co_return std::unexpected(failed(sent.error()));
    std::optional<InteractionFingerprint> remembered;
    for (int attempt = 0; attempt < m_gate.settings.settleAttempts; ++attempt) {
        co_await pause();
        const InteractionReadResult page = co_await read();
        if (!page || !isConfirmationPage(*page)) {
            remembered.reset();
            continue;
        }
        const InteractionFingerprint fingerprint = page->fingerprint();
        if (remembered != fingerprint) {
            remembered = fingerprint;
            continue;
        }
        const auto confirm = m_gate.planner.plan(InteractionResponseIntent::submit(), *page);
        if (!confirm)
            co_return std::unexpected(failed(confirm.error()));
        co_return co_await sendTyping(*confirm, *page);
    }
    co_return std::unexpected(failed(InteractionResponderError::submitConfirmationDidNotSettle()));
}

QCoro::Task<std::optional<PendingInteraction>> ResponseRun::settle(PendingInteraction validated)
{
    std::optional<PendingInteraction> previous;
    int stable = 0;
    for (int attempt = 0; attempt < m_gate.settings.settleAttempts; ++attempt) {
        co_await pause();
        InteractionReadResult now = co_await read();
        if (!now)
            co_return std::nullopt;
        if (previous && *now == *previous) {
            if (++stable >= 2 && *now != validated)
                co_return std::move(*now);
        } else {
            previous = std::move(*now);
            stable = 1;
        }
    }
    co_return std::nullopt;
}

QCoro::Task<InteractionResponseOutcome> ResponseRun::run(
    InteractionPhaseCallback onPhase, std::optional<std::vector<QString>> ownKeys)
{
    co_await tellPhase(onPhase, InteractionResponsePhase::revalidating);
    InteractionReadResult fresh = co_await read();
    if (!fresh)
        co_return std::unexpected(failed(fresh.error()));
    if (fresh->fingerprint() != m_request.expectedFingerprint)
        co_return std::unexpected(failed(
            InteractionResponderError::staleInteraction(m_request.expectedFingerprint, *fresh)));
    const InteractionResponseIntent& intent = m_request.intent;
    InteractionPlanningResult plan = InteractionResponsePlan::noOp();
    if (ownKeys) {
        // The person chose these keys themselves; only the fingerprint stands between them and the
        // pane.
        if (!ownKeys->empty())
            plan = InteractionResponsePlan{
                {InteractionResponseOperation::sendKeys(std::move(*ownKeys))}};
    } else {
        if (!InteractionResponder::kindAllows(fresh->kind, intent.kind))
            co_return std::unexpected(
                failed(InteractionResponderError::unsupportedIntent(fresh->kind, intent)));
        if (intent.hasText() && intent.textHasControlCharacters())
            co_return std::unexpected(failed(InteractionResponderError::controlCharactersInText()));
        plan = m_gate.planner.plan(intent, *fresh);
        if (!plan)
            co_return std::unexpected(failed(plan.error()));
    }

    co_await tellPhase(onPhase, InteractionResponsePhase::sending);
    const bool multiSelect =
        !ownKeys && fresh->presentation.mechanism == InteractionMechanism::multiSelect;
    if (multiSelect && intent.kind == Kind::submit) {
        if (auto sent = co_await sendMultiSelectSubmit(*plan); !sent)
            co_return std::unexpected(sent.error());
    } else if (multiSelect && intent.kind == Kind::setChoice) {
        if (auto sent = co_await sendCheckboxToggle(*plan, intent.index); !sent)
            co_return std::unexpected(sent.error());
    } else if (auto sent = co_await sendTyping(*plan, *fresh); !sent) {
        co_return std::unexpected(sent.error());
    }
    if (plan->operations.empty())
        co_return InteractionResponseResult{std::move(*fresh), std::nullopt, m_sent};

    co_await tellPhase(onPhase, InteractionResponsePhase::settling);
    std::optional<PendingInteraction> settled = co_await settle(*fresh);
    co_return InteractionResponseResult{std::move(*fresh), std::move(settled), m_sent};
}

QCoro::Task<InteractionResponseOutcome> runResponse(InteractionResponder::Gate gate,
                                                    InteractionResponseRequest request,
                                                    InteractionPhaseCallback onPhase,
                                                    std::optional<std::vector<QString>> ownKeys)
{
    ResponseRun run(std::move(gate), std::move(request));
    co_return co_await run.run(std::move(onPhase), std::move(ownKeys));
}

} // namespace

QString toString(InteractionResponsePhase phase)
{
    switch (phase) {
    case InteractionResponsePhase::revalidating: return u"revalidating"_s;
    case InteractionResponsePhase::sending: return u"sending"_s;
    case InteractionResponsePhase::settling: break;
    }
    return u"settling"_s;
}

InteractionResponder::InteractionResponder(InteractionProviding& provider, Actions actions,
                                           Clock clock, Settings settings)
    : m_gate{&provider, provider.lifetime(),   actions, InteractionResponsePlanner{},
             settings,  std::move(clock.sleep)}
{
}

InteractionResponder::InteractionResponder(InteractionProviding& provider, Actions actions,
                                           Clock clock)
    : InteractionResponder(provider, actions, std::move(clock), Settings{})
{
}

QCoro::Task<InteractionResponseOutcome> InteractionResponder::respond(
    InteractionResponseRequest request, InteractionPhaseCallback onPhase)
{
    return runResponse(m_gate, std::move(request), std::move(onPhase), std::nullopt);
}

QCoro::Task<InteractionResponseOutcome> InteractionResponder::respondWithKeys(
    InteractionResponseRequest request, std::vector<QString> keys, InteractionPhaseCallback onPhase)
{
    return runResponse(m_gate, std::move(request), std::move(onPhase), std::move(keys));
}

bool InteractionResponder::kindAllows(InteractionKind kind, InteractionResponseIntent::Kind intent)
{
    switch (kind) {
    case InteractionKind::approval:
        // Text goes only where the planner finds a field: the feedback row of a plan approval.
        return intent == Kind::selectChoice || intent == Kind::approve || intent == Kind::deny
               || intent == Kind::enterText || intent == Kind::submitText
               || intent == Kind::submitChoiceText || intent == Kind::beginTextEntry
               || intent == Kind::clearTextEntry;
    case InteractionKind::question: return intent != Kind::approve && intent != Kind::deny;
    case InteractionKind::reviewSubmit:
        return intent == Kind::selectChoice || intent == Kind::navigateToStep
               || intent == Kind::navigatePrevious || intent == Kind::navigateNext
               || intent == Kind::submit || intent == Kind::cancel;
    case InteractionKind::freeText:
    case InteractionKind::unknown: break;
    }
    // A free-text or unreadable screen is answered at the terminal, never from here.
    return false;
}
