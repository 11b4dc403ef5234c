#include "HerdrClient/Adapters/StandardScreenAdapters.h"
#include "HerdrClient/Interaction/GenericScreenAdapter.h"
#include "HerdrClient/Interaction/PromptClassifier.h"
#include "HerdrClient/Interaction/ScreenText.h"
#include "tests/HerdrClient/Adapters/ReadingChecks.h"

#include <QFile>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QString esc(const QString& text)
{
    return QString(text).replace(u"\\e"_s, QString(QChar(0x1B)));
}

} // namespace

TEST(StripAnsi, RemovesThroughTheNextLetterM)
{
    const std::vector<std::pair<QString, QString>> cases = {
        {u"plain"_s, u"plain"_s},
        {esc(u"\\e[1;38;2;10;20;30mbold\\e[0m text"_s), u"bold text"_s},
        {esc(u"a\\e[1mb\\e"_s), esc(u"ab\\e"_s)}, // no "m" after the last ESC
        {esc(u"\\e\\e\\e"_s), esc(u"\\e\\e\\e"_s)},
        {esc(u"\\e]0;title\\aname is mine"_s), u"e is mine"_s}, // any escape runs to the next "m"
        {esc(u"\\e[1m\u0301m"_s), u""_s},                       // an accented m is no end
        {esc(u"\\e[1m\u0301x"_s), esc(u"\\e[1m\u0301x"_s)},     // ...and with no other m, ESC stays
    };
    for (const auto& [input, expected] : cases)
        EXPECT_EQ(PromptClassifier::stripAnsi(input), expected) << input.toStdString();
}

TEST(ParseOptionLine, ReadsNumberLabelCursorAndCheck)
{
    struct Case {
        QString line;
        std::optional<ParsedOptionLine> expected;
    };
    const std::vector<Case> cases = {
        {u"❯ 2. [x] Foo ✔"_s, ParsedOptionLine{2, u"Foo"_s, true, true}},
        {u"3. [ ] Bar"_s, ParsedOptionLine{3, u"Bar"_s, false, false}},
        {u"3. Bar"_s, ParsedOptionLine{3, u"Bar"_s, false, std::nullopt}},
        {u"  1. Deny (esc)"_s, ParsedOptionLine{1, u"Deny"_s, false, std::nullopt}},
        {u"\t› 4. Four"_s, ParsedOptionLine{4, u"Four"_s, true, std::nullopt}},
        {u"> 5. Five"_s, ParsedOptionLine{5, u"Five"_s, true, std::nullopt}},
        {u"❯ › 1. Both glyphs"_s, ParsedOptionLine{1, u"Both glyphs"_s, true, std::nullopt}},
        {u"1. [✓] Done"_s, ParsedOptionLine{1, u"Done"_s, false, true}},
        {u"1. [X] Upper"_s, ParsedOptionLine{1, u"Upper"_s, false, true}},
        {u"1. [y] Other"_s, ParsedOptionLine{1, u"Other"_s, false, false}},
        {u"6. Current value ✓"_s, ParsedOptionLine{6, u"Current value"_s, true, std::nullopt}},
        {u"1. No (ESC) to cancel"_s, ParsedOptionLine{1, u"No"_s, false, std::nullopt}},
        {u"10. Ten"_s, std::nullopt},
        {u"1."_s, std::nullopt},
        {u"1. (esc)"_s, std::nullopt},
        {u"a. letter"_s, std::nullopt},
        {u"٣. arabic digit"_s, std::nullopt},
        {u"❯\u0301 1. accented cursor"_s, std::nullopt},
        {u"- 1. bullet"_s, std::nullopt},
        {u""_s, std::nullopt},
    };
    for (const auto& [line, expected] : cases)
        EXPECT_EQ(PromptClassifier::parseOptionLine(line), expected) << line.toStdString();
}

