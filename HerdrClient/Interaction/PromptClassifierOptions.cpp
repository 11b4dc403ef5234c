// The numbered rows of a prompt: one row, the rows with their descriptions, and a preview box
// drawn beside them.
#include "HerdrClient/Interaction/PromptClassifier.h"

#include "HerdrClient/Interaction/ScreenText.h"

using namespace Qt::StringLiterals;

namespace {

bool isASCIIDigit(QChar c)
{
    return c >= u'0' && c <= u'9';
}

bool startsWithAny(QStringView text, QStringView characters)
{
    for (const QChar c : characters) {
        if (ScreenText::startsWithCharacter(text, QStringView(&c, 1)))
            return true;
    }
    return false;
}

// The UTF-16 position of the first box top corner in the line, or -1.
qsizetype firstTopCorner(QStringView line)
{
    for (qsizetype i = 0; i < line.size(); ++i) {
        if (ScreenText::boxTopCorners.contains(line[i]))
            return i;
    }
    return -1;
}

} // namespace

std::optional<ParsedOptionLine> PromptClassifier::parseOptionLine(QStringView line)
{
    QString text = ScreenText::trimmedBlanks(line);
    bool selected = false;
    for (const QStringView glyph : ScreenText::cursorGlyphs) {
        if (ScreenText::startsWithCharacter(text, glyph)) {
            text = text.sliced(glyph.size()).trimmed();
            selected = true;
        }
    }
    // One digit, then the dot: "10." is no option row.
    if (text.size() < 2 || !isASCIIDigit(text[0]) || text[1] != u'.')
        return std::nullopt;
    const int number = text[0].unicode() - u'0';
    QString remainder = text.sliced(2).trimmed();

    std::optional<bool> checked;
    if (remainder.startsWith(u'[')) {
        const qsizetype close = remainder.indexOf(u']');
        if (close > 0) {
            const QString box = remainder.sliced(1, close - 1).trimmed();
            checked = box.contains(u"\u2713") || box.contains(u"\u2714")
                      || box.compare(u"x", Qt::CaseInsensitive) == 0;
            remainder = remainder.sliced(close + 1).trimmed();
        }
    }
    // A trailing mark is the picker's current value, which is where the cursor stands.
    for (const QStringView mark : {u"\u2714", u"\u2713"}) {
        if (ScreenText::endsWithCharacter(remainder, mark)) {
            remainder.chop(mark.size());
            remainder = remainder.trimmed();
            selected = true;
        }
    }
    if (const qsizetype esc = remainder.lastIndexOf(u"(esc)", -1, Qt::CaseInsensitive); esc >= 0)
        remainder = remainder.first(esc).trimmed();
    if (remainder.isEmpty())
        return std::nullopt;
    return ParsedOptionLine{number, remainder, selected, checked};
}

QStringList PromptClassifier::optionDescriptionLines(const QStringList& lines, qsizetype after)
{
    QStringList description;
    for (qsizetype i = after + 1; i < lines.size(); ++i) {
        const QString& line = lines[i];
        const QString trimmed = line.trimmed();
        if (parseOptionLine(line) || isInteractionFooter(trimmed))
            break;
        if (!line.isEmpty() && !line.startsWith(u"  ") && !line.startsWith(u'\t'))
            break;
        description.push_back(trimmed);
    }
    while (!description.isEmpty() && description.last().isEmpty())
        description.removeLast();
    return description;
}

std::vector<ParsedTerminalOption> PromptClassifier::parseNumberedOptions(const QString& text)
{
    const QStringList lines = splitChoiceAndPreviewColumns(ScreenText::lines(text)).choiceLines;
    std::vector<ParsedTerminalOption> options;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const auto parsed = parseOptionLine(lines[i]);
        if (!parsed)
            continue;
        ParsedTerminalOption option;
        option.label = parsed->label;
        const QStringList description = optionDescriptionLines(lines, i);
        if (!description.isEmpty())
            option.description = description.join(u'\n');
        option.isSelected = parsed->selected;
        option.isChecked = parsed->checked;
        const QString lowered = option.label.toLower();
        option.isTextEntry =
            lowered.contains(u"type something") || lowered.contains(u"chat about")
            || (option.description
                && option.description->compare(u"Submit", Qt::CaseInsensitive) == 0);
        options.push_back(std::move(option));
    }
    return options;
}

NumberedOptionColumnLayout PromptClassifier::splitChoiceAndPreviewColumns(const QStringList& lines)
{
    // Corners nearer than this to the left edge belong to the prompt itself, not to a preview.
    constexpr qsizetype minimumColumn = 12;
    std::optional<qsizetype> column;
    for (const QString& line : lines) {
        if (!parseOptionLine(line))
            continue;
        const qsizetype corner = firstTopCorner(line);
        if (corner < 0)
            continue;
        const qsizetype offset = ScreenText::characterIndexAt(line, corner);
        if (offset >= minimumColumn) {
            column = offset;
            break;
        }
    }
    if (!column)
        return {lines, std::nullopt};

    NumberedOptionColumnLayout layout;
    QStringList right;
    for (const QString& line : lines) {
        const qsizetype cut = ScreenText::positionOfCharacter(line, *column);
        layout.choiceLines.push_back(line.first(cut));
        right.push_back(line.sliced(cut));
    }
    QStringList preview = cleanBoxPreview(right);
    if (!preview.isEmpty())
        layout.previewLines = std::move(preview);
    return layout;
}

QStringList PromptClassifier::cleanBoxPreview(const QStringList& lines)
{
    QStringList kept;
    bool inside = false;
    for (const QString& line : lines) {
        QString text = ScreenText::trimmedBlanks(line);
        if (text.isEmpty())
            continue;
        if (!inside) {
            inside = startsWithAny(text, ScreenText::boxTopCorners);
            continue;
        }
        if (startsWithAny(text, ScreenText::boxBottomCorners))
            break;
        if (!startsWithAny(text, ScreenText::boxSides))
            continue;
        text = text.sliced(1).trimmed();
        if (!text.isEmpty() && ScreenText::boxSides.contains(text.back())) {
            text.chop(1);
            text = text.trimmed();
        }
        if (!text.isEmpty())
            kept.push_back(text);
    }
    return kept;
}

std::optional<QString> PromptClassifier::selectedChoicePreview(const QString& text)
{
    const auto layout = splitChoiceAndPreviewColumns(ScreenText::lines(text));
    if (!layout.previewLines)
        return std::nullopt;
    return layout.previewLines->join(u'\n');
}
