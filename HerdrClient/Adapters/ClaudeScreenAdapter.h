#pragma once

#include "HerdrClient/Interaction/ScreenAdapter.h"

// Reads claude's prompts: permission approvals, edit approvals with their diff, single
// questions, multi-question wizards and their review screen, plan mode's confirmations and the
// dialogs whose rows have no numbers.
class ClaudeScreenAdapter final : public ScreenAdapter {
public:
    static constexpr QStringView claudeAdapterID = u"claude-screen";

    QString adapterID() const override;
    std::set<QString> agentIDs() const override;
    PendingInteraction parse(const ScreenAdapterInput& input) const override;

    // The diff of an edit approval: the lines between the two dashed frames below "Edit file".
    // Nothing when the frame is incomplete or the diff has no changed line.
    static std::optional<InteractionDiffEvidence> parseDiffEvidence(const QString& region);
    // One numbered diff row; nothing for a row without a line number.
    static std::optional<InteractionDiffLine> parseDiffLine(const QString& line);
    // A known dialog whose rows carry no numbers, answered with arrows; nothing when the screen
    // does not end in one.
    static std::optional<PendingInteraction> parseCursorDialog(const ScreenAdapterInput& input,
                                                               const QString& text);
};
