// The tab row of a multi-question wizard, and which tab the screen highlights.
#include "HerdrClient/Interaction/PromptClassifier.h"

#include "HerdrClient/Interaction/ScreenText.h"

using namespace Qt::StringLiterals;

namespace {

QString withoutCharacters(QString text, QStringView characters)
{
    for (const QChar c : characters)
        text.remove(c);
    return text;
}

// The steps of one candidate tab row, or nothing when the row does not look like one.
std::optional<std::vector<ParsedTerminalStep>> stepsOfRow(
    const QString& row, const std::optional<QString>& currentLabel)
{
    constexpr qsizetype minimumPieces = 2;
    constexpr qsizetype maximumPieces = 8;
    constexpr qsizetype longestLabel = 40;
    QString cleaned = withoutCharacters(row, u"\u2190\u2192\r"); // ← → and stray returns
    QStringList pieces;
    for (const QString& piece : cleaned.split(u"  "_s)) {
        const QString trimmed = piece.trimmed();
        if (!trimmed.isEmpty())
            pieces.push_back(trimmed);
    }
    if (pieces.size() < minimumPieces || pieces.size() > maximumPieces)
        return std::nullopt;
    std::vector<ParsedTerminalStep> steps;
    for (const QString& piece : pieces) {
        ParsedTerminalStep step;
        step.isAnswered = ScreenText::startsWithCharacter(piece, u"\u2612")
                          || ScreenText::startsWithCharacter(piece, u"\u2611");
        step.isSubmit = piece.contains(u"Submit");
        step.label = withoutCharacters(piece, u"\u2612\u2611\u25A1\u2610\u2713\u2714").trimmed();
        if (!ScreenText::hasLetter(step.label)
            || ScreenText::characterCount(step.label) > longestLabel)
            return std::nullopt;
        step.isCurrent = currentLabel && step.label == *currentLabel;
        steps.push_back(std::move(step));
    }
    return steps;
}

} // namespace

std::vector<ParsedTerminalStep> PromptClassifier::parseWizardSteps(
    const QString& text, const std::optional<QString>& currentLabel)
{
    for (const QString& line : ScreenText::lines(text)) {
        const QString plain = stripAnsi(line);
        if (!ScreenText::isTabRow(plain))
            continue;
        auto steps = stepsOfRow(plain, currentLabel);
        if (steps && steps->size() > 1)
            return std::move(*steps);
    }
    return {};
}

std::optional<QString> PromptClassifier::highlightedTabLabel(QStringView ansiLine)
{
    // 24-bit or 256-colour: claude draws its active tab either way, depending on the terminal.
    const QString trueColour = QString(ScreenText::escape) + u"[48;2;"_s;
    const QString indexedColour = QString(ScreenText::escape) + u"[48;5;"_s;
    qsizetype from = 0;
    while (true) {
        const qsizetype trueAt = ansiLine.indexOf(trueColour, from);
        const qsizetype indexedAt = ansiLine.indexOf(indexedColour, from);
        if (trueAt < 0 && indexedAt < 0)
            return std::nullopt;
        const qsizetype sequence =
            trueAt < 0 ? indexedAt : (indexedAt < 0 ? trueAt : std::min(trueAt, indexedAt));
        const qsizetype m = ansiLine.indexOf(u'm', sequence + trueColour.size());
        if (m < 0)
            return std::nullopt;
        qsizetype end = ansiLine.indexOf(ScreenText::escape, m + 1);
        if (end < 0)
            end = ansiLine.size();
        const QString label = withoutCharacters(ansiLine.sliced(m + 1, end - m - 1).toString(),
                                                u"\u2612\u2611\u25A1\u2610\u2714\u2713\u203A\u00BB")
                                  .trimmed();
        if (ScreenText::hasLetter(label))
            return label;
        from = end;
    }
}
