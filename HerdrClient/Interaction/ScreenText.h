#pragma once

#include <QRegularExpression>
#include <QString>
#include <QStringList>
#include <QStringView>

#include <optional>

// Small text rules every screen reader shares. Where a screen rule counts characters it means
// user-perceived characters (grapheme clusters), not UTF-16 units.
namespace ScreenText {

// Glyphs the screens draw.
inline constexpr QStringView cursorGlyphs[] = {u"\u276F", u"\u203A", u">"};  // ❯ › >
inline constexpr QStringView tabBoxes = u"\u25A1\u2610\u2612\u2611";         // □ ☐ ☒ ☑
inline constexpr QStringView answeredTabBoxes = u"\u2612\u2611";             // ☒ ☑
inline constexpr QStringView solidRuleCharacters = u"\u2500\u254C\u2014";    // ─ ╌ —
inline constexpr QStringView titleSkippingRuleCharacters = u"\u2500\u2014-"; // ─ — -
inline constexpr QStringView boxTopCorners = u"\u250C\u256D\u250F";          // ┌ ╭ ┏
inline constexpr QStringView boxBottomCorners = u"\u2514\u2570\u2517";       // └ ╰ ┗
inline constexpr QStringView boxSides = u"\u2502\u2503";                     // │ ┃
inline constexpr QChar escape = QChar(0x1B);

// True when the line holds one of the tab boxes.
bool containsTabBox(QStringView line);

// True for a line of a wizard's tab row: it names "Submit" and holds a tab box.
bool isTabRow(QStringView line);

// "\r\n" and then every remaining "\r" become "\n".
QString normalizedLineEndings(QString text);

// The lines of a text split at "\n", empty ones kept.
QStringList lines(const QString& text);

// Without blanks and tabs at either end (and nothing else).
QString trimmedBlanks(QStringView text);

// The number of grapheme clusters.
qsizetype characterCount(QStringView text);

// The UTF-16 position where the character with index `characters` begins; the size of the text
// when it has fewer characters.
qsizetype positionOfCharacter(QStringView text, qsizetype characters);

// The index, counted in characters, of the character that holds UTF-16 position `position`.
qsizetype characterIndexAt(QStringView text, qsizetype position);

// True when `text` begins (ends) with the whole character `glyph`, not with its first part.
bool startsWithCharacter(QStringView text, QStringView glyph);
bool endsWithCharacter(QStringView text, QStringView glyph);

// True when any character is a letter.
bool hasLetter(QStringView text);

// True when the text is not empty and holds only characters from `allowed`.
bool consistsOf(QStringView text, QStringView allowed);

// The integer a whole text spells: an optional sign and ASCII digits, nothing else; nothing on
// overflow.
std::optional<qint64> integerValue(QStringView text);

// A regular expression in the syntax the screen rules are written in (Unicode classes).
// A pattern that does not compile is invalid and matches nothing.
QRegularExpression pattern(const QString& source, QRegularExpression::PatternOptions options =
                                                      QRegularExpression::NoPatternOption);

} // namespace ScreenText
