#include "HerdrClient/Adapters/PiScreenAdapter.h"

#include "HerdrClient/Interaction/GenericScreenAdapter.h"
#include "HerdrClient/Interaction/PromptClassifier.h"
#include "HerdrClient/Interaction/ScreenText.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr QStringView footerMarker = u"Enter to select";
constexpr QStringView reviewMarkers[] = {u"Review your answers", u"Ready to submit your answers?"};
constexpr QStringView incompleteReviewMarker = u"Answer remaining questions before submitting";
constexpr QStringView horizontalRule = u"\u2500"; // ─
constexpr QStringView cursorGlyph = u"\u276F";    // ❯

bool isRule(const QString& line)
{
    const QString trimmed = line.trimmed();
    return ScreenText::consistsOf(trimmed, horizontalRule)
           && ScreenText::characterCount(trimmed) >= 10;
}

struct OptionRow {
    bool selected = false;
    QString label;
};

std::optional<OptionRow> optionMatch(const QString& line)
{
    QString text = ScreenText::trimmedBlanks(line);
    bool selected = false;
    if (ScreenText::startsWithCharacter(text, cursorGlyph)) {
        text = text.sliced(cursorGlyph.size()).trimmed();
        selected = true;
    }
    const qsizetype dot = text.indexOf(u'.');
    if (dot < 0)
        return std::nullopt;
    const auto number = ScreenText::integerValue(QStringView(text).first(dot));
    if (!number || *number < 1)
        return std::nullopt;
    const QString rest = text.sliced(dot + 1);
    if (!rest.isEmpty() && !rest.startsWith(u' '))
        return std::nullopt;
    return OptionRow{selected, rest.trimmed()};
}

// Trimmed of white space and of control characters, which a text row can hold when the
// terminal drew its caret.
QString trimmedWithControls(const QString& text)
{
    qsizetype start = 0;
    qsizetype end = text.size();
    const auto strip = [](QChar c) { return c.isSpace() || c.category() == QChar::Other_Control; };
    while (start < end && strip(text[start]))
        ++start;
    while (end > start && strip(text[end - 1]))
        --end;
    return text.sliced(start, end - start);
}

QStringList paragraphsOf(const QStringList& lines)
{
    QStringList paragraphs;
    QStringList current;
    for (const QString& line : lines) {
        const QString trimmed = line.trimmed();
        if (trimmed.isEmpty()) {
            if (!current.isEmpty())
                paragraphs.push_back(current.join(u' '));
            current.clear();
        } else {
            current.push_back(trimmed);
        }
    }
    if (!current.isEmpty())
        paragraphs.push_back(current.join(u' '));
    return paragraphs;
}

struct RowOption {
    QString label;
    QStringList continuation;
};

} // namespace

QString PiScreenAdapter::adapterID() const
{
    return piAdapterID.toString();
}

std::set<QString> PiScreenAdapter::agentIDs() const
{
    return {u"pi"_s};
}

PendingInteraction PiScreenAdapter::parse(const ScreenAdapterInput& input) const
{
    const QString text = ScreenText::normalizedLineEndings(input.detectionText);
    const auto picker = parsePicker(text, input.visibleANSIText);
    if (!picker)
        return GenericScreenAdapter::reading(input);

    PendingInteraction interaction;
    interaction.paneID = input.paneID;
    interaction.kind = picker->isReview ? InteractionKind::reviewSubmit : InteractionKind::question;
    interaction.title = picker->question;
    interaction.header = picker->header;
    if (!picker->answers.isEmpty())
        interaction.body = picker->answers.join(u'\n');

    interaction.capabilities = {InteractionCapability::selectOne, InteractionCapability::deny};
    if (picker->options.back().isTextEntry)
        interaction.capabilities.insert(InteractionCapability::enterText);
    if (picker->steps.size() >= 2)
        interaction.capabilities.insert(InteractionCapability::navigateSteps);

    interaction.progress =
        InteractionProgress::ofWizard(picker->steps, picker->activeStep, picker->isReview);

    for (const auto& option : picker->options) {
        InteractionChoice choice;
        choice.label = option.label;
        choice.description = option.description;
        choice.draft = option.draft;
        if (option.isTextEntry)
            choice.kind = InteractionChoiceKind::textEntry;
        else if (picker->isReview && option.label == u"Submit answers")
            choice.kind = InteractionChoiceKind::submit;
        else if (picker->isReview && option.label == u"Cancel")
            choice.kind = InteractionChoiceKind::cancel;
        interaction.choices.push_back(std::move(choice));
    }
    interaction.steps = picker->steps;
    interaction.presentation.selectedChoiceIndex = picker->cursor;
    interaction.presentation.activeStepIndex = picker->activeStep;
    // Without a visible cursor there is no known place to move the arrows from.
    interaction.presentation.mechanism =
        picker->cursor ? InteractionMechanism::arrowNavigate : InteractionMechanism::ambiguous;
    interaction.evidence = input.evidence(adapterID(), InteractionConfidence::exact, picker->block);
    interaction.userPromptContext = picker->lastWork;
    interaction.safetyState = InteractionSafetyState::fresh;
    return interaction;
}

