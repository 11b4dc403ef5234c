#include "HerdrClient/Adapters/ClaudeScreenAdapter.h"
#include "HerdrClient/Responding/InteractionResponsePlanner.h"
#include "tests/HerdrClient/Adapters/AdapterTestSupport.h"
#include "tests/HerdrClient/Adapters/ReadingChecks.h"

#include <QDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

PendingInteraction read(const QString& detection, const std::optional<QString>& tab = std::nullopt)
{
    return ClaudeScreenAdapter().parse(screenInput(u"claude"_s, detection, std::nullopt, tab));
}

const QString dashed = QString(30, QChar(0x254C));

QString editScreen(const QStringList& diff)
{
    return u" Edit file\n src/a.js\n"_s + dashed + u"\n"_s + diff.join(u'\n') + u"\n"_s + dashed
           + u"\n Do you want to make this edit to a.js?\n ❯ 1. Yes\n   2. No\n\n Esc to cancel\n"_s;
}

// An intent as the annotations name it: "approve", "selectChoice:1", "setChoice:2:true".
std::optional<InteractionResponseIntent> intentNamed(const QString& name)
{
    using Intent = InteractionResponseIntent;
    const QStringList parts = name.split(u':');
    const auto index = [&] { return parts.value(1).toLongLong(); };
    if (parts.size() == 1) {
        for (const auto& [word, intent] : {std::pair{u"approve"_s, Intent::approve()},
                                           {u"deny"_s, Intent::deny()},
                                           {u"cancel"_s, Intent::cancel()},
                                           {u"submit"_s, Intent::submit()},
                                           {u"navigateNext"_s, Intent::navigateNext()},
                                           {u"navigatePrevious"_s, Intent::navigatePrevious()}}) {
            if (word == name)
                return intent;
        }
    }
    if (parts.size() == 2 && parts[0] == u"selectChoice")
        return Intent::selectChoice(index());
    if (parts.size() == 3 && parts[0] == u"setChoice")
        return Intent::setChoice(index(), parts[2] == u"true");
    return std::nullopt;
}

PaneFixtureAnnotations annotationsOf(const QString& name)
{
    QFile file(QStringLiteral(ORREL_SCREEN_SOURCES "/") + name + u"/annotations.json"_s);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << name.toStdString();
    const auto json = JSONValue::parse(file.readAll());
    EXPECT_TRUE(json) << name.toStdString();
    if (!json)
        return {};
    auto annotations = PaneFixtureAnnotations::decode(*json);
    EXPECT_TRUE(annotations) << name.toStdString();
    return annotations.value_or(PaneFixtureAnnotations{});
}

const QString reviewScreen =
    u"←  ☒ Database  ☒ Deploy  ✔ Submit  →\n\nReady to submit your answers?\n\n"
    "❯ 1. Submit answers\n  2. Cancel\n\nEnter to select · Esc to cancel"_s;

} // namespace

TEST(ClaudeScreenAdapter, ConfirmScreenIsANumberedApproval)
{
    const auto reading =
        read(u"────────\n Bash command\n   npm test\n\n Do you want to proceed?\n ❯ 1. Yes\n"
             "2. Yes, always\n3. No (esc)\n\nEsc to cancel"_s);
    EXPECT_EQ(reading.kind, InteractionKind::approval);
    EXPECT_EQ(reading.presentation.mechanism, InteractionMechanism::numberedShortcut);
    EXPECT_EQ(reading.capabilities,
              (std::set{InteractionCapability::approve, InteractionCapability::deny,
                        InteractionCapability::selectOne}));
    EXPECT_EQ(reading.body, u"Bash command\nnpm test"_s);
    EXPECT_TRUE(reading.choices[0].shortcutKeys.empty());
    EXPECT_FALSE(reading.contentEvidence);

    // Without the footer nothing says esc denies.
    const auto quiet = read(u"────────\n npm test\nDo you want to proceed?\n1. Yes\n2. No"_s);
    EXPECT_EQ(quiet.capabilities,
              (std::set{InteractionCapability::approve, InteractionCapability::selectOne}));

    // With its subject off the screen, one approval looks like any other: no keys for it.
    for (const QString& cut : {u"Do you want to proceed?\n1. Yes\n2. No"_s,
                               u" Bash command\n\n   rm -rf build\n\n Do you want to proceed?\n"
                               " ❯ 1. Yes\n   2. No\n\n Esc to cancel\n"_s}) {
        const auto subjectless = read(cut);
        EXPECT_EQ(subjectless.presentation.mechanism, InteractionMechanism::manual);
        EXPECT_EQ(subjectless.kind, InteractionKind::unknown);
    }
}

