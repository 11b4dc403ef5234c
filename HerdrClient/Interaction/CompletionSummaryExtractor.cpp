#include "HerdrClient/Interaction/CompletionSummaryExtractor.h"

#include "HerdrClient/Interaction/ScreenText.h"

#include <QRegularExpression>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr QStringView inputBoxGlyphs[] = {u"\u203A", u"\u276F"}; // › ❯
constexpr QStringView toolResultGlyph = u"\u2514";               // └
constexpr QStringView ruleCharacters = u"\u2500\u2501\u2550";    // ─ ━ ═

// The text behind a leading bullet, or nothing when the text has none.
std::optional<QStringView> behindBullet(QStringView text)
{
    for (const QStringView bullet : CompletionSummaryExtractor::bullets) {
        if (text.startsWith(bullet))
            return text.mid(bullet.size());
    }
    return std::nullopt;
}

bool beginsWithNoise(QStringView text)
{
    const QString lower = text.toString().toLower();
    return std::ranges::any_of(CompletionSummaryExtractor::noisePrefixes,
                               [&](QStringView prefix) { return lower.startsWith(prefix); });
}

bool beginsWithAny(QStringView text, const auto& glyphs)
{
    return std::ranges::any_of(
        glyphs, [&](QStringView glyph) { return ScreenText::startsWithCharacter(text, glyph); });
}

} // namespace

bool CompletionSummaryExtractor::isMeaningful(QStringView line)
{
    const QStringView trimmed = line.trimmed();
    if (trimmed.isEmpty() || ScreenText::startsWithCharacter(trimmed, toolResultGlyph))
        return false;
    return std::ranges::any_of(trimmed,
                               [](QChar c) { return !c.isSpace() && !ruleCharacters.contains(c); });
}

std::optional<QString> CompletionSummaryExtractor::extract(const QString& from, int characterLimit)
{
    QStringList lines = ScreenText::lines(ScreenText::normalizedLineEndings(from));

    // Everything from the input box down is what the person types, not what the agent said.
    for (qsizetype i = lines.size() - 1; i >= 0; --i) {
        if (beginsWithAny(QStringView(lines[i]).trimmed(), inputBoxGlyphs)) {
            lines.resize(i);
            break;
        }
    }
    while (!lines.isEmpty() && !isMeaningful(lines.last()))
        lines.removeLast();
    if (lines.isEmpty())
        return std::nullopt;

    std::optional<qsizetype> start;
    for (qsizetype i = lines.size() - 1; i >= 0 && !start; --i) {
        const auto prose = behindBullet(QStringView(lines[i]).trimmed());
        if (prose && !beginsWithNoise(*prose))
            start = i;
    }
    if (!start) {
        start = 0;
        for (qsizetype i = lines.size() - 1; i >= 0; --i) {
            if (lines[i].trimmed().isEmpty()) {
                start = i + 1;
                break;
            }
        }
        const QStringView first = QStringView(lines[*start]).trimmed();
        if (beginsWithNoise(behindBullet(first).value_or(first)))
            return std::nullopt;
    }

    QStringList kept;
    for (qsizetype i = *start; i < lines.size(); ++i) {
        if (isMeaningful(lines[i]))
            kept.append(lines[i].trimmed());
    }
    QString summary = kept.join(u' ');
    if (const auto prose = behindBullet(summary))
        summary = prose->toString();
    static const QRegularExpression whiteSpace(u"\\s+"_s,
                                               QRegularExpression::UseUnicodePropertiesOption);
    summary.replace(whiteSpace, u" "_s);
    summary = summary.trimmed();
    if (summary.isEmpty() || ScreenText::startsWithCharacter(summary, toolResultGlyph))
        return std::nullopt;

    const qsizetype limit = std::max(1, characterLimit);
    if (ScreenText::characterCount(summary) <= limit)
        return summary;
    const qsizetype cut = ScreenText::positionOfCharacter(summary, limit - 1);
    return ScreenText::trimmedBlanks(QStringView(summary).left(cut)) + u"\u2026"_s;
}
