#include "HerdrClient/Interaction/PromptClassifier.h"

#include "HerdrClient/Interaction/ScreenText.h"

using namespace Qt::StringLiterals;

namespace {

// An "m" ends a colour sequence only as a character of its own, not as the base of an accent.
bool isPlainM(QStringView text, qsizetype position)
{
    if (text[position] != u'm')
        return false;
    if (position + 1 >= text.size())
        return true;
    const QChar next = text[position + 1];
    return !next.isMark() && next != QChar(0x200D);
}

bool isSolidRule(const QString& trimmed, QStringView characters)
{
    return ScreenText::consistsOf(trimmed, characters) && ScreenText::characterCount(trimmed) >= 8;
}

} // namespace

PromptClassifier::PromptClassifier(ScreenAdapterRegistry registry) : m_registry(std::move(registry))
{
}

PendingInteraction PromptClassifier::classifyInteraction(
    QString paneID, std::optional<QString> agent, QString text,
    std::optional<QString> visibleANSIText, std::optional<quint64> paneRevision,
    std::optional<QString> currentTabLabel) const
{
    return m_registry.parse(ScreenAdapterInput{
        .paneID = std::move(paneID),
        .agentID = std::move(agent),
        .detectionText = std::move(text),
        .visibleANSIText = std::move(visibleANSIText),
        .paneRevision = paneRevision,
        .currentTabLabel = std::move(currentTabLabel),
    });
}

QString PromptClassifier::stripAnsi(QStringView text)
{
    // Past the last "m" no ESC can start a sequence, which keeps a screen full of stray ESCs
    // linear.
    qsizetype lastM = -1;
    for (qsizetype i = text.size() - 1; i >= 0; --i) {
        if (isPlainM(text, i)) {
            lastM = i;
            break;
        }
    }
    QString result;
    result.reserve(text.size());
    qsizetype i = 0;
    while (i < text.size()) {
        const QChar c = text[i];
        if (c != ScreenText::escape || lastM < i) {
            result += c;
            ++i;
            continue;
        }
        qsizetype end = i + 1;
        while (!isPlainM(text, end))
            ++end;
        i = end + 1;
    }
    return result;
}

std::optional<qsizetype> PromptClassifier::questionTitleIndex(const QStringList& lines,
                                                              qsizetype before)
{
    if (before < 1)
        return std::nullopt;
    for (qsizetype i = std::min(before, lines.size()) - 1; i >= 0; --i) {
        const QString trimmed = lines[i].trimmed();
        if (trimmed.isEmpty())
            continue;
        if (ScreenText::consistsOf(trimmed, ScreenText::titleSkippingRuleCharacters))
            continue;
        if (ScreenText::isTabRow(lines[i]))
            continue;
        return i;
    }
    return std::nullopt;
}

std::optional<QString> PromptClassifier::parseQuestionTitle(const QString& text)
{
    const QStringList lines = ScreenText::lines(text);
    for (qsizetype i = 0; i < lines.size(); ++i) {
        if (!parseOptionLine(lines[i]))
            continue;
        if (const auto title = questionTitleIndex(lines, i))
            return lines[*title].trimmed();
        return std::nullopt;
    }
    return std::nullopt;
}

std::optional<QString> PromptClassifier::latestInteractionRegion(const QString& text)
{
    const QStringList lines = ScreenText::lines(text);
    qsizetype firstOption = -1;
    for (qsizetype i = lines.size() - 1; i >= 0; --i) {
        const auto option = parseOptionLine(lines[i]);
        if (option && option->number == 1) {
            firstOption = i;
            break;
        }
    }
    if (firstOption < 0)
        return std::nullopt;
    const auto title = questionTitleIndex(lines, firstOption);
    if (!title)
        return std::nullopt;
    qsizetype start = *title;

    const auto region = [&] { return lines.sliced(start).join(u'\n'); };

    // An option row or a prompt footer above the title belongs to an earlier prompt that is still
    // drawn: the searches for this prompt's tab row and frame stop there, so that the two option
    // lists are never read as one.
    qsizetype floor = -1;
    for (qsizetype i = start - 1; i >= 0 && floor < 0; --i) {
        if (parseOptionLine(lines[i]) || isInteractionFooter(lines[i]))
            floor = i;
    }

    // A wizard begins at its tab row; a confirmation never has one.
    if (!lines[start].toLower().contains(u"do you want to")) {
        for (qsizetype i = start - 1; i > floor; --i) {
            if (ScreenText::isTabRow(lines[i])) {
                start = i;
                return region();
            }
        }
    }

    qsizetype rule = -1;
    for (qsizetype i = start - 1; i > floor; --i) {
        if (isSolidRule(lines[i].trimmed(), ScreenText::solidRuleCharacters)) {
            rule = i;
            break;
        }
    }
    if (rule < 0)
        return region();

    // A dashed rule is the bottom of a diff frame: keep the frame and the file name above it.
    constexpr QStringView dashed = u"\u254C";
    if (ScreenText::consistsOf(lines[rule].trimmed(), dashed)) {
        for (qsizetype i = rule - 1; i > floor; --i) {
            if (isSolidRule(lines[i].trimmed(), dashed)) {
                start = std::max<qsizetype>(i - 2, floor + 1);
                return region();
            }
        }
    }

    for (qsizetype i = rule + 1; i < start; ++i) {
        if (!lines[i].trimmed().isEmpty()) {
            start = std::max<qsizetype>(rule - 1, floor + 1);
            break;
        }
    }
    return region();
}

bool PromptClassifier::isInteractionFooter(QStringView line)
{
    const QString lowered = line.toString().toLower();
    // "ctrl+g to edit": the hint under claude's plan approval, which is no option's description.
    return lowered.contains(u"enter to select") || lowered.contains(u"to navigate")
           || lowered.contains(u"esc to cancel") || lowered.contains(u"esc to interrupt")
           || lowered.contains(u"ctrl+g to edit");
}

std::optional<QString> PromptClassifier::interactionBody(const QString& text,
                                                         const std::optional<QString>& title)
{
    static constexpr QStringView hints[] = {u"enter to select", u"arrow keys to navigate",
                                            u"tab/arrow keys to navigate", u"esc to cancel",
                                            u"tab to amend"};
    QStringList kept;
    for (const QString& line : ScreenText::lines(text)) {
        const QString trimmed = line.trimmed();
        if (trimmed.isEmpty() || (title && trimmed == *title))
            continue;
        if (ScreenText::consistsOf(trimmed, ScreenText::titleSkippingRuleCharacters))
            continue;
        if (parseOptionLine(trimmed))
            continue;
        const QString lowered = trimmed.toLower();
        if (std::any_of(std::begin(hints), std::end(hints),
                        [&](QStringView hint) { return lowered.contains(hint); }))
            continue;
        if (ScreenText::isTabRow(trimmed))
            continue;
        kept.push_back(trimmed);
    }
    if (kept.isEmpty())
        return std::nullopt;
    return kept.join(u'\n');
}