TEST(ClaudeScreenAdapter, ReviewNeedsTheHighlightedSubmitTab)
{
    const auto review = read(reviewScreen, u"Submit"_s);
    EXPECT_EQ(review.kind, InteractionKind::reviewSubmit);
    EXPECT_EQ(review.choices[0].kind, InteractionChoiceKind::submit);
    EXPECT_EQ(review.choices[1].kind, InteractionChoiceKind::cancel);
    EXPECT_EQ(review.progress, (InteractionProgress{2, 2, 0}));
    EXPECT_EQ(review.presentation.activeStepIndex, 2);
    EXPECT_FALSE(review.body);

    // The coloured read failed: no tab is current, so it is only a question.
    const auto unread = read(reviewScreen);
    EXPECT_EQ(unread.kind, InteractionKind::question);
    EXPECT_EQ(unread.presentation.activeStepIndex, std::nullopt);
    EXPECT_EQ(unread.progress, (InteractionProgress{std::nullopt, 2, 0}));
    EXPECT_EQ(unread.choices[0].kind, InteractionChoiceKind::option);

    // The same labels on a question tab stay options.
    const auto onQuestion = read(reviewScreen, u"Deploy"_s);
    EXPECT_EQ(onQuestion.kind, InteractionKind::question);
    EXPECT_EQ(onQuestion.choices[1].kind, InteractionChoiceKind::option);
    EXPECT_EQ(onQuestion.progress->current, 2);
    // Answering is not part of the identity of a tab, but answered steps are.
    EXPECT_NE(onQuestion.fingerprint(),
              read(QString(reviewScreen).replace(u"☒ Deploy"_s, u"□ Deploy"_s), u"Deploy"_s)
                  .fingerprint());
}

TEST(ClaudeScreenAdapter, EditApprovalCarriesItsDiff)
{
    const auto reading = read(editScreen({u" 1  const a = 1;"_s, u" 2 -return a;"_s,
                                          u" 2 +return a + 1;"_s, u"not a diff row"_s, u" 3"_s}));
    ASSERT_TRUE(reading.contentEvidence);
    const auto* diff = reading.contentEvidence->diff();
    ASSERT_TRUE(diff);
    EXPECT_EQ(diff->filePath, u"src/a.js"_s);
    ASSERT_EQ(diff->lines.size(), 3u);
    EXPECT_EQ(diff->lines[0],
              (InteractionDiffLine{1, InteractionDiffLineKind::context, u"const a = 1;"_s}));
    EXPECT_EQ(diff->lines[1],
              (InteractionDiffLine{2, InteractionDiffLineKind::removal, u"return a;"_s}));
    EXPECT_EQ(diff->lines[2],
              (InteractionDiffLine{2, InteractionDiffLineKind::addition, u"return a + 1;"_s}));

    // Each diff line is part of the identity of the prompt.
    const auto other =
        read(editScreen({u" 1  const a = 1;"_s, u" 2 -return a;"_s, u" 2 +return a + 2;"_s}));
    EXPECT_NE(reading.fingerprint(), other.fingerprint());
    // Context only is no evidence.
    EXPECT_FALSE(read(editScreen({u" 1  same"_s, u" 2  same"_s})).contentEvidence);
}