TEST(NumberedOptions, DescriptionsStopAtRowsFootersAndOutdentedText)
{
    const QString text = u"Pick one\n"
                         "❯ 1. PostgreSQL (Recommended)\n"
                         "     Relational\n"
                         "\n"
                         "     already used\n"
                         "\n"
                         "  2. Type something.\n"
                         "  3. Submit it\n"
                         "     Submit\n"
                         "  4. Chat about this\n"
                         "Enter to select\n"
                         "  not a description\n"_s;
    const auto options = PromptClassifier::parseNumberedOptions(text);
    ASSERT_EQ(options.size(), 4u);
    EXPECT_EQ(options[0].description, u"Relational\n\nalready used"_s);
    EXPECT_TRUE(options[0].isSelected);
    EXPECT_FALSE(options[0].isTextEntry);
    EXPECT_EQ(options[1].description, std::nullopt);
    EXPECT_TRUE(options[1].isTextEntry);
    EXPECT_TRUE(options[2].isTextEntry); // its description is "Submit"
    EXPECT_TRUE(options[3].isTextEntry);
    EXPECT_EQ(options[3].description, std::nullopt); // the footer ends it
}

TEST(PreviewColumns, SplitOnlyAtACornerFarEnoughRight)
{
    const QStringList farRight = {
        u"❯ 1. Compact      ┌──────────┐"_s, u"  2. Spacious     │ a  b     │"_s,
        u"                  │ c  d │   │"_s, u"                  └──────────┘"_s,
        u"                  │ after │"_s,
    };
    const auto layout = PromptClassifier::splitChoiceAndPreviewColumns(farRight);
    EXPECT_EQ(layout.choiceLines.first(), u"❯ 1. Compact      "_s);
    ASSERT_TRUE(layout.previewLines);
    EXPECT_EQ(*layout.previewLines, (QStringList{u"a  b"_s, u"c  d │"_s}));
    EXPECT_EQ(PromptClassifier::selectedChoicePreview(farRight.join(u'\n')), u"a  b\nc  d │"_s);

    // A corner at column 11 belongs to the prompt; the search moves to the next
    // option row.
    const QStringList near = {u"1. Options ┌── far ┌──"_s, u"2. Other"_s};
    EXPECT_EQ(PromptClassifier::splitChoiceAndPreviewColumns(near).choiceLines, near);
    EXPECT_FALSE(PromptClassifier::splitChoiceAndPreviewColumns(near).previewLines);

    // The column counts characters, not UTF-16 units: an emoji before it is one
    // character.
    const QStringList wide = {u"1. 👍 Thumbs  ┌──┐"_s, u"              │ok│"_s,
                              u"              └──┘"_s};
    const auto wideLayout = PromptClassifier::splitChoiceAndPreviewColumns(wide);
    EXPECT_EQ(wideLayout.choiceLines.first(), u"1. 👍 Thumbs  "_s);
    EXPECT_EQ(wideLayout.previewLines, QStringList{u"ok"_s});
}

TEST(QuestionTitle, SkipsBlankRulesAndTabRows)
{
    const QStringList lines = {
        u"Real title"_s, u"  ──────"_s, u""_s, u"---"_s, u"□ One  □ Two  ✔ Submit"_s,
        u"-—-"_s,        u"1. Option"_s};
    EXPECT_EQ(PromptClassifier::questionTitleIndex(lines, 6), 0);
    EXPECT_EQ(PromptClassifier::questionTitleIndex(lines, 0), std::nullopt);
    EXPECT_EQ(PromptClassifier::questionTitleIndex({u""_s, u"1. x"_s}, 1), std::nullopt);
    EXPECT_EQ(PromptClassifier::parseQuestionTitle(u"\n  Which one?  \n\n1. A\n2. B"_s),
              u"Which one?"_s);
    EXPECT_EQ(PromptClassifier::parseQuestionTitle(u"1. A\n2. B"_s), std::nullopt);
}

