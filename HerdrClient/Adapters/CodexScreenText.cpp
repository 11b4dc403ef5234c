#include "HerdrClient/Adapters/CodexScreenText.h"

#include "HerdrClient/Interaction/GenericScreenAdapter.h"
#include "HerdrClient/Interaction/ScreenText.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace CodexScreenText {

CursorLine withoutCursor(QStringView line)
{
    CursorLine result{line.trimmed().toString(), false};
    for (const QStringView glyph : ScreenText::cursorGlyphs) {
        if (ScreenText::startsWithCharacter(result.text, glyph)) {
            result.text = result.text.mid(glyph.size()).trimmed();
            result.selected = true;
        }
    }
    return result;
}

std::optional<NumberedText> numberedText(const QString& text)
{
    const qsizetype dot = text.indexOf(u'.');
    if (dot < 0)
        return std::nullopt;
    const auto number = ScreenText::integerValue(QStringView(text).first(dot));
    if (!number || *number < 1)
        return std::nullopt;
    QString remainder = text.mid(dot + 1).trimmed();
    if (remainder.isEmpty())
        return std::nullopt;
    return NumberedText{*number, std::move(remainder)};
}

std::optional<QString> valueAfter(const QStringList& lines, QStringView key)
{
    for (const QString& line : lines) {
        const QString trimmed = line.trimmed();
        if (trimmed.startsWith(key)) {
            QString value = trimmed.mid(key.size()).trimmed();
            if (value.isEmpty())
                return std::nullopt;
            return value;
        }
    }
    return std::nullopt;
}

QStringList trimmedNonEmpty(const QStringList& lines)
{
    QStringList kept;
    for (const QString& line : lines) {
        const QString trimmed = line.trimmed();
        if (!trimmed.isEmpty())
            kept << trimmed;
    }
    return kept;
}

InteractionEvidence exactEvidence(const ScreenAdapterInput& input, const QString& text)
{
    return InteractionEvidence{
        .source = InteractionSourceKind::screen,
        .providerID = CodexScreenAdapter::codexAdapterID.toString(),
        .agentID = input.agentID,
        .paneRevision = GenericScreenAdapter::evidenceRevision(input.paneRevision),
        .confidence = InteractionConfidence::exact,
        .capturedText = text,
    };
}

std::optional<qint64> firstSelected(const std::vector<CodexScreenAdapter::ParsedOption>& options)
{
    const auto found =
        std::find_if(options.begin(), options.end(),
                     [](const CodexScreenAdapter::ParsedOption& o) { return o.selected; });
    if (found == options.end())
        return std::nullopt;
    return qint64(found - options.begin());
}

InteractionChoice plainChoice(const CodexScreenAdapter::ParsedOption& option)
{
    InteractionChoice choice;
    choice.kind = InteractionChoiceKind::option;
    choice.label = option.label;
    choice.description = option.description;
    return choice;
}

QString withoutKeySuffix(QString label, const QRegularExpression& letter)
{
    static const QRegularExpression escape =
        ScreenText::pattern(u"\\s+\\(esc\\)$"_s, QRegularExpression::CaseInsensitiveOption);
    label.remove(letter);
    label.remove(escape);
    return label;
}

qsizetype lastNonEmptyLine(const QStringList& lines)
{
    for (qsizetype i = lines.size() - 1; i >= 0; --i) {
        if (!lines[i].trimmed().isEmpty())
            return i;
    }
    return -1;
}

} // namespace CodexScreenText
