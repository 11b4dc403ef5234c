// The focused card of the selected agent: its header, the prompt or what stands in its place,
// the shelves under it, and its notices, each as final text.
#include "OrrelApp/Surface/SurfaceProjection.h"

#include "HerdrClient/Attention/HardFloor.h"
#include "HerdrClient/Interaction/AgentMode.h"
#include "OrrelApp/Sessions/SessionRuntime.h"
#include "OrrelApp/Surface/InteractionDisplayModel.h"
#include "OrrelApp/Surface/OrrelViewModel.h"
#include "OrrelApp/Surface/PaneDisplayIdentity.h"
#include "OrrelApp/Surface/SurfaceProjectionSupport.h"

using namespace Qt::StringLiterals;

namespace SurfaceProjection {

namespace {

// What the selected agent's card is drawn from, looked up once.
struct Selection {
    const OrrelViewModel& model;
    AgentRef ref;
    const SessionRuntime* runtime = nullptr;
    const PaneInfo* pane = nullptr;
    std::optional<InteractionAttentionDisplayModel> item;
    std::optional<PaneInteractionState> state;
};

QString paneName(const SessionRuntime& runtime, const QString& paneID)
{
    const StateStore& store = runtime.store();
    const PaneInfo* pane = store.pane(paneID);
    if (!pane)
        return paneID;
    const auto workspace = store.workspaces().find(pane->workspaceID);
    return PaneDisplayIdentity::taskTitle(
        *pane, workspace == store.workspaces().end() ? std::nullopt : workspace->second.label);
}

QVariantList choiceList(const Selection& selection, const InteractionDisplayModel& display)
{
    const RecommendedChoiceOrder order = selection.model.selectedRecommendedOrder();
    std::vector<qint64> indexes = order.order;
    if (indexes.size() != display.choices.size()) {
        indexes.clear();
        for (const InteractionDisplayChoice& choice : display.choices)
            indexes.push_back(choice.index);
    }
    QVariantList list;
    for (const qint64 index : indexes) {
        const InteractionDisplayChoice& choice = display.choices.at(std::size_t(index));
        const bool recommended = order.recommended == index;
        list.push_back(QVariantMap{
            {u"index"_s, choice.index},
            {u"number"_s, QString::number(choice.index + 1)},
            {u"kind"_s, toString(choice.kind)},
            {u"label"_s, choice.label},
            {u"description"_s, optional(choice.description)},
            {u"shortcutKeys"_s, strings(choice.shortcutKeys)},
            {u"isSelected"_s, choice.isSelected},
            {u"isChecked"_s, optional(choice.isChecked)},
            {u"isRecommended"_s, recommended},
            {u"recommendedBadge"_s, recommended ? QVariant(u"RECOMMENDED · ↵"_s) : null()},
        });
    }
    return list;
}

QVariantList stepList(const PendingInteraction& interaction)
{
    QVariantList list;
    for (std::size_t index = 0; index < interaction.steps.size(); ++index) {
        const InteractionStep& step = interaction.steps[index];
        list.push_back(QVariantMap{
            {u"index"_s, qint64(index)},
            {u"label"_s, step.label},
            {u"isAnswered"_s, step.isAnswered},
            {u"isSubmit"_s, step.isSubmit},
            {u"isActive"_s, interaction.presentation.activeStepIndex == qint64(index)},
            {u"display"_s, step.isAnswered ? u"✓ "_s + step.label : step.label},
        });
    }
    return list;
}

// On a review, whether every question has its answer, or which are still open.
QVariant reviewLine(const PendingInteraction& interaction)
{
    if (interaction.kind != InteractionKind::reviewSubmit)
        return null();
    QStringList open;
    for (const InteractionStep& step : interaction.steps)
        if (!step.isSubmit && !step.isAnswered)
            open << step.label;
    if (open.isEmpty())
        return u"Every answer is picked. Submit sends them all after a fresh read."_s;
    return u"Open: "_s + open.join(u", "_s) + u". Submit would send the rest without it."_s;
}

QVariant commandEvidence(const PendingInteraction& interaction)
{
    const auto* command =
        interaction.contentEvidence ? interaction.contentEvidence->command() : nullptr;
    if (!command)
        return null();
    return QVariantMap{{u"command"_s, command->command},
                       {u"environment"_s, optional(command->environment)},
                       {u"reason"_s, optional(command->reason)}};
}

QVariant diffEvidence(const PendingInteraction& interaction)
{
    const auto* diff = interaction.contentEvidence ? interaction.contentEvidence->diff() : nullptr;
    if (!diff)
        return null();
    QVariantList lines;
    for (const InteractionDiffLine& line : diff->lines)
        lines.push_back(QVariantMap{
            {u"lineNumber"_s,
             line.lineNumber ? QVariant(QString::number(*line.lineNumber)) : QVariant(QString())},
            {u"kind"_s, toString(line.kind)},
            {u"text"_s, line.text},
            {u"display"_s, (line.kind == InteractionDiffLineKind::addition  ? u"+ "_s
                            : line.kind == InteractionDiffLineKind::removal ? u"− "_s
                                                                            : u"  "_s)
                               + line.text},
        });
    return QVariantMap{{u"path"_s, diff->filePath},
                       {u"title"_s, u"Proposed changes to "_s + diff->filePath},
                       {u"lines"_s, lines}};
}

QVariant hardFloor(const Selection& selection, const PendingInteraction* interaction)
{
    const auto floor = selection.model.selectedHardFloor();
    if (!floor)
        return null();
    const bool armed = selection.model.selectedFloorArmed();
    const auto typed = selection.model.selectedFloorConfirmation();
    const bool isApproval = !interaction || interaction->kind == InteractionKind::approval;
    QString instruction;
    if (isApproval)
        instruction =
            u"No one-tap and no Enter shortcut. Type "_s + floor->target + u" to arm Approve."_s;
    else
        instruction = armed ? u"Armed: pick an option above."_s
                            : u"Options stay locked until the target is typed."_s;
    return QVariantMap{
        {u"category"_s, toString(floor->category)},
        {u"categoryTitle"_s, title(floor->category)},
        {u"target"_s, floor->target},
        {u"armed"_s, armed},
        {u"typed"_s, typed ? typed->text : QString()},
        {u"isApproval"_s, isApproval},
        {u"instruction"_s, instruction},
        {u"approveLabel"_s, approveTitle(floor->category)},
        {u"evidence"_s, floor->evidence},
    };
}

QString liveStatus(const PaneInteractionState& state)
{
    switch (state.phase) {
    case PaneInteractionPhase::reading: return u"Reading live prompt…"_s;
    case PaneInteractionPhase::responding:
    case PaneInteractionPhase::settling: return u"Waiting for terminal redraw…"_s;
    case PaneInteractionPhase::idle: break;
    }
    return u"Live checked before sending"_s;
}

void addPrompt(QVariantMap& card, const Selection& selection)
{
    const PendingInteraction* interaction =
        selection.state && selection.state->interaction ? &*selection.state->interaction : nullptr;
    const std::optional<InteractionDisplayModel> display =
        interaction ? std::optional(InteractionDisplayModel::from(*interaction)) : std::nullopt;
    const auto text = [&](auto member) { return display ? optional((*display).*member) : null(); };
    card[u"title"_s] = text(&InteractionDisplayModel::title);
    card[u"header"_s] = interaction ? optional(interaction->header) : null();
    card[u"body"_s] = text(&InteractionDisplayModel::body);
    card[u"progressText"_s] = text(&InteractionDisplayModel::progressText);
    card[u"userContextLine"_s] = text(&InteractionDisplayModel::userContextLine);
    card[u"selectedChoicePreview"_s] = text(&InteractionDisplayModel::selectedChoicePreview);
    card[u"supportMessage"_s] = text(&InteractionDisplayModel::supportMessage);
    card[u"choices"_s] = display ? choiceList(selection, *display) : QVariantList();
    const auto flag = [&](bool InteractionDisplayModel::*member) {
        return display && (*display).*member;
    };
    card[u"showsTextEntry"_s] = flag(&InteractionDisplayModel::showsTextEntry);
    card[u"showsBeginTextEntry"_s] = flag(&InteractionDisplayModel::showsBeginTextEntry);
    card[u"choicesAreActionable"_s] = flag(&InteractionDisplayModel::choicesAreActionable);
    card[u"showsCancel"_s] = flag(&InteractionDisplayModel::showsCancel);
    card[u"showsManualControls"_s] = flag(&InteractionDisplayModel::showsManualControls);
    card[u"exposesStructuredSubmit"_s] = flag(&InteractionDisplayModel::exposesStructuredSubmit);
    card[u"showsExplicitSubmit"_s] = flag(&InteractionDisplayModel::showsExplicitSubmit);
    card[u"approvalOnceAvailable"_s] = flag(&InteractionDisplayModel::approvalOnceAvailable);
    card[u"approvalPersistChoiceIndex"_s] =
        display ? optional(display->approvalPersistChoiceIndex) : null();
    card[u"kind"_s] = interaction ? QVariant(toString(interaction->kind)) : null();
    card[u"steps"_s] = interaction ? stepList(*interaction) : QVariantList();
    card[u"canGoBack"_s] = interaction && interaction->presentation.activeStepIndex.value_or(0) > 0;
    card[u"reviewLine"_s] = interaction ? reviewLine(*interaction) : null();
    // The evidence shows what the body would repeat as raw screen text.
    card[u"showsBody"_s] = interaction && !interaction->contentEvidence;
    card[u"command"_s] = interaction ? commandEvidence(*interaction) : null();
    card[u"diff"_s] = interaction ? diffEvidence(*interaction) : null();
    card[u"hardFloor"_s] = hardFloor(selection, interaction);
    card[u"liveStatus"_s] = interaction ? QVariant(liveStatus(*selection.state)) : null();
    card[u"liveStatusTone"_s] = !interaction ? null()
                                : selection.state->phase == PaneInteractionPhase::idle
                                    ? QVariant(u"green"_s)
                                    : QVariant(u"amber"_s);
    card[u"liveStatusHelp"_s] = u"The live prompt is checked again before a response is sent."_s;
    const bool unstructured = interaction && interaction->kind == InteractionKind::unknown;
    card[u"unstructuredNotice"_s] =
        unstructured
            ? QVariant(u"No structured prompt was detected. Manual controls remain available."_s)
            : null();
    card[u"shelfNotice"_s] = display && !display->choicesAreActionable && !display->showsTextEntry
                                 ? QVariant(u"No structured prompt was detected. Drive the "
                                            "selected terminal manually."_s)
                                 : null();

    const PaneInteractionDraft* draft = selection.state ? &selection.state->draft : nullptr;
    const bool stale = draft && draft->state == InteractionDraftState::stale;
    card[u"draftText"_s] = draft && !stale ? draft->text : QString();
    card[u"staleDraft"_s] =
        stale ? QVariant(QVariantMap{{u"text"_s, u"Saved draft belongs to an earlier prompt"_s},
                                     {u"draft"_s, draft->text}})
              : null();
}

QVariant escalation(const Selection& selection)
{
    const auto card = selection.model.selectedEscalation();
    if (!card)
        return null();
    QVariantList options;
    for (std::size_t index = 0; index < card->options.size(); ++index)
        options.push_back(QVariantMap{
            {u"index"_s, qint64(index)},
            {u"label"_s, card->options[index]},
            {u"description"_s, index < card->optionDescriptions.size()
                                   ? optional(card->optionDescriptions[index])
                                   : null()},
        });
    const QString worker =
        card->workerTab ? u"↳ Worker in tab "_s + *card->workerTab : u"↳ Worker"_s;
    const auto error = selection.model.escalationErrors().find(card->questionID);
    QVariant delivery = null();
    if (card->originPaneID && selection.runtime)
        delivery = u"Answer goes to recorded origin "_s
                   + paneName(*selection.runtime, *card->originPaneID) + u" ("_s
                   + *card->originPaneID
                   + u") as one message; completion is confirmed by the journal."_s;
    return QVariantMap{
        {u"questionID"_s, card->questionID},
        {u"header"_s, optional(card->header)},
        {u"question"_s, card->question},
        {u"options"_s, options},
        {u"workerLine"_s, worker + u" ("_s + card->workerPaneID
                              + u") asks for owning orchestrator "_s + card->orchestratorTitle},
        {u"status"_s, card->status},
        {u"canAnswer"_s, card->canAnswer},
        {u"deliveryNote"_s, card->canAnswer ? delivery : null()},
        {u"unanswerableNote"_s,
         card->canAnswer
             ? null()
             : QVariant(u"Delivery is not confirmed or recorded origin is missing. This "
                        "question remains unresolved. Jump to its owning orchestrator "
                        "for help."_s)},
        {u"sentAnswer"_s, optional(card->sentAnswer)},
        {u"statusLine"_s, card->sentAnswer ? QVariant(card->header.value_or(card->questionID)
                                                      + u": sent, awaiting origin"_s)
                                           : null()},
        {u"sentLine"_s, card->sentAnswer && card->originPaneID
                            ? QVariant(u"Sent to recorded origin "_s + *card->originPaneID)
                            : null()},
        {u"sentNote"_s, card->sentAnswer
                            ? QVariant(u"The origin can deliver the answer to the worker. This "
                                       "stays visible until the journal confirms completion."_s)
                            : null()},
        {u"error"_s,
         error == selection.model.escalationErrors().end() ? null() : QVariant(error->second)},
    };
}

QVariant idleShelf(const Selection& selection)
{
    const RollupStatus status = selection.item->status;
    if (status != RollupStatus::idle && status != RollupStatus::done)
        return null();
    const auto activity = selection.runtime->activity().state(selection.ref.paneID);
    const bool sending = activity && activity->promptPhase == PanePromptPhase::sending;
    return QVariantMap{
        {u"title"_s, u"Ready for a new task"_s},
        {u"detail"_s, u"Send a prompt below without leaving the orrel."_s},
        {u"draft"_s, selection.runtime->activity().promptDraft(selection.ref.paneID)},
        {u"sending"_s, sending},
        {u"sendingText"_s,
         sending ? QVariant(u"Confirming the agent is idle, then sending…"_s) : null()},
        {u"canSend"_s, selection.model.canSendIdlePrompt()},
        {u"error"_s, activity ? optional(activity->promptError) : null()},
    };
}

QVariant workingShelf(const Selection& selection)
{
    if (selection.item->status != RollupStatus::working)
        return null();
    const auto activity = selection.runtime->activity().state(selection.ref.paneID);
    const bool reading = activity && activity->outputPhase == PaneOutputPhase::reading;
    const auto output = activity ? activity->recentOutput : std::nullopt;
    const OrrelViewModel& model = selection.model;
    return QVariantMap{
        {u"title"_s, u"Recent output from working agent"_s},
        {u"output"_s, output && !output->trimmed().isEmpty() ? QVariant(*output) : null()},
        {u"placeholder"_s,
         reading ? u"Reading recent terminal output…"_s : u"No recent output is available yet."_s},
        {u"error"_s, activity ? optional(activity->outputError) : null()},
        {u"canInterrupt"_s, model.canInterrupt(selection.ref)},
        {u"interrupting"_s, model.isInterrupting(selection.ref)},
        {u"interruptingText"_s, u"Interrupting agent"_s},
        {u"confirmTitle"_s, u"Interrupt this agent?"_s},
        {u"confirmText"_s,
         u"This sends Escape once to "_s + selection.item->taskTitle
             + u". It may stop the current command or response, but it does not terminate the "
               "Herdr session or terminal."_s},
    };
}

QVariant modeControl(const Selection& selection)
{
    const QString agent = selection.pane->agent.value_or(QString());
    if (!AgentModeCycling::supports(agent))
        return null();
    const auto& modes = selection.runtime->agentModesByPane();
    const auto mode = modes.find(selection.ref.paneID);
    return QVariantMap{
        {u"name"_s, mode == modes.end() ? null() : QVariant(displayName(mode->second))},
        {u"help"_s, u"Sends Shift-Tab to the selected agent"_s},
    };
}

// Which of the card's bodies stands under the header.
QString content(const Selection& selection)
{
    if (!selection.pane || !selection.item)
        return selection.model.goneCard() ? u"gone"_s : u"loading"_s;
    if (selection.state && selection.state->interaction)
        return u"prompt"_s;
    if (selection.model.selectedEscalation())
        return u"escalation"_s;
    if (selection.state && selection.state->phase == PaneInteractionPhase::reading)
        return u"reading"_s;
    switch (selection.item->status) {
    case RollupStatus::working: return u"working"_s;
    case RollupStatus::idle:
    case RollupStatus::done: return u"idle"_s;
    case RollupStatus::blocked:
    case RollupStatus::unknown: break;
    }
    return u"none"_s;
}

QString contentText(const QString& content, const Selection& selection)
{
    if (content == u"loading"_s)
        return u"Loading agent…"_s;
    if (content == u"reading"_s)
        return u"Reading live prompt…"_s;
    if (content == u"none"_s)
        return u"No pending prompt was detected."_s;
    // A finished agent's last words, or that nothing waits.
    if (content == u"idle"_s)
        return selection.item->summary;
    return {};
}

} // namespace

QVariantMap card(const OrrelViewModel& model, Timestamp at)
{
    const std::optional<AgentRef>& selected = model.selected();
    if (!selected)
        return {};
    const SessionRuntime* runtime = model.runtime(selected->sessionID);
    const Selection selection{model,
                              *selected,
                              runtime,
                              runtime ? runtime->store().pane(selected->paneID) : nullptr,
                              model.displaySnapshot(at).selectedItem,
                              model.selectedState()};
    const bool present = selection.pane && selection.item;

    QVariantMap card;
    const QString shown = content(selection);
    card[u"ref"_s] = selected->id();
    card[u"content"_s] = shown;
    card[u"contentText"_s] = contentText(shown, selection);
    card[u"agentTitle"_s] = present ? QVariant(selection.item->taskTitle) : null();
    card[u"subtitle"_s] = present ? QVariant(model.cardSubtitle(*selected)) : null();
    card[u"agentName"_s] = present ? QVariant(selection.item->agentName) : null();
    card[u"modelName"_s] = present ? optional(selection.item->modelName) : null();
    card[u"agentLine"_s] =
        present ? QVariant(selection.item->modelName
                               ? selection.item->agentName + u" · "_s + *selection.item->modelName
                               : selection.item->agentName)
                : null();
    card[u"status"_s] = present ? QVariant(toString(selection.item->status)) : null();
    card[u"stateText"_s] = present ? QVariant(selection.item->stateText) : null();
    card[u"summary"_s] = present ? QVariant(selection.item->summary) : null();
    card[u"elapsedText"_s] = present ? optional(selection.item->elapsedText) : null();
    card[u"freshnessText"_s] = present ? optional(selection.item->freshnessText) : null();
    card[u"isRoot"_s] = model.isRoot(*selected);
    addPrompt(card, selection);
    card[u"escalation"_s] = present ? escalation(selection) : null();
    card[u"idleShelf"_s] = present ? idleShelf(selection) : null();
    card[u"working"_s] = present ? workingShelf(selection) : null();
    card[u"mode"_s] = present ? modeControl(selection) : null();

    const auto receipt = model.selectedReceipt();
    card[u"receipt"_s] = receipt
                             ? QVariant(QVariantMap{{u"headline"_s, receipt->headline},
                                                    {u"detail"_s, receipt->detail},
                                                    {u"footnote"_s, receipt->footnote},
                                                    {u"paneTitle"_s, optional(receipt->paneTitle)}})
                             : null();
    card[u"refusalNotice"_s] = optional(model.refusalNotice(*selected));
    const auto changed = model.changedUnderYou(*selected);
    card[u"changedUnderYou"_s] = optional(changed);
    card[u"changingNotice"_s] =
        changed ? QVariant(u"The pane now shows a different prompt. Your draft is kept."_s)
                : null();
    card[u"interruptError"_s] = optional(model.interruptError(*selected));
    card[u"lastError"_s] = optional(model.lastError());
    const auto& jump = model.jumpNotice();
    card[u"jumpNotice"_s] =
        jump ? QVariant(QVariantMap{{u"text"_s, jump->text},
                                    {u"attachCommand"_s, optional(jump->attachCommand)}})
             : null();
    const auto& gone = model.goneCard();
    card[u"goneCard"_s] =
        gone && !present ? QVariant(
            QVariantMap{{u"title"_s, gone->title},
                        {u"subtitle"_s, gone->subtitle},
                        {u"withdrawn"_s, u"Its question was withdrawn and nothing was sent."_s},
                        {u"countNote"_s, u"The ask left the Needs-you count."_s}})
                         : null();
    return card;
}

} // namespace SurfaceProjection
