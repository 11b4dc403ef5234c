#pragma once

#include "HerdrClient/Interaction/ScreenAdapter.h"

#include <QStringList>

#include <optional>
#include <vector>

// Reads codex's command approval, its question wizard and the review of unanswered questions.
// Codex's screens are known by whole title lines and footers, and every parser gives up at the
// first thing that does not fit, handing the screen to the generic reading.
class CodexScreenAdapter final : public ScreenAdapter {
public:
    static constexpr QStringView codexAdapterID = u"codex-screen";

    struct Markers {
        static constexpr QStringView questionHeader =
            u"^\\s*Question\\s+\\d+/\\d+(?:\\s+\\(\\d+\\s+unanswered\\))?\\s*$";
        static constexpr QStringView addNotes = u"tab to add notes";
        static constexpr QStringView submitAll = u"enter to submit all";
        static constexpr QStringView notesFocus = u"› add notes";
        static constexpr QStringView reviewTitle = u"Submit with unanswered questions?";
        static constexpr QStringView reviewFooter = u"press enter to confirm or esc to go back";
        static constexpr QStringView approvalTitle =
            u"Would you like to run the following command?";
        static constexpr QStringView approvalFooter = u"press enter to confirm or esc to cancel";
    };

    // Each footer that marks a question screen, as the segments its line must hold.
    static const std::vector<std::vector<QStringView>>& questionFooters();

    struct ParsedOption {
        QString label;
        std::optional<QString> description;
        bool selected = false;
        std::optional<QString> shortcutKey;

        bool operator==(const ParsedOption&) const = default;
    };

    QString adapterID() const override;
    std::set<QString> agentIDs() const override;
    PendingInteraction parse(const ScreenAdapterInput& input) const override;

    // The parsers of the three screens; nothing when the screen does not fit exactly.
    static std::optional<PendingInteraction> parseApproval(const QString& text,
                                                           const ScreenAdapterInput& input);
    static std::optional<PendingInteraction> parseQuestion(const QString& text,
                                                           const ScreenAdapterInput& input);
    static std::optional<PendingInteraction> parseReview(const QString& text,
                                                         const ScreenAdapterInput& input);

    static bool hasQuestionFooter(const QString& lowered);
    // "› 1. Label  description": a number of any length, the label and the description parted
    // by the first run of two or more blanks.
    static std::optional<ParsedOption> parseOptionLine(QStringView line);
    // Options with descriptions that wrap under themselves.
    static std::vector<ParsedOption> parseOptions(const QStringList& lines);
    static bool isOptionLine(QStringView line);
    // The three rows of an approval, numbered exactly 1, 2 and 3, with their wrapped text joined
    // and their (y), (p), (esc) key; empty when the rows do not fit.
    static std::vector<ParsedOption> parseApprovalOptions(const QStringList& lines);
    // The text between the first two backticks of a label.
    static std::optional<QString> commandPrefix(const QString& label);
};
