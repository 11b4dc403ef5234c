#pragma once

#include "HerdrClient/Interaction/PendingInteraction.h"
#include "HerdrClient/Interaction/ScreenAdapterRegistry.h"

#include <QString>
#include <QStringList>
#include <QStringView>

#include <optional>
#include <vector>

// One numbered row as `parseOptionLine` reads it.
struct ParsedOptionLine {
    int number = 0;
    QString label;
    bool selected = false;
    std::optional<bool> checked; // absent where the row has no check box

    bool operator==(const ParsedOptionLine&) const = default;
};

struct ParsedTerminalOption {
    QString label;
    std::optional<QString> description;
    bool isSelected = false;
    std::optional<bool> isChecked;
    bool isTextEntry = false;

    bool operator==(const ParsedTerminalOption&) const = default;
};

struct ParsedTerminalStep {
    QString label;
    bool isAnswered = false;
    bool isSubmit = false;
    bool isCurrent = false;

    bool operator==(const ParsedTerminalStep&) const = default;
};

// Options on the left and, when the screen draws one, a boxed preview on the right.
struct NumberedOptionColumnLayout {
    QStringList choiceLines;
    std::optional<QStringList> previewLines;

    bool operator==(const NumberedOptionColumnLayout&) const = default;
};

// Turns a pane's text into a prompt through the adapter of its agent, and holds the text rules
// that more than one reader shares. Every rule is a pure function over saved text.
class PromptClassifier {
public:
    explicit PromptClassifier(ScreenAdapterRegistry registry);

    const ScreenAdapterRegistry& registry() const { return m_registry; }

    PendingInteraction classifyInteraction(QString paneID, std::optional<QString> agent,
                                           QString text, std::optional<QString> visibleANSIText,
                                           std::optional<quint64> paneRevision,
                                           std::optional<QString> currentTabLabel) const;

    // Removes colour: from each ESC through the next "m". An ESC with no "m" after it stays.
    // Deliberately crude (any other escape is eaten up to the next "m"): the fingerprint rests
    // on exactly this behaviour.
    static QString stripAnsi(QStringView text);

    // The live prompt: from its title (or the frame around it) to the end of the text, so that
    // old prompts in the scrollback are left out. Nothing when no row is numbered 1.
    static std::optional<QString> latestInteractionRegion(const QString& text);

    static std::vector<ParsedTerminalOption> parseNumberedOptions(const QString& text);
    static std::optional<ParsedOptionLine> parseOptionLine(QStringView line);
    static std::optional<QString> parseQuestionTitle(const QString& text);
    static std::optional<qsizetype> questionTitleIndex(const QStringList& lines, qsizetype before);
    static std::vector<ParsedTerminalStep> parseWizardSteps(
        const QString& text, const std::optional<QString>& currentLabel);
    static std::optional<QString> interactionBody(const QString& text,
                                                  const std::optional<QString>& title);
    static QStringList optionDescriptionLines(const QStringList& lines, qsizetype after);
    static bool isInteractionFooter(QStringView line);
    static NumberedOptionColumnLayout splitChoiceAndPreviewColumns(const QStringList& lines);
    static QStringList cleanBoxPreview(const QStringList& lines);
    static std::optional<QString> selectedChoicePreview(const QString& text);
    // The text behind the first 24-bit background colour that holds a letter.
    static std::optional<QString> highlightedTabLabel(QStringView ansiLine);

private:
    ScreenAdapterRegistry m_registry;
};
