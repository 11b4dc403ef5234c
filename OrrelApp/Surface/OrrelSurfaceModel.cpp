#include "OrrelApp/Surface/OrrelSurfaceModel.h"

#include "OrrelApp/Sessions/SessionRegistry.h"
#include "OrrelApp/Sessions/SessionRuntime.h"
#include "OrrelApp/Surface/OrrelSurfaceState.h"
#include "OrrelApp/Surface/OrrelViewModel.h"
#include "OrrelApp/Surface/SurfaceProjection.h"

#include <QClipboard>
#include <QGuiApplication>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

// Ages, the grace count-down and the pill's fade move with the clock alone.
constexpr auto clockTickInterval = 1s;

// Stores a new value and says whether it differed; the signals go out once everything is stored.
template <class Value>
bool assign(Value& stored, Value value)
{
    if (stored == value)
        return false;
    stored = std::move(value);
    return true;
}

QCoro::Task<OrrelSurfaceModel::Outcome> done()
{
    co_return std::nullopt;
}

QCoro::Task<OrrelSurfaceModel::Outcome> refused(QString sentence)
{
    co_return sentence;
}

} // namespace

OrrelSurfaceModel::OrrelSurfaceModel(OrrelViewModel& model, OrrelSurfaceState& surfaceState,
                                     QObject* parent)
    : QObject(parent), m_model(model), m_surfaceState(&surfaceState)
{
    m_copyText = [](const QString& text) {
        if (qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
            QGuiApplication::clipboard()->setText(text);
    };
    connect(&m_model, &OrrelViewModel::changed, this, &OrrelSurfaceModel::refresh);
    connect(&m_model, &OrrelViewModel::presentationChanged, this, &OrrelSurfaceModel::refresh);
    connect(&surfaceState, &OrrelSurfaceState::compactIndicatorRevealedChanged, this,
            &OrrelSurfaceModel::refresh);
    connect(&surfaceState, &OrrelSurfaceState::reduceMotionChanged, this,
            &OrrelSurfaceModel::refresh);
    // A session's connection, its recent output and its modes move outside the view model's
    // cycles.
    const auto follow = [this] {
        for (SessionRuntime* runtime : m_model.runtimes()) {
            connect(runtime, &SessionRuntime::connectionChanged, this, &OrrelSurfaceModel::refresh,
                    Qt::UniqueConnection);
            connect(runtime, &SessionRuntime::errorChanged, this, &OrrelSurfaceModel::refresh,
                    Qt::UniqueConnection);
            connect(runtime, &SessionRuntime::agentModesChanged, this, &OrrelSurfaceModel::refresh,
                    Qt::UniqueConnection);
            connect(&runtime->activity(), &PaneActivityCoordinator::stateChanged, this,
                    &OrrelSurfaceModel::refresh, Qt::UniqueConnection);
        }
    };
    follow();
    connect(&m_model.registry(), &SessionRegistry::runtimesChanged, this, follow);
    m_clockTick.setInterval(clockTickInterval);
    connect(&m_clockTick, &QTimer::timeout, this, &OrrelSurfaceModel::refresh);
    m_clockTick.start();
    refresh();
}

OrrelSurfaceModel::~OrrelSurfaceModel() = default;

QVariantMap OrrelSurfaceModel::labels() const
{
    return SurfaceProjection::labels();
}

QVariantMap OrrelSurfaceModel::tones() const
{
    return SurfaceProjection::tones();
}

void OrrelSurfaceModel::refresh()
{
    if (!m_surfaceState)
        return;
    const Timestamp at = m_model.now();
    const auto& selection = m_model.selected();
    const QString selected = selection ? selection->id() : QString();
    const bool presentationMoved = assign(m_presentation, m_model.presentation().toString());
    const bool selectionMoved = assign(m_selected, selected);
    const bool identityMoved = assign(
        m_focusedIdentity, m_model.presentation().isFocused() ? selected : QString());
    const bool pillMoved = assign(m_pill, SurfaceProjection::pill(m_model, *m_surfaceState, at));
    const bool overviewMoved = assign(m_overview, SurfaceProjection::overview(m_model, at));
    const bool cardMoved = assign(m_card, SurfaceProjection::card(m_model, at));
    // The shape goes last: a view it brings up must find the card and the identity it reports
    // its height under already in place.
    if (selectionMoved)
        Q_EMIT selectedChanged();
    if (identityMoved)
        Q_EMIT focusedIdentityChanged();
    if (pillMoved)
        Q_EMIT pillChanged();
    if (overviewMoved)
        Q_EMIT overviewChanged();
    if (cardMoved)
        Q_EMIT cardChanged();
    if (presentationMoved)
        Q_EMIT presentationChanged();
}

std::optional<AgentRef> OrrelSurfaceModel::parseRef(const QString& text)
{
    const qsizetype slash = text.lastIndexOf(u'/');
    if (slash <= 0 || slash == text.size() - 1)
        return std::nullopt;
    return AgentRef{text.left(slash), text.mid(slash + 1)};
}

std::optional<QString> OrrelSurfaceModel::noSelection() const
{
    if (m_model.selected())
        return std::nullopt;
    return u"No agent is selected. Nothing was sent."_s;
}

void OrrelSurfaceModel::start(QCoro::Task<Outcome> task)
{
    // The task runs on by itself; its outcome already shows in the card.
    Q_UNUSED(task);
}

// --- Shape and selection.

QCoro::Task<OrrelSurfaceModel::Outcome> OrrelSurfaceModel::toggle()
{
    co_await m_model.toggle();
    co_return std::nullopt;
}

QCoro::Task<OrrelSurfaceModel::Outcome> OrrelSurfaceModel::showOverview()
{
    m_model.showOverview();
    return done();
}

QCoro::Task<OrrelSurfaceModel::Outcome> OrrelSurfaceModel::collapse()
{
    m_model.setPresentation(OrrelPresentation::compact());
    return done();
}

QCoro::Task<OrrelSurfaceModel::Outcome> OrrelSurfaceModel::select(AgentRef ref)
{
    const SessionRuntime* runtime = m_model.runtime(ref.sessionID);
    if (!runtime || !runtime->store().pane(ref.paneID))
        co_return u"No agent %1 is watched."_s.arg(ref.id());
    co_await m_model.selectPane(ref);
    co_return std::nullopt;
}

QCoro::Task<OrrelSurfaceModel::Outcome> OrrelSurfaceModel::selectAdjacent(int offset)
{
    co_await m_model.selectAdjacentPane(offset);
    co_return std::nullopt;
}

QCoro::Task<OrrelSurfaceModel::Outcome> OrrelSurfaceModel::toggleWorkers(AgentRef ref)
{
    m_model.toggleRootExpansion(ref);
    return done();
}

// --- Answers.

namespace {

QCoro::Task<OrrelSurfaceModel::Outcome> sentence(QPointer<OrrelViewModel> model,
                                                 std::optional<AgentRef> ref,
                                                 QCoro::Task<bool> answer)
{
    const bool sent = co_await std::move(answer);
    if (sent)
        co_return std::nullopt;
    if (!model || !ref)
        co_return u"Nothing was sent."_s;
    co_return model->failureSentence(*ref);
}

} // namespace

QCoro::Task<OrrelSurfaceModel::Outcome> OrrelSurfaceModel::answering(QCoro::Task<bool> answer)
{
    return sentence(&m_model, m_model.selected(), std::move(answer));
}

QCoro::Task<OrrelSurfaceModel::Outcome> OrrelSurfaceModel::answer(qint64 index)
{
    return answering(m_model.answerSelected(index));
}

QCoro::Task<OrrelSurfaceModel::Outcome> OrrelSurfaceModel::approve()
{
    return answering(m_model.approveSelected());
}

QCoro::Task<OrrelSurfaceModel::Outcome> OrrelSurfaceModel::deny()
{
    return answering(m_model.denySelected());
}

QCoro::Task<OrrelSurfaceModel::Outcome> OrrelSurfaceModel::answerRecommended()
{
    if (m_model.selected() && !m_model.selectedRecommendedOrder().recommended)
        return refused(u"This prompt has no recommended choice. Nothing was sent."_s);
    return answering(m_model.answerRecommendedSelected());
}

QCoro::Task<OrrelSurfaceModel::Outcome> OrrelSurfaceModel::setChecked(qint64 index, bool checked)
{
    return answering(
        m_model.respondToSelectedInteraction(InteractionResponseIntent::setChoice(index, checked)));
}

QCoro::Task<OrrelSurfaceModel::Outcome> OrrelSurfaceModel::navigateStep(int direction)
{
    return answering(m_model.navigateStep(direction));
}

QCoro::Task<OrrelSurfaceModel::Outcome> OrrelSurfaceModel::beginTextEntry()
{
    return answering(
        m_model.respondToSelectedInteraction(InteractionResponseIntent::beginTextEntry()));
}

QCoro::Task<OrrelSurfaceModel::Outcome> OrrelSurfaceModel::backToChoices()
{
    return answering(
        m_model.respondToSelectedInteraction(InteractionResponseIntent::clearTextEntry()));
}

QCoro::Task<OrrelSurfaceModel::Outcome> OrrelSurfaceModel::submitAnswers()
{
    return answering(m_model.respondToSelectedInteraction(InteractionResponseIntent::submit()));
}

QCoro::Task<OrrelSurfaceModel::Outcome> OrrelSurfaceModel::cancelQuestion()
{
    return answering(m_model.respondToSelectedInteraction(InteractionResponseIntent::cancel()));
}

QCoro::Task<OrrelSurfaceModel::Outcome> OrrelSurfaceModel::reply(QString text)
{
    return answering(m_model.replySelected(std::move(text)));
}

QCoro::Task<OrrelSurfaceModel::Outcome> OrrelSurfaceModel::typeText(QString text)
{
    return answering(m_model.typeTextWithoutSubmitSelected(std::move(text)));
}

QCoro::Task<OrrelSurfaceModel::Outcome> OrrelSurfaceModel::cycleMode()
{
    return answering(m_model.cycleSelectedAgentMode());
}

QCoro::Task<OrrelSurfaceModel::Outcome> OrrelSurfaceModel::armFloor(QString text)
{
    const auto floor = m_model.selectedHardFloor();
    if (!floor)
        return refused(u"No hard floor applies to this prompt."_s);
    m_model.setSelectedFloorText(std::move(text));
    if (m_model.selectedFloorArmed())
        return done();
    return refused(u"The floor stays locked until %1 is typed exactly."_s.arg(floor->target));
}

QCoro::Task<OrrelSurfaceModel::Outcome> OrrelSurfaceModel::setDraft(QString text)
{
    if (m_model.setSelectedDraftText(std::move(text)))
        return done();
    return refused(u"A draft is kept only for the prompt on show."_s);
}

QCoro::Task<OrrelSurfaceModel::Outcome> OrrelSurfaceModel::reuseDraft()
{
    if (m_model.confirmSelectedDraftReuse())
        return done();
    return refused(u"There is no saved draft to use."_s);
}

QCoro::Task<OrrelSurfaceModel::Outcome> OrrelSurfaceModel::discardDraft()
{
    m_model.discardSelectedDraft();
    return done();
}

QCoro::Task<OrrelSurfaceModel::Outcome> OrrelSurfaceModel::reRead()
{
    if (!m_model.selected())
        co_return u"No agent is selected."_s;
    co_await m_model.reReadSelected();
    co_return std::nullopt;
}

QCoro::Task<OrrelSurfaceModel::Outcome> OrrelSurfaceModel::answerEscalation(QString text)
{
    const auto card = m_model.selectedEscalation();
    if (!card)
        co_return u"No escalated question is selected. Nothing was sent."_s;
    if (!card->canAnswer)
        co_return u"Delivery is not confirmed or recorded origin is missing. Nothing was sent."_s;
    if (text.trimmed().isEmpty())
        co_return u"The answer is empty. Nothing was sent."_s;
    const QString id = card->questionID;
    QPointer<OrrelViewModel> model{&m_model};
    const bool sent = co_await m_model.answerEscalation(std::move(text));
    if (sent)
        co_return std::nullopt;
    if (!model)
        co_return u"Nothing was sent."_s;
    const auto error = model->escalationErrors().find(id);
    if (error != model->escalationErrors().end())
        co_return error->second;
    co_return u"An answer to this question is already on its way. Nothing was sent."_s;
}

// --- The shelves and notices.

QCoro::Task<OrrelSurfaceModel::Outcome> OrrelSurfaceModel::setTaskDraft(QString text)
{
    if (const auto refusal = noSelection())
        return refused(*refusal);
    m_model.setSelectedIdlePromptDraft(std::move(text));
    return done();
}

QCoro::Task<OrrelSurfaceModel::Outcome> OrrelSurfaceModel::sendTask(QString text)
{
    if (const auto refusal = noSelection())
        co_return refusal;
    const AgentRef ref = *m_model.selected();
    const bool empty = text.trimmed().isEmpty();
    m_model.setSelectedIdlePromptDraft(std::move(text));
    if (empty)
        co_return u"The task is empty. Nothing was sent."_s;
    if (!m_model.canSendIdlePrompt())
        co_return u"This agent is not waiting for a new task. Nothing was sent."_s;
    QPointer<OrrelViewModel> model{&m_model};
    const bool sent = co_await m_model.sendIdlePromptSelected();
    if (sent)
        co_return std::nullopt;
    const SessionRuntime* runtime = model ? model->runtime(ref.sessionID) : nullptr;
    const auto state = runtime ? runtime->activity().state(ref.paneID) : std::nullopt;
    if (state && state->promptError)
        co_return state->promptError;
    co_return u"Nothing was sent."_s;
}

QCoro::Task<OrrelSurfaceModel::Outcome> OrrelSurfaceModel::retryOutput()
{
    const bool read = co_await m_model.retrySelectedWorkingOutput();
    if (read)
        co_return std::nullopt;
    co_return u"The recent output could not be read now."_s;
}

QCoro::Task<OrrelSurfaceModel::Outcome> OrrelSurfaceModel::interrupt(AgentRef ref)
{
    QPointer<OrrelViewModel> model{&m_model};
    const bool sent = co_await m_model.interrupt(ref);
    if (sent)
        co_return std::nullopt;
    co_return model ? model->interruptError(ref).value_or(u"Nothing was sent."_s)
                    : u"Nothing was sent."_s;
}

QCoro::Task<OrrelSurfaceModel::Outcome> OrrelSurfaceModel::jump(AgentRef ref)
{
    QPointer<OrrelViewModel> model{&m_model};
    const bool jumped = co_await m_model.jump(ref);
    if (jumped)
        co_return std::nullopt;
    if (model && model->jumpNotice())
        co_return model->jumpNotice()->text;
    co_return u"The agent's terminal could not be brought forward."_s;
}

QCoro::Task<OrrelSurfaceModel::Outcome> OrrelSurfaceModel::dismissReceipt()
{
    m_model.dismissReceiptAndCollapse();
    return done();
}

QCoro::Task<OrrelSurfaceModel::Outcome> OrrelSurfaceModel::copyAttachCommand()
{
    const auto command = m_model.jumpAttachCommand();
    if (!command)
        return refused(u"There is no attach command to copy."_s);
    m_copyText(*command);
    return done();
}

QCoro::Task<OrrelSurfaceModel::Outcome> OrrelSurfaceModel::dismissJumpNotice()
{
    m_model.dismissJumpNotice();
    return done();
}

// --- For QML.

void OrrelSurfaceModel::requestToggle()
{
    start(toggle());
}
void OrrelSurfaceModel::requestShowOverview()
{
    start(showOverview());
}
void OrrelSurfaceModel::requestCollapse()
{
    start(collapse());
}
void OrrelSurfaceModel::requestAnswer(qint64 index)
{
    start(answer(index));
}
void OrrelSurfaceModel::requestApprove()
{
    start(approve());
}
void OrrelSurfaceModel::requestDeny()
{
    start(deny());
}
void OrrelSurfaceModel::requestAnswerRecommended()
{
    start(answerRecommended());
}
void OrrelSurfaceModel::requestSetChecked(qint64 index, bool checked)
{
    start(setChecked(index, checked));
}
void OrrelSurfaceModel::requestNavigateStep(int direction)
{
    start(navigateStep(direction));
}
void OrrelSurfaceModel::requestBeginTextEntry()
{
    start(beginTextEntry());
}
void OrrelSurfaceModel::requestBackToChoices()
{
    start(backToChoices());
}
void OrrelSurfaceModel::requestSubmitAnswers()
{
    start(submitAnswers());
}
void OrrelSurfaceModel::requestCancelQuestion()
{
    start(cancelQuestion());
}
void OrrelSurfaceModel::requestReply(const QString& text)
{
    start(reply(text));
}
void OrrelSurfaceModel::requestTypeText(const QString& text)
{
    start(typeText(text));
}
void OrrelSurfaceModel::requestArmFloor(const QString& text)
{
    start(armFloor(text));
}
void OrrelSurfaceModel::requestSetDraft(const QString& text)
{
    start(setDraft(text));
}
void OrrelSurfaceModel::requestReuseDraft()
{
    start(reuseDraft());
}
void OrrelSurfaceModel::requestDiscardDraft()
{
    start(discardDraft());
}
void OrrelSurfaceModel::requestReRead()
{
    start(reRead());
}
void OrrelSurfaceModel::requestCycleMode()
{
    start(cycleMode());
}
void OrrelSurfaceModel::requestAnswerEscalation(const QString& text)
{
    start(answerEscalation(text));
}
void OrrelSurfaceModel::requestSetTaskDraft(const QString& text)
{
    start(setTaskDraft(text));
}
void OrrelSurfaceModel::requestSendTask(const QString& text)
{
    start(sendTask(text));
}
void OrrelSurfaceModel::requestRetryOutput()
{
    start(retryOutput());
}
void OrrelSurfaceModel::requestDismissReceipt()
{
    start(dismissReceipt());
}
void OrrelSurfaceModel::requestCopyAttachCommand()
{
    start(copyAttachCommand());
}
void OrrelSurfaceModel::requestDismissJumpNotice()
{
    start(dismissJumpNotice());
}

void OrrelSurfaceModel::requestSelect(const QString& ref)
{
    if (const auto parsed = parseRef(ref))
        start(select(*parsed));
}

void OrrelSurfaceModel::requestToggleWorkers(const QString& ref)
{
    if (const auto parsed = parseRef(ref))
        start(toggleWorkers(*parsed));
}

void OrrelSurfaceModel::requestInterrupt(const QString& ref)
{
    if (const auto parsed = parseRef(ref))
        start(interrupt(*parsed));
}

void OrrelSurfaceModel::requestJump(const QString& ref)
{
    if (const auto parsed = parseRef(ref))
        start(jump(*parsed));
}

void OrrelSurfaceModel::hover(bool hovering)
{
    if (m_surfaceState)
        m_surfaceState->setCompactHovering(hovering);
}

void OrrelSurfaceModel::reportOverviewHeight(double height)
{
    if (m_surfaceState)
        m_surfaceState->reportOverviewHeight(height);
}

void OrrelSurfaceModel::reportFocusedHeight(double chromeAndContent, double shelf)
{
    if (m_surfaceState && !m_focusedIdentity.isEmpty())
        m_surfaceState->reportFocusedHeight(m_focusedIdentity, chromeAndContent, shelf);
}