std::optional<PiScreenAdapter::Picker> PiScreenAdapter::parsePicker(
    const QString& text, const std::optional<QString>& visibleANSI)
{
    const QStringList lines = ScreenText::lines(text);
    qsizetype footer = -1;
    for (qsizetype i = lines.size() - 1; i >= 0; --i) {
        if (lines[i].contains(footerMarker)) {
            footer = i;
            break;
        }
    }
    // Multi-select pickers are left to the terminal.
    if (footer < 0 || lines[footer].contains(u"Space to toggle"))
        return std::nullopt;
    qsizetype lastRule = -1;
    qsizetype firstRule = -1;
    for (qsizetype i = footer - 1; i >= 0 && firstRule < 0; --i) {
        if (!isRule(lines[i]))
            continue;
        if (lastRule < 0)
            lastRule = i;
        else
            firstRule = i;
    }
    if (firstRule < 0)
        return std::nullopt;

    Picker picker;
    for (qsizetype i = lastRule + 1; i < footer && !picker.isReview; ++i)
        picker.isReview = optionMatch(lines[i]).has_value();
    const qsizetype rowsFrom = picker.isReview ? lastRule + 1 : firstRule + 1;
    const qsizetype rowsTo = picker.isReview ? footer : lastRule;

    std::vector<RowOption> rows;
    qsizetype firstRow = -1;
    for (qsizetype i = rowsFrom; i < rowsTo; ++i) {
        if (const auto row = optionMatch(lines[i])) {
            if (firstRow < 0)
                firstRow = i;
            if (row->selected)
                picker.cursor = qint64(rows.size());
            rows.push_back({row->label, {}});
        } else if (!rows.empty() && !lines[i].trimmed().isEmpty() && lines[i].startsWith(u"   ")) {
            rows.back().continuation.push_back(lines[i].trimmed());
        }
    }
    if (rows.empty())
        return std::nullopt;

    for (auto& row : rows) {
        Option option;
        option.label = row.label;
        // A long label wraps; its "(recommended)" tag marks where the label ends.
        if (!row.label.toLower().endsWith(u"(recommended)")) {
            const auto end = std::find_if(
                row.continuation.begin(), row.continuation.end(),
                [](const QString& l) { return l.toLower().endsWith(u"(recommended)"); });
            if (end != row.continuation.end()) {
                const qsizetype count = end - row.continuation.begin() + 1;
                option.label = (QStringList{row.label} + row.continuation.first(count)).join(u' ');
                row.continuation.remove(0, count);
            }
        }
        if (!row.continuation.isEmpty())
            option.description = row.continuation.join(u' ');
        picker.options.push_back(std::move(option));
    }

    if (!picker.isReview) {
        // The last row is always the free-text row; what stands in it is the draft.
        Option& textRow = picker.options.back();
        QStringList typed;
        if (textRow.label != textEntrySentinel)
            typed.push_back(textRow.label);
        if (textRow.description)
            typed.push_back(*textRow.description);
        const QString draft = trimmedWithControls(typed.join(u' ').remove(u'\u2714'));
        textRow = Option{textEntrySentinel.toString(), std::nullopt, true,
                         draft.isEmpty() ? std::nullopt : std::optional<QString>(draft)};
    }

    qsizetype textFrom = firstRule + 1;
    for (qsizetype i = firstRule + 1; i < firstRow; ++i) {
        const QString& line = lines[i];
        if (line.contains(u"Submit") && (line.contains(u'\u25A1') || line.contains(u'\u25A0'))) {
            picker.steps = parseSteps(line);
            textFrom = i + 1;
            break;
        }
    }
    if (!picker.steps.empty())
        picker.activeStep = activeStepIndex(picker.steps, visibleANSI);

    if (!picker.isReview) {
        QStringList paragraphs = paragraphsOf(lines.mid(textFrom, firstRow - textFrom));
        if (picker.steps.empty() && paragraphs.size() > 1)
            picker.header = paragraphs.takeFirst();
        if (!paragraphs.isEmpty())
            picker.question = paragraphs.join(u'\n');
    } else {
        std::optional<QString> current;
        for (qsizetype i = firstRule + 1; i < lastRule; ++i) {
            const QString line = lines[i].trimmed();
            if (line.startsWith(u'\u25CF')) { // ●
                current = line.sliced(1).trimmed();
            } else if (line.startsWith(u'\u2192') && current) { // →
                picker.answers.push_back(*current + u": "_s + line.sliced(1).trimmed());
            }
        }
        for (qsizetype i = lastRule + 1; i < footer && !picker.question; ++i) {
            if (lines[i].contains(incompleteReviewMarker)) {
                QString question = lines[i];
                while (!question.isEmpty()
                       && (question.front() == u'\u26A0' || question.front() == u' '))
                    question.remove(0, 1);
                while (!question.isEmpty()
                       && (question.back() == u'\u26A0' || question.back() == u' '))
                    question.chop(1);
                picker.question = question;
            }
        }
        for (qsizetype i = lastRule + 1; i < footer && !picker.question; ++i) {
            const QString trimmed = lines[i].trimmed();
            for (const QStringView marker : reviewMarkers) {
                if (trimmed == marker)
                    picker.question = trimmed;
            }
        }
        if (!picker.question)
            picker.question = reviewMarkers[0].toString();
    }

    picker.lastWork = lastWork(lines, firstRule);
    picker.block = lines.mid(firstRule, footer - firstRule + 1).join(u'\n');
    return picker;
}

