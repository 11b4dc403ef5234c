#pragma once

#include "HerdrClient/Interaction/ScreenAdapter.h"

#include <QRegularExpression>
#include <QStringList>

#include <optional>
#include <set>
#include <vector>

// Reads codex's command and edit approvals, its question wizard, the review of unanswered
// questions, the plan prompt, the folder-trust dialog and the model notice. Codex's screens are
// known by whole title lines and footers, and every parser gives up at the first thing that does
// not fit, handing the screen to the generic reading.
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
        static constexpr QStringView editApprovalTitle =
            u"Would you like to make the following edits?";
        static constexpr QStringView clearNotes = u"tab or esc to clear notes";
        static constexpr QStringView planTitle = u"Implement this plan?";
        static constexpr QStringView planFooter = u"enter select · esc back";
        static constexpr QStringView trustHeader = u"Folder access";
        static constexpr QStringView trustTitle = u"Trust this folder?";
        static constexpr QStringView trustFooter = u"enter continue · esc back";
        static constexpr QStringView noticeFooter = u"enter/esc confirm · ^c quit";
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

    // The parsers of the screens; nothing when the screen does not fit exactly.
    static std::optional<PendingInteraction> parseApproval(const QString& text,
                                                           const ScreenAdapterInput& input);
    static std::optional<PendingInteraction> parseQuestion(const QString& text,
                                                           const ScreenAdapterInput& input);
    static std::optional<PendingInteraction> parseReview(const QString& text,
                                                         const ScreenAdapterInput& input);
    static std::optional<PendingInteraction> parseEditApproval(const QString& text,
                                                               const ScreenAdapterInput& input);
    static std::optional<PendingInteraction> parsePlanPrompt(const QString& text,
                                                             const ScreenAdapterInput& input);
    static std::optional<PendingInteraction> parseFolderTrust(const QString& text,
                                                              const ScreenAdapterInput& input);
    static std::optional<PendingInteraction> parseModelNotice(const QString& text,
                                                              const ScreenAdapterInput& input);

    // The diff block codex draws right above an edit approval whose title stands at
    // `titleIndex`: its heading must name `destination` (or its tail) and all its lines must be
    // diff lines; nothing otherwise.
    static std::optional<InteractionDiffEvidence> parseEditDiff(
        const QStringList& lines, qsizetype titleIndex, const std::optional<QString>& destination);
    // "    3 -  text": the line number, the sign and the text behind it.
    static std::optional<InteractionDiffLine> parseDiffLine(QStringView line);

    // The pieces of every line split at " | ", trimmed: the segments of codex's footers.
    static std::set<QString> footerSegments(const QString& lowered);
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
    // The same with the key suffixes `shortcut` recognises (group 1 is the key).
    static std::vector<ParsedOption> parseApprovalOptions(const QStringList& lines,
                                                          const QRegularExpression& shortcut);

    // An approval from its title down to the confirm footer, with rows numbered 1 to 3.
    struct ApprovalFrame {
        qsizetype titleIndex = 0;
        QStringList slice;
        std::vector<ParsedOption> options;
        bool hasAllShortcuts = false;
        QStringList bodyLines;
    };
    // The last approval titled `title`, when its rows carry exactly `keys`' count; whether they
    // carry exactly `keys`, in order, is `hasAllShortcuts`.
    static std::optional<ApprovalFrame> approvalFrame(const QStringList& lines, QStringView title,
                                                      const QRegularExpression& shortcut,
                                                      const std::vector<QString>& keys);
    static PendingInteraction approvalReading(const ApprovalFrame& frame, const QString& title,
                                              std::vector<InteractionChoice> choices,
                                              const QString& text, const ScreenAdapterInput& input);
    // The text between the first two backticks of a label.
    static std::optional<QString> commandPrefix(const QString& label);
};