TEST(LatestInteractionRegion, BeginsAtTheLivePrompt)
{
    struct Case {
        const char* name;
        QString text;
        std::optional<QString> expected;
    };
    const QString rule = QString(40, QChar(0x2500));
    const QString dashed = QString(40, QChar(0x254C));
    const std::vector<Case> cases = {
        {"no option numbered 1", u"Pick\n2. B\n3. C"_s, std::nullopt},
        {"nothing above the option", u"1. Alone"_s, std::nullopt},
        {"plain question begins at its title", u"earlier text\n\nWhich one?\n1. A\n2. B"_s,
         u"Which one?\n1. A\n2. B"_s},
        {"old prompt above a new one", u"Old?\n1. X\n2. Y\nwork\nNew?\n❯ 1. A\n2. B"_s,
         u"New?\n❯ 1. A\n2. B"_s},
        {"rule right above the title keeps the title",
         u"chat\n"_s + rule + u"\n\nDo you want to proceed?\n1. Yes"_s,
         u"Do you want to proceed?\n1. Yes"_s},
        {"framed question with text inside begins above the rule",
         u"chat\nlast words\n"_s + rule
             + u"\n Bash command\n  ls -la\n\n Do you want to proceed?\n 1. Yes"_s,
         u"last words\n"_s + rule
             + u"\n Bash command\n  ls -la\n\n Do you want to proceed?\n 1. Yes"_s},
        {"edit prompt keeps the file name above its diff frame",
         u"● Update(a.js)\n"_s + rule + u"\n Edit file\n a.js\n"_s + dashed + u"\n 1 -x\n 1 +y\n"_s
             + dashed + u"\n Do you want to make this edit to a.js?\n ❯ 1. Yes"_s,
         u" Edit file\n a.js\n"_s + dashed + u"\n 1 -x\n 1 +y\n"_s + dashed
             + u"\n Do you want to make this edit to a.js?\n ❯ 1. Yes"_s},
        {"wizard begins at its tab row",
         u"chat\n"_s + rule
             + u"\n←  □ Database  □ Deploy  ✔ Submit  →\n\nWhich database?\n❯ 1. Postgres"_s,
         u"←  □ Database  □ Deploy  ✔ Submit  →\n\nWhich database?\n❯ 1. Postgres"_s},
        {"a confirmation ignores tab rows above it",
         u"□ A  □ B  ✔ Submit\nsome text\nDo you want to proceed?\n1. Yes"_s,
         u"Do you want to proceed?\n1. Yes"_s},
        {"a short rule is no rule", u"intro\n───\nWhich?\n1. A"_s, u"Which?\n1. A"_s},
    };
    for (const auto& [name, text, expected] : cases)
        EXPECT_EQ(PromptClassifier::latestInteractionRegion(text), expected) << name;
}

namespace {

// A real screen source of the fixture corpus, detection text.
QString realScreen(const char* name)
{
    QFile file(QStringLiteral(ORREL_SCREEN_SOURCES "/") + QString::fromUtf8(name)
               + u"/detection.txt"_s);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << name;
    return QString::fromUtf8(file.readAll());
}

// The screen from the first line that begins with `line` (trimmed) to its end.
QString screenFrom(const char* name, const QString& line)
{
    const QStringList lines = ScreenText::lines(realScreen(name));
    for (qsizetype i = 0; i < lines.size(); ++i) {
        if (lines[i].trimmed().startsWith(line))
            return lines.sliced(i).join(u'\n');
    }
    ADD_FAILURE() << name;
    return {};
}

std::vector<QString> labelsOf(const std::optional<QString>& region)
{
    std::vector<QString> labels;
    for (const auto& option : PromptClassifier::parseNumberedOptions(region.value_or(QString())))
        labels.push_back(option.label);
    return labels;
}

} // namespace

