#include "HerdrClient/Interaction/ScreenText.h"

#include <QTextBoundaryFinder>

using namespace Qt::StringLiterals;

namespace {

// A character that attaches to the one before it and so belongs to the same grapheme.
bool extendsPrevious(QStringView text, qsizetype position)
{
    if (position >= text.size())
        return false;
    const char32_t code = QChar::surrogateToUcs4(
        text[position], position + 1 < text.size() ? text[position + 1] : QChar());
    const QChar c = text[position];
    if (c.isHighSurrogate()) {
        const auto category = QChar::category(code);
        return category == QChar::Mark_NonSpacing || category == QChar::Mark_SpacingCombining
               || category == QChar::Mark_Enclosing || (code >= 0x1F3FB && code <= 0x1F3FF);
    }
    return c.isMark() || c == QChar(0x200C) || c == QChar(0x200D);
}

// Most screen text is plain: without marks, joiners, surrogates or a carriage return every
// UTF-16 unit is a character of its own and the boundary finder can be skipped.
bool isSimple(QStringView text)
{
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        if (c.isSurrogate() || c.isMark() || u == 0x200C || u == 0x200D || u == u'\r'
            || (u >= 0x1100 && u <= 0x11FF) || u == 0xFF9E || u == 0xFF9F)
            return false;
    }
    return true;
}

} // namespace

namespace ScreenText {

bool containsTabBox(QStringView line)
{
    for (const QChar box : tabBoxes) {
        if (line.contains(box))
            return true;
    }
    return false;
}

bool isTabRow(QStringView line)
{
    return line.contains(u"Submit") && containsTabBox(line);
}

QString normalizedLineEndings(QString text)
{
    text.replace(u"\r\n"_s, u"\n"_s);
    text.replace(u'\r', u'\n');
    return text;
}

QStringList lines(const QString& text)
{
    return text.split(u'\n', Qt::KeepEmptyParts);
}

QString trimmedBlanks(QStringView text)
{
    qsizetype start = 0;
    qsizetype end = text.size();
    while (start < end && (text[start] == u' ' || text[start] == u'\t'))
        ++start;
    while (end > start && (text[end - 1] == u' ' || text[end - 1] == u'\t'))
        --end;
    return text.mid(start, end - start).toString();
}

qsizetype characterCount(QStringView text)
{
    if (isSimple(text))
        return text.size();
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text.data(), text.size());
    qsizetype count = 0;
    while (finder.toNextBoundary() != -1)
        ++count;
    return count;
}

qsizetype positionOfCharacter(QStringView text, qsizetype characters)
{
    if (characters <= 0)
        return 0;
    if (isSimple(text))
        return std::min(characters, text.size());
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text.data(), text.size());
    qsizetype count = 0;
    qsizetype position = 0;
    while ((position = finder.toNextBoundary()) != -1) {
        if (++count == characters)
            return position;
    }
    return text.size();
}

qsizetype characterIndexAt(QStringView text, qsizetype position)
{
    const QStringView head = text.first(std::clamp<qsizetype>(position, 0, text.size()));
    if (isSimple(text))
        return head.size();
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text.data(), text.size());
    qsizetype count = 0;
    qsizetype boundary = 0;
    while ((boundary = finder.toNextBoundary()) != -1 && boundary <= position)
        ++count;
    return count;
}

bool startsWithCharacter(QStringView text, QStringView glyph)
{
    return text.startsWith(glyph) && !extendsPrevious(text, glyph.size());
}

bool endsWithCharacter(QStringView text, QStringView glyph)
{
    if (!text.endsWith(glyph))
        return false;
    const qsizetype start = text.size() - glyph.size();
    return start == 0 || text[start - 1] != QChar(0x200D);
}

bool hasLetter(QStringView text)
{
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text[i];
        if (c.isHighSurrogate() && i + 1 < text.size() && text[i + 1].isLowSurrogate()) {
            if (QChar::isLetter(QChar::surrogateToUcs4(c, text[i + 1])))
                return true;
            ++i;
        } else if (c.isLetter()) {
            return true;
        }
    }
    return false;
}

bool consistsOf(QStringView text, QStringView allowed)
{
    if (text.isEmpty())
        return false;
    for (const QChar c : text) {
        if (!allowed.contains(c))
            return false;
    }
    return true;
}

std::optional<qint64> integerValue(QStringView text)
{
    qsizetype i = 0;
    bool negative = false;
    if (!text.isEmpty() && (text[0] == u'+' || text[0] == u'-')) {
        negative = text[0] == u'-';
        ++i;
    }
    if (i >= text.size())
        return std::nullopt;
    qint64 value = 0;
    for (; i < text.size(); ++i) {
        const QChar c = text[i];
        if (c < u'0' || c > u'9')
            return std::nullopt;
        const int digit = c.unicode() - u'0';
        if (__builtin_mul_overflow(value, 10, &value)
            || __builtin_add_overflow(value, negative ? -digit : digit, &value))
            return std::nullopt;
    }
    return value;
}

QRegularExpression pattern(const QString& source, QRegularExpression::PatternOptions options)
{
    return QRegularExpression(source, options | QRegularExpression::UseUnicodePropertiesOption);
}

} // namespace ScreenText