TEST(ClaudeScreenAdapter, DiffFramesMustBeWhole)
{
    const std::vector<std::pair<const char*, QString>> cases = {
        {"no heading", u"src/a.js\n"_s + dashed + u"\n 1 +x\n"_s + dashed},
        {"heading is the last line", u" Edit file"_s},
        {"empty path", u" Edit file\n  \n"_s + dashed + u"\n 1 +x\n"_s + dashed},
        {"no bottom frame", u" Edit file\n a.js\n"_s + dashed + u"\n 1 +x"_s},
        {"short frames", u" Edit file\n a.js\n╌╌╌\n 1 +x\n╌╌╌"_s},
    };
    for (const auto& [name, region] : cases)
        EXPECT_FALSE(ClaudeScreenAdapter::parseDiffEvidence(region)) << name;
    EXPECT_TRUE(ClaudeScreenAdapter::parseDiffEvidence(u" Edit file\n a.js\n"_s + dashed
                                                       + u"\n 1 +x\n"_s + dashed));
}

TEST(ClaudeScreenAdapter, DiffLinePattern)
{
    struct Case {
        QString line;
        std::optional<InteractionDiffLine> expected;
    };
    const std::vector<Case> cases = {
        {u" 3 -  return 'Hello';"_s,
         InteractionDiffLine{3, InteractionDiffLineKind::removal, u"  return 'Hello';"_s}},
        {u"12 +x"_s, InteractionDiffLine{12, InteractionDiffLineKind::addition, u"x"_s}},
        {u" 1  // comment "_s,
         InteractionDiffLine{1, InteractionDiffLineKind::context, u"// comment "_s}},
        {u"\t7\u2003text"_s, InteractionDiffLine{7, InteractionDiffLineKind::context, u"text"_s}},
        {u"99999999999999999999 +big"_s,
         InteractionDiffLine{std::nullopt, InteractionDiffLineKind::addition, u"big"_s}},
        {u" 5"_s, std::nullopt},
        {u"x 5 y"_s, std::nullopt},
        {u""_s, std::nullopt},
    };
    for (const auto& [line, expected] : cases)
        EXPECT_EQ(ClaudeScreenAdapter::parseDiffLine(line), expected) << line.toStdString();
}

// Every capture of the real claude reads as annotated, and each key sequence its annotations
// record, checked by hand on the running agent, is what the planner sends for that reading.
TEST(ClaudeRealScreens, ReadAsAnnotatedAndTakeTheKeysCheckedOnTheAgent)
{
    const QStringList names =
        QDir(QStringLiteral(ORREL_SCREEN_SOURCES))
            .entryList({u"claude-real-*"_s}, QDir::Dirs | QDir::NoDotAndDotDot);
    ASSERT_GE(names.size(), 19);
    const InteractionResponsePlanner planner;
    std::size_t checkedPlans = 0;
    for (const QString& name : names) {
        const std::string label = name.toStdString();
        const PaneFixtureAnnotations annotations = annotationsOf(name);
        const auto reading =
            ClaudeScreenAdapter().parse(inputFor(u"claude"_s, loadScreenSource(name)));
        expectSoundReading(reading, label);
        expectReadsAsAnnotated(reading, annotations, label);
        for (const auto& [intentName, keys] : annotations.expectedResponsePlans) {
            const auto intent = intentNamed(intentName);
            ASSERT_TRUE(intent) << label << ": " << intentName.toStdString();
            const auto plan = planner.plan(*intent, reading);
            ASSERT_TRUE(plan) << label << ": " << intentName.toStdString();
            EXPECT_EQ(plan->flattenedKeys(), keys) << label << ": " << intentName.toStdString();
            ++checkedPlans;
        }
    }
    EXPECT_GE(checkedPlans, 20u);
}