TEST(LatestInteractionRegion, AnAnsweredPromptStillDrawnAboveIsLeftOut)
{
    const PromptClassifier classifier(standardScreenAdapters());

    // claude: a wizard left on the screen above plan mode's confirmation. Its tab
    // row and its rows are the older prompt's, not this one's.
    const QString claude = realScreen("claude-real-wizard-tab1")
                           + screenFrom("claude-real-exit-plan-mode", u"● The plan is ready"_s);
    const auto claudeRegion = PromptClassifier::latestInteractionRegion(claude);
    ASSERT_TRUE(claudeRegion);
    EXPECT_FALSE(claudeRegion->contains(u"Submit"_s));
    EXPECT_EQ(
        labelsOf(claudeRegion),
        (std::vector{u"Yes, and switch to default (ask each time) for this session"_s, u"No"_s}));
    const auto exit = classifier.classifyInteraction(u"w1:p1"_s, u"claude"_s, claude, std::nullopt,
                                                     std::nullopt, std::nullopt);
    EXPECT_EQ(exit.title, u"Claude wants to exit plan mode"_s);
    EXPECT_EQ(exit.choices.size(), 2u);
    EXPECT_TRUE(exit.steps.empty());

    // The same with a bash confirmation and an edit below a question: each frame
    // is its own.
    const QString edit = realScreen("claude-real-wizard-review-answered")
                         + screenFrom("claude-real-approval-edit-diff", u"● Update("_s);
    const auto editRegion = PromptClassifier::latestInteractionRegion(edit);
    ASSERT_TRUE(editRegion);
    EXPECT_TRUE(editRegion->trimmed().startsWith(u"Edit file"_s));
    EXPECT_EQ(labelsOf(editRegion).front(), u"Yes"_s);
    EXPECT_FALSE(editRegion->contains(u"Submit answers"_s));

    // codex: an answered question still above a command approval.
    const QString codex = screenFrom("codex-real-question-multi-1of2", u"• I need a decision"_s)
                          + u"\n"_s
                          + screenFrom("codex-real-approval-git-push", u"• Running git push"_s);
    const auto codexRegion = PromptClassifier::latestInteractionRegion(codex);
    ASSERT_TRUE(codexRegion);
    EXPECT_TRUE(codexRegion->startsWith(u"  $ git push origin main"_s));
    EXPECT_EQ(labelsOf(codexRegion).size(), 3u);
    EXPECT_FALSE(codexRegion->contains(u"PostgreSQL"_s));
}

TEST(WizardSteps, ReadsTheFirstPlausibleTabRow)
{
    const QString row = u"←  ☒ Database  □ Deploy  ✔ Submit  →"_s;
    const auto steps = PromptClassifier::parseWizardSteps(row, u"Deploy"_s);
    ASSERT_EQ(steps.size(), 3u);
    EXPECT_EQ(steps[0], (ParsedTerminalStep{u"Database"_s, true, false, false}));
    EXPECT_EQ(steps[1], (ParsedTerminalStep{u"Deploy"_s, false, false, true}));
    EXPECT_EQ(steps[2], (ParsedTerminalStep{u"Submit"_s, false, true, false}));

    const QString longLabel = u"□ "_s + QString(41, u'a') + u"  ✔ Submit"_s;
    EXPECT_TRUE(PromptClassifier::parseWizardSteps(longLabel, std::nullopt).empty());
    const QString fortyLabel = u"□ "_s + QString(40, u'a') + u"  ✔ Submit"_s;
    EXPECT_EQ(PromptClassifier::parseWizardSteps(fortyLabel, std::nullopt).size(), 2u);

    QString nine;
    for (int i = 0; i < 8; ++i)
        nine += u"□ T%1  "_s.arg(i);
    nine += u"✔ Submit"_s;
    EXPECT_TRUE(PromptClassifier::parseWizardSteps(nine, std::nullopt).empty());
    const auto next =
        PromptClassifier::parseWizardSteps(nine + u"\n□ A  □ 12  ✔ Submit"_s, std::nullopt);
    EXPECT_TRUE(next.empty()); // "12" has no letter: that row is dropped too
    EXPECT_EQ(
        PromptClassifier::parseWizardSteps(nine + u"\n\x1b[1m□ A\x1b[0m  ✔ Submit"_s, std::nullopt)
            .size(),
        2u);
    EXPECT_TRUE(PromptClassifier::parseWizardSteps(u"✔ Submit"_s, std::nullopt).empty());
}

