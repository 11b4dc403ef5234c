#pragma once

#include "HerdrClient/Interaction/ScreenAdapter.h"

// Reads claude's prompts: permission approvals, edit approvals with their diff, single
// questions, multi-question wizards and their review screen.
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
};