std::vector<InteractionStep> PiScreenAdapter::parseSteps(QStringView line)
{
    constexpr QStringView openers = u"\u25A1\u25A0\u2713";      // □ ■ ✓
    constexpr QStringView enders = u"\u25A1\u25A0\u2713\u2192"; // □ ■ ✓ →
    std::vector<InteractionStep> steps;
    qsizetype i = 0;
    while (i < line.size()) {
        const QChar glyph = line[i];
        if (!openers.contains(glyph)) {
            ++i;
            continue;
        }
        qsizetype end = i + 1;
        while (end < line.size() && !enders.contains(line[end])
               && !(line[end] == u' ' && end + 1 < line.size() && line[end + 1] == u' '))
            ++end;
        const QString label = line.sliced(i + 1, end - i - 1).trimmed().toString();
        if (!label.isEmpty())
            steps.push_back(InteractionStep{label, glyph == u'\u25A0', glyph == u'\u2713'});
        i = end;
    }
    return steps;
}

std::optional<qint64> PiScreenAdapter::activeStepIndex(const std::vector<InteractionStep>& steps,
                                                       const std::optional<QString>& visibleANSI)
{
    if (!visibleANSI)
        return std::nullopt;
    const QString background = QString(ScreenText::escape) + u"[48;"_s;
    for (const QString& line :
         ScreenText::normalizedLineEndings(*visibleANSI).split(u'\n', Qt::SkipEmptyParts)) {
        const qsizetype sequence = line.indexOf(background);
        if (!line.contains(u"Submit") || sequence < 0)
            continue;
        const QString tail =
            PromptClassifier::stripAnsi(QStringView(line).sliced(sequence)).trimmed();
        const QString label =
            tail.sliced(ScreenText::positionOfCharacter(tail, 1)).trimmed(); // past the tab's glyph
        for (std::size_t i = 0; i < steps.size(); ++i) {
            if (label.startsWith(steps[i].label))
                return qint64(i);
        }
        return std::nullopt;
    }
    return std::nullopt;
}

std::optional<QString> PiScreenAdapter::lastWork(const QStringList& lines, qsizetype above)
{
    constexpr qsizetype paragraphLimit = 4;
    QStringList paragraphs; // nearest first
    QStringList current;    // bottom-up
    const auto close = [&] {
        if (current.isEmpty())
            return;
        std::reverse(current.begin(), current.end());
        paragraphs.push_back(current.join(u' '));
        current.clear();
    };
    for (qsizetype i = std::min(above, lines.size()) - 1;
         i >= 0 && paragraphs.size() < paragraphLimit; --i) {
        const QString trimmed = lines[i].trimmed();
        if (trimmed.isEmpty() || isRule(trimmed))
            close();
        else
            current.push_back(trimmed);
    }
    if (paragraphs.size() < paragraphLimit)
        close();
    for (const QString& paragraph : paragraphs) {
        if (isMeaningfulWork(paragraph))
            return paragraph;
    }
    return std::nullopt;
}

bool PiScreenAdapter::isMeaningfulWork(const QString& text)
{
    constexpr qsizetype longest = 240;
    if (text.isEmpty() || ScreenText::characterCount(text) > longest)
        return false;
    const QStringList words = text.split(u' ', Qt::SkipEmptyParts);
    qsizetype wordy = 0;
    for (const QString& word : words) {
        if (word.startsWith(u'/') || word.startsWith(u"~/") || word.startsWith(u"./")
            || word.count(u'/') > 1)
            return false;
        if (std::count_if(word.begin(), word.end(), [](QChar c) { return c.isLetter(); }) > 1)
            ++wordy;
    }
    if (wordy < 3)
        return false;
    if (text.count(u'"') % 2 != 0 || text.count(u'`') % 2 != 0)
        return false;
    if (text.count(u'\u201C') != text.count(u'\u201D'))
        return false;
    constexpr QStringView breaksOff = u":\u2026([{,";
    return !breaksOff.contains(text.back());
}