TEST(HighlightedTab, TheFirstColouredBackgroundThatHoldsALetter)
{
    struct Case {
        const char* name;
        QString line;
        std::optional<QString> expected;
    };
    const std::vector<Case> cases = {
        {"24-bit", esc(u"←  \\e[48;2;1;2;3m ☐ Database \\e[49m ☐ Deploy  ✔ Submit"_s),
         u"Database"_s},
        {"256 colours", esc(u"←  ☒ Database \\e[38;5;16m\\e[48;5;153m ☐ Deploy \\e[49m ✔ Submit"_s),
         u"Deploy"_s},
        {"a box alone is skipped",
         esc(u"\\e[48;5;153m ☐ \\e[49m Database  \\e[48;2;0;0;0m ✔ Submit\\e[0m"_s), u"Submit"_s},
        {"foreground colour only", esc(u"\\e[38;5;153m ☐ Database\\e[39m  ✔ Submit"_s),
         std::nullopt},
        {"no m after the sequence", esc(u"☐ A  \\e[48;5;153"_s), std::nullopt},
    };
    for (const auto& [name, line, expected] : cases)
        EXPECT_EQ(PromptClassifier::highlightedTabLabel(line), expected) << name;

    const auto steps = PromptClassifier::parseWizardSteps(u"←  ☐ Database  ☒ Deploy  ✔ Submit  →"_s,
                                                          u"Database"_s);
    ASSERT_EQ(steps.size(), 3u);
    EXPECT_EQ(steps[0], (ParsedTerminalStep{u"Database"_s, false, false, true}));
    EXPECT_TRUE(steps[1].isAnswered);
}

TEST(InteractionBody, DropsTitleRulesOptionsHintsAndTabs)
{
    const QString region = u"Bash command\n──────\n  rm -rf build\n\nDo you want "
                           u"to proceed?\n❯ 1. Yes\n"
                           "2. No\n□ A  ✔ Submit\nEsc to cancel · Tab to amend"_s;
    EXPECT_EQ(PromptClassifier::interactionBody(region, u"Do you want to proceed?"_s),
              u"Bash command\nrm -rf build"_s);
    EXPECT_EQ(PromptClassifier::interactionBody(u"Title\n1. A"_s, u"Title"_s), std::nullopt);
}

TEST(InteractionFooter, KnowsTheHints)
{
    for (const QString& line : {u"Enter to select"_s, u"↑/↓ To Navigate"_s, u"Esc to cancel"_s,
                                u"esc to interrupt"_s, u"ctrl+g to edit in Vim · ~/plan.md"_s})
        EXPECT_TRUE(PromptClassifier::isInteractionFooter(line)) << line.toStdString();
    EXPECT_FALSE(PromptClassifier::isInteractionFooter(u"Press enter"_s));
}

TEST(ScreenAdapterRegistry, PicksByExactAgentID)
{
    const auto registry = standardScreenAdapters();
    EXPECT_EQ(registry.adapterID(u"codex"_s), u"codex-screen"_s);
    EXPECT_EQ(registry.adapterID(u"Codex"_s), u"generic-screen"_s);
    EXPECT_EQ(registry.adapterID(std::nullopt), u"generic-screen"_s);
}

TEST(GenericReading, HandsTheScreenToTheTerminal)
{
    const ScreenAdapterInput input{u"w1:p1"_s,
                                   u"claude"_s,
                                   u"a\r\nb\r"_s,
                                   u"coloured"_s,
                                   quint64(std::numeric_limits<qint64>::max()) + 1,
                                   u"Tab"_s};
    const auto reading = GenericScreenAdapter().parse(input);
    EXPECT_EQ(reading.kind, InteractionKind::unknown);
    expectSoundReading(reading, "generic");
    EXPECT_EQ(reading.body, u"a\nb\n"_s);
    EXPECT_EQ(reading.evidence.capturedText, u"a\nb\n"_s);
    EXPECT_EQ(reading.evidence.paneRevision, std::nullopt);
    EXPECT_EQ(reading.evidence.providerID, u"generic-screen"_s);
    EXPECT_EQ(reading.evidence.agentID, u"claude"_s);

    auto fits = input;
    fits.paneRevision = 42;
    EXPECT_EQ(GenericScreenAdapter().parse(fits).evidence.paneRevision, 42);
}
