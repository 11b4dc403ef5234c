#include "HerdrClient/Interaction/RecentOutputExtractor.h"

#include "HerdrClient/Interaction/ScreenText.h"

#include <algorithm>

QString RecentOutputExtractor::extract(const QString& from, int lineLimit, int characterLimit)
{
    QStringList lines = ScreenText::lines(ScreenText::normalizedLineEndings(from));
    const auto blank = [](const QString& line) {
        return ScreenText::trimmedBlanks(line).isEmpty();
    };
    while (!lines.isEmpty() && blank(lines.first()))
        lines.removeFirst();
    while (!lines.isEmpty() && blank(lines.last()))
        lines.removeLast();
    const qsizetype keep = std::max(1, lineLimit);
    if (lines.size() > keep)
        lines.remove(0, lines.size() - keep);
    const QString text = lines.join(u'\n');

    const qsizetype limit = std::max(1, characterLimit);
    const qsizetype count = ScreenText::characterCount(text);
    if (count <= limit)
        return text;
    QString tail = text.mid(ScreenText::positionOfCharacter(text, count - limit));
    const qsizetype newline = tail.indexOf(u'\n');
    if (newline > 0 && newline + 1 < tail.size())
        tail.remove(0, newline + 1);
    return tail;
}