TEST(ClaudeRealScreens, ReadAsClaudeDrewThem)
{
    const auto edit = ClaudeScreenAdapter().parse(
        inputFor(u"claude"_s, loadScreenSource(u"claude-real-approval-edit-diff"_s)));
    ASSERT_TRUE(edit.contentEvidence && edit.contentEvidence->diff());
    const auto& lines = edit.contentEvidence->diff()->lines;
    ASSERT_EQ(lines.size(), 6u); // the empty line 5 carries no text and is no diff row
    EXPECT_EQ(lines[2], (InteractionDiffLine{3, InteractionDiffLineKind::removal,
                                             u"  return 'Hello, ' + name;"_s}));
    EXPECT_EQ(lines[3].kind, InteractionDiffLineKind::addition);
    EXPECT_EQ(edit.contentEvidence->diff()->filePath, u"src/greeting.js"_s);
    EXPECT_TRUE(
        edit.evidence.capturedText->startsWith(u"\n\n❯ Please remove"_s)); // the whole screen

    const auto bash = ClaudeScreenAdapter().parse(
        inputFor(u"claude"_s, loadScreenSource(u"claude-real-approval-bash-rm-rf-build"_s)));
    ASSERT_TRUE(bash.body);
    EXPECT_TRUE(bash.body->contains(u"rm -rf build"_s));
    EXPECT_FALSE(bash.body->contains(
        u"npm publish"_s)); // the earlier call above the frame is not this prompt
}

TEST(ClaudeRealScreens, PlanModeConfirmationsCarryThePlanAndEscRejects)
{
    const auto plan = ClaudeScreenAdapter().parse(
        inputFor(u"claude"_s, loadScreenSource(u"claude-real-plan-approval"_s)));
    EXPECT_EQ(plan.body, u"Plan: template-string greeting\n\n1. Read src/greeting.js.\n"
                         "2. Replace the string concatenation with a template literal.\n"
                         "3. Run npm test to check nothing else changed.\n"
                         "4. Remove the stale build/ directory."_s);
    EXPECT_EQ(plan.capabilities,
              (std::set{InteractionCapability::approve, InteractionCapability::deny,
                        InteractionCapability::selectOne, InteractionCapability::enterText}));
    // The plan's own numbered steps above the frame are no choices.
    EXPECT_EQ(plan.choices.size(), 3u);

    const auto exit = ClaudeScreenAdapter().parse(
        inputFor(u"claude"_s, loadScreenSource(u"claude-real-exit-plan-mode"_s)));
    EXPECT_EQ(exit.body, u"Exit plan mode?"_s);
    EXPECT_TRUE(exit.capabilities.contains(InteractionCapability::deny));

    // The feedback row is a text field: from the first row the planner sends "3", the text and
    // Enter, which is what rejected the plan with that feedback on the agent.
    EXPECT_EQ(plan.choices[2].kind, InteractionChoiceKind::textEntry);
    const auto feedback = InteractionResponsePlanner().plan(
        InteractionResponseIntent::submitChoiceText(2, u"Use a constant"_s), plan);
    ASSERT_TRUE(feedback);
    EXPECT_EQ(feedback->operations,
              (std::vector{InteractionResponseOperation::sendKeys({u"3"_s}),
                           InteractionResponseOperation::sendText(u"Use a constant"_s),
                           InteractionResponseOperation::sendKeys({u"enter"_s})}));
    // What was typed there stands in place of the placeholder: it is the row's draft, and the
    // planner will not type over it.
    const auto typed = ClaudeScreenAdapter().parse(
        inputFor(u"claude"_s, loadScreenSource(u"claude-real-plan-approval-feedback-typed"_s)));
    EXPECT_EQ(typed.choices[2].draft, u"Use a constant"_s);
    EXPECT_EQ(typed.presentation.mechanism, InteractionMechanism::textEntry);
    EXPECT_NE(typed.fingerprint(),
              ClaudeScreenAdapter()
                  .parse(inputFor(u"claude"_s,
                                  loadScreenSource(u"claude-real-plan-approval-feedback-row"_s)))
                  .fingerprint());

    // A model that merely writes the sentence in its answer is no prompt.
    const auto prose = read(u"● Claude has written up a plan and is ready to execute.\n"
                            "  1. Read the file\n  2. Edit it\n\n❯ \n"_s);
    EXPECT_EQ(prose.kind, InteractionKind::unknown);
}

