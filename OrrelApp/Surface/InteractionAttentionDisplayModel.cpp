#include "OrrelApp/Surface/InteractionAttentionDisplayModel.h"

#include "OrrelApp/Surface/InteractionDisplayModel.h"

#include <QStringList>

using namespace Qt::StringLiterals;

namespace {

struct StateTexts {
    QString stateText;
    QString summary;
};

std::optional<QString> collapsedNonEmpty(const std::optional<QString>& text)
{
    if (!text)
        return std::nullopt;
    QString collapsed = text->simplified();
    if (collapsed.isEmpty())
        return std::nullopt;
    return collapsed;
}

QString promptSummary(const PendingInteraction& interaction)
{
    for (const auto& candidate : {InteractionDisplayModel::progressTextFor(interaction.progress),
                                  interaction.title, interaction.body}) {
        if (auto text = collapsedNonEmpty(candidate))
            return *text;
    }
    return u"Prompt is ready for review."_s;
}

StateTexts describe(const InteractionAttentionDisplayModel::Input& input)
{
    if (const auto& state = input.state) {
        if (auto error = collapsedNonEmpty(state->error))
            return {u"error"_s, *error};
        if (state->draft.state == InteractionDraftState::stale)
            return {u"draft needs review"_s, u"The saved draft belongs to an earlier prompt."_s};
        switch (state->phase) {
        case PaneInteractionPhase::reading: return {u"reading"_s, u"Reading the live prompt…"_s};
        case PaneInteractionPhase::responding:
            return {u"responding"_s, u"Revalidating and sending…"_s};
        case PaneInteractionPhase::settling:
            return {u"settling"_s, u"Waiting for the terminal to settle…"_s};
        case PaneInteractionPhase::idle: break;
        }
        if (const auto& interaction = state->interaction) {
            const bool manual = interaction->kind == InteractionKind::unknown;
            return {manual ? u"manual input"_s : u"needs input"_s, promptSummary(*interaction)};
        }
    }
    switch (input.status) {
    case RollupStatus::done:
        return {u"finished"_s, collapsedNonEmpty(input.completionSummary)
                                   .value_or(u"Finished. Jump to review the final output."_s)};
    case RollupStatus::idle: return {u"idle"_s, u"No pending interaction."_s};
    case RollupStatus::unknown: return {u"unknown"_s, u"No pending interaction."_s};
    case RollupStatus::working: return {u"working"_s, u"Agent is working — no input needed."_s};
    case RollupStatus::blocked:
        // Blocked before the prompt was read: the read is on its way.
        return {u"needs input"_s, u"Reading the live prompt…"_s};
    }
    return {u"unknown"_s, u"No pending interaction."_s};
}

std::optional<QString> freshness(const std::optional<PaneInteractionState>& state, Timestamp now)
{
    if (!state || !state->lastReadAt)
        return std::nullopt;
    if (secondsBetween(*state->lastReadAt, now) >= 60.0)
        return u"read "_s + InteractionAttentionDisplayModel::duration(*state->lastReadAt, now)
               + u" ago"_s;
    return u"fresh <1m"_s;
}

} // namespace

InteractionAttentionDisplayModel InteractionAttentionDisplayModel::make(const Input& input)
{
    auto texts = describe(input);
    InteractionAttentionDisplayModel model;
    model.ref = input.ref;
    model.sessionLabel = input.sessionLabel;
    model.isRemote = input.isRemote;
    model.taskTitle = input.taskTitle;
    model.agentName = input.agentName;
    model.modelName = input.modelName;
    model.workspaceLabel = input.workspaceLabel;
    model.tabTitle = input.tabTitle;
    model.status = input.status;
    model.stateText = std::move(texts.stateText);
    model.summary = std::move(texts.summary);
    model.activeSince = input.activeSince;
    if (input.activeSince)
        model.elapsedText = duration(*input.activeSince, input.now) + u" elapsed"_s;
    model.freshnessText = freshness(input.state, input.now);
    model.isSelected = input.isSelected;
    return model;
}

QString InteractionAttentionDisplayModel::duration(Timestamp from, Timestamp to)
{
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(to - from).count();
    if (seconds < 60)
        return u"<1m"_s;
    if (seconds < 3600)
        return u"%1m"_s.arg(seconds / 60);
    const auto hours = seconds / 3600;
    const auto minutes = (seconds % 3600) / 60;
    if (minutes == 0)
        return u"%1h"_s.arg(hours);
    return u"%1h %2m"_s.arg(hours).arg(minutes);
}

QString InteractionAttentionDisplayModel::accessibilityLabel() const
{
    QStringList parts;
    const auto add = [&parts](const QString& prefix, const std::optional<QString>& text) {
        if (text && !text->isEmpty())
            parts.append(prefix + *text);
    };
    add({}, agentName);
    add(u"in "_s, workspaceLabel);
    add({}, tabTitle);
    add({}, modelName);
    add(u"session "_s, sessionLabel);
    add(u"pane "_s, paneID());
    add({}, stateText);
    add({}, summary);
    add({}, elapsedText);
    add({}, freshnessText);
    return parts.join(u", "_s);
}
