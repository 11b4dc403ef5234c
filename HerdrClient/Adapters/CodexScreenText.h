#pragma once

#include "HerdrClient/Adapters/CodexScreenAdapter.h"

#include <QRegularExpression>
#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

// Text rules the codex readers share between their screens.
namespace CodexScreenText {

struct CursorLine {
    QString text;
    bool selected = false;
};

// The line trimmed and without its cursor glyphs; each glyph is dropped once, in turn.
CursorLine withoutCursor(QStringView line);

struct NumberedText {
    qint64 number = 0;
    QString remainder;
};

// "N. text" with N an integer of at least 1 and some text behind the dot.
std::optional<NumberedText> numberedText(const QString& text);

// The rest of the first line that, trimmed, begins with `key`; nothing when that rest is empty.
std::optional<QString> valueAfter(const QStringList& lines, QStringView key);

// The lines trimmed, empty ones dropped.
QStringList trimmedNonEmpty(const QStringList& lines);

InteractionEvidence exactEvidence(const ScreenAdapterInput& input, const QString& text);

std::optional<qint64> firstSelected(const std::vector<CodexScreenAdapter::ParsedOption>& options);

InteractionChoice plainChoice(const CodexScreenAdapter::ParsedOption& option);

// A row's label without its key suffix: `letter` (such as " (y)"), then " (esc)".
QString withoutKeySuffix(QString label, const QRegularExpression& letter);

// The index of the last line that is not blank, or -1.
qsizetype lastNonEmptyLine(const QStringList& lines);

} // namespace CodexScreenText