TEST(ClaudeRealScreens, WizardTabsWithOpenBoxesAnd256ColourHighlight)
{
    const ScreenSource tab2 = loadScreenSource(u"claude-real-wizard-tab2-answered-first"_s);
    const auto reading = ClaudeScreenAdapter().parse(inputFor(u"claude"_s, tab2));
    ASSERT_EQ(reading.steps.size(), 3u);
    EXPECT_EQ(reading.steps[0], (InteractionStep{u"Database"_s, true, false}));
    EXPECT_EQ(reading.steps[1], (InteractionStep{u"Deploy"_s, false, false}));
    EXPECT_EQ(reading.steps[2], (InteractionStep{u"Submit"_s, false, true}));
    EXPECT_EQ(reading.presentation.activeStepIndex, 1);
    EXPECT_TRUE(reading.capabilities.contains(InteractionCapability::navigateSteps));

    // Without the coloured read the tabs are still there, but none is current.
    const auto plain = ClaudeScreenAdapter().parse(inputFor(u"claude"_s, tab2, false));
    EXPECT_EQ(plain.steps.size(), 3u);
    EXPECT_EQ(plain.presentation.activeStepIndex, std::nullopt);

    // The review tab without its highlight is only a question, titled by its heading.
    const auto review = ClaudeScreenAdapter().parse(
        inputFor(u"claude"_s, loadScreenSource(u"claude-real-wizard-review-unanswered"_s), false));
    EXPECT_EQ(review.kind, InteractionKind::question);
    EXPECT_EQ(review.title, u"Review your answers"_s);
    // "Review your answers" in prose, with no tab row, is no prompt.
    EXPECT_EQ(read(u"Review your answers\n\n❯ 1. Submit answers\n  2. Cancel"_s).kind,
              InteractionKind::unknown);
}

TEST(ClaudeRealScreens, RowsWithoutNumbersOnlyInAKnownDialogAtTheBottom)
{
    const QString dialog = loadScreenSource(u"claude-real-auto-mode-dialog"_s).detection;
    const auto reading = read(dialog);
    EXPECT_EQ(reading.kind, InteractionKind::question);
    EXPECT_EQ(reading.capabilities,
              (std::set{InteractionCapability::selectOne, InteractionCapability::deny}));
    EXPECT_TRUE(reading.choices[0].shortcutKeys.empty());

    const QString rows = u"  ❯ Yes, set auto mode as my default permission mode\n"
                         "    No, keep manual mode"_s;
    const QString title = u"  Make auto mode your default permission mode?\n\n"_s;
    const std::vector<std::pair<const char*, QString>> unread = {
        {"drawn over: the input box below", dialog + u"\n───\n❯ \n───\n  ? for shortcuts"_s},
        {"an unknown question", u"  Make it so?\n\n"_s + rows},
        {"no cursor", title + u"    Yes\n    No"_s},
        {"one row", title + u"  ❯ Yes"_s},
        {"rows out of line", title + u"  ❯ Yes\n      No"_s},
        {"two cursors", title + u"  ❯ Yes\n  ❯ No"_s},
    };
    for (const auto& [name, text] : unread)
        EXPECT_EQ(read(text).kind, InteractionKind::unknown) << name;
    EXPECT_EQ(read(title + rows).presentation.selectedChoiceIndex, 0);
    EXPECT_EQ(read(title + u"    Yes\n  ❯ No\n\n"_s).presentation.selectedChoiceIndex, 1);
}
