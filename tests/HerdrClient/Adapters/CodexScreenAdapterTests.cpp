#include "HerdrClient/Adapters/CodexScreenAdapter.h"
#include "HerdrClient/Adapters/StandardScreenAdapters.h"
#include "HerdrClient/Interaction/ScreenAdapterRegistry.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

PendingInteraction read(const QString& screen)
{
    ScreenAdapterInput input;
    input.paneID = u"w1:p2"_s;
    input.agentID = u"codex"_s;
    input.detectionText = screen;
    input.paneRevision = 5;
    return CodexScreenAdapter().parse(input);
}

QStringList labels(const PendingInteraction& interaction)
{
    QStringList out;
    for (const auto& choice : interaction.choices)
        out << choice.label;
    return out;
}

QString approval(const QString& options, const QString& above = {})
{
    return above + u"  Would you like to run the following command?\n\n"
                   "  Environment: local\n\n"
                   "  Reason: Do you want to allow: push the branch to origin?\n\n"
                   "  $ git push origin main\n\n"_s
           + options + u"\n  Press enter to confirm or esc to cancel\n"_s;
}

const QString threeRows = u"› 1. Yes, proceed (y)\n"
                          "  2. Yes, and don't ask again for commands that start with `git push` (p)\n"
                          "  3. No, and tell Codex what to do differently (esc)\n"_s;

TEST(CodexApproval, ReadsTheCommandItsRowsAndTheirKeys)
{
    const auto reading = read(approval(threeRows));
    ASSERT_EQ(reading.kind, InteractionKind::approval);
    EXPECT_EQ(reading.title, u"Would you like to run the following command?"_s);
    EXPECT_EQ(labels(reading), (QStringList{u"Yes, proceed"_s, u"Yes, and don't ask again"_s,
                                            u"No, and tell Codex what to do differently"_s}));
    EXPECT_EQ(reading.choices[0].description, u"Run once."_s);
    EXPECT_EQ(reading.choices[1].description,
              u"Persist approval for commands starting with `git push`."_s);
    EXPECT_EQ(reading.choices[2].description, u"Deny and return feedback to Codex."_s);
    EXPECT_EQ(reading.choices[0].shortcutKeys, std::vector<QString>{u"y"_s});
    EXPECT_EQ(reading.choices[1].shortcutKeys, std::vector<QString>{u"p"_s});
    EXPECT_EQ(reading.choices[2].shortcutKeys, std::vector<QString>{u"esc"_s});
    EXPECT_EQ(reading.presentation.mechanism, InteractionMechanism::explicitShortcut);
    EXPECT_EQ(reading.presentation.selectedChoiceIndex, 0);
    EXPECT_EQ(reading.capabilities,
              (std::set{InteractionCapability::approve, InteractionCapability::deny,
                        InteractionCapability::selectOne}));
    EXPECT_EQ(reading.body, u"Environment: local\nReason: Do you want to allow: push the branch to "
                            "origin?\n$ git push origin main"_s);
    ASSERT_TRUE(reading.contentEvidence && reading.contentEvidence->command());
    EXPECT_EQ(*reading.contentEvidence->command(),
              (InteractionCommandEvidence{u"local"_s,
                                          u"Do you want to allow: push the branch to origin?"_s,
                                          u"git push origin main"_s}));
    EXPECT_EQ(reading.evidence.providerID, u"codex-screen"_s);
    EXPECT_EQ(reading.evidence.confidence, InteractionConfidence::exact);
    EXPECT_EQ(reading.evidence.paneRevision, 5);
}

TEST(CodexApproval, RowsThatLostTheirLettersAreNeverPressedByNumber)
{
    const auto reading = read(approval(u"› 1. Yes, proceed\n"
                                       "  2. Yes, and don't ask again for commands that start with `git push` (p)\n"
                                       "  3. No (esc)\n"_s));
    ASSERT_EQ(reading.kind, InteractionKind::approval);
    EXPECT_EQ(reading.presentation.mechanism, InteractionMechanism::ambiguous);
    EXPECT_EQ(reading.capabilities,
              (std::set{InteractionCapability::approve, InteractionCapability::deny,
                        InteractionCapability::selectOne}));
    for (const auto& choice : reading.choices)
        EXPECT_TRUE(choice.shortcutKeys.empty()) << choice.label.toStdString();
    EXPECT_EQ(labels(reading).last(), u"No"_s);
}

TEST(CodexApproval, JoinsACommandWrappedInsideBackticksWithoutABlank)
{
    const auto reading = read(approval(u"› 1. Yes, proceed (y)\n"
                                       "  2. Yes, and don't ask again for commands that start with `git push orig\n"
                                       "  in` (p)\n"
                                       "  3. No, and tell Codex\n"
                                       "     what to do differently (esc)\n"_s));
    ASSERT_EQ(reading.kind, InteractionKind::approval);
    EXPECT_EQ(reading.choices[1].description,
              u"Persist approval for commands starting with `git push origin`."_s);
    EXPECT_EQ(reading.choices[2].label, u"No, and tell Codex what to do differently"_s);
    EXPECT_EQ(reading.presentation.mechanism, InteractionMechanism::explicitShortcut);
}

TEST(CodexApproval, AnythingThatDoesNotFitIsUnknown)
{
    const std::pair<const char*, QString> cases[] = {
        {"title without its footer", u"  Would you like to run the following command?\n"
                                     "› 1. Yes, proceed (y)\n  2. Yes (p)\n  3. No (esc)\n"_s},
        {"four rows", approval(threeRows + u"  4. Something else\n"_s)},
        {"rows numbered 1, 2, 4", approval(u"› 1. Yes (y)\n  2. Always (p)\n  4. No (esc)\n"_s)},
        {"two rows", approval(u"› 1. Yes (y)\n  2. No (esc)\n"_s)},
        {"no rows at all", approval(u""_s)},
    };
    for (const auto& [name, screen] : cases) {
        const auto reading = read(screen);
        EXPECT_EQ(reading.kind, InteractionKind::unknown) << name;
        EXPECT_EQ(reading.evidence.providerID, u"generic-screen"_s) << name;
        EXPECT_EQ(reading.presentation.mechanism, InteractionMechanism::manual) << name;
    }
}

TEST(CodexApproval, TheLastTitleOnTheScreenCounts)
{
    const QString old = u"  Would you like to run the following command?\n  $ rm -rf build\n"
                        "› 1. Yes, proceed (y)\n  2. Yes (p)\n  3. No (esc)\n"
                        "  Press enter to confirm or esc to cancel\n\n"_s;
    const auto reading = read(approval(threeRows, old));
    ASSERT_EQ(reading.kind, InteractionKind::approval);
    EXPECT_EQ(reading.contentEvidence->command()->command, u"git push origin main"_s);
}

TEST(CodexApproval, CommandEvidenceNeedsACommand)
{
    const QString noCommand = u"  Would you like to run the following command?\n"
                              "  Reason: tidy up\n  $\n"_s
                              + threeRows + u"  Press enter to confirm or esc to cancel\n"_s;
    const auto reading = read(noCommand);
    ASSERT_EQ(reading.kind, InteractionKind::approval);
    EXPECT_FALSE(reading.contentEvidence.has_value());

    // The first line that names a key decides, even when it holds no value.
    const QString emptyReason = u"  Would you like to run the following command?\n"
                                "  Reason:\n  Reason: a later one\n  $ ls\n"_s
                                + threeRows + u"  Press enter to confirm or esc to cancel\n"_s;
    const auto withCommand = read(emptyReason);
    ASSERT_TRUE(withCommand.contentEvidence && withCommand.contentEvidence->command());
    EXPECT_EQ(*withCommand.contentEvidence->command(),
              (InteractionCommandEvidence{std::nullopt, std::nullopt, u"ls"_s}));

    const QString persistWithoutPrefix = approval(
        u"› 1. Yes (y)\n  2. Yes, and don't ask again for these files (p)\n  3. No (esc)\n"_s);
    EXPECT_EQ(read(persistWithoutPrefix).choices[1].description,
              u"Persist approval for the exact command prefix."_s);
    EXPECT_EQ(read(persistWithoutPrefix).choices[1].label, u"Yes, and don't ask again for these files"_s);
}

// A row whose description goes on in the next line, under its own first character.
QString wrappedRow(const QString& row, const QString& continuation)
{
    const qsizetype column = row.indexOf(u"  "_s, row.indexOf(u'.')) + 2;
    return row + u'\n' + QString(column, u' ') + continuation + u'\n';
}

QString question(const QString& header, const QString& footer, const QString& rows = {})
{
    return u"  "_s + header + u"\n  Which database should the new service use?\n\n"_s
           + (rows.isEmpty() ? wrappedRow(u"  › 1. PostgreSQL (Recommended)  Relational, already used by the"_s,
                                          u"billing service"_s)
                                   + u"    2. SQLite                    Single file\n"_s
                             : rows)
           + u"\n  "_s + footer + u"\n"_s;
}

TEST(CodexQuestion, ReadsProgressTitleAndWrappedDescriptions)
{
    const auto reading = read(question(u"Question 1/3 (2 unanswered)"_s,
                                       u"tab to add notes | enter to submit all | esc to interrupt"_s));
    ASSERT_EQ(reading.kind, InteractionKind::question) << "an unanswered count keeps it a question";
    EXPECT_EQ(reading.title, u"Which database should the new service use?"_s);
    EXPECT_EQ(reading.progress, (InteractionProgress{1, 3, 2}));
    EXPECT_EQ(labels(reading), (QStringList{u"PostgreSQL (Recommended)"_s, u"SQLite"_s}));
    EXPECT_EQ(reading.choices[0].description,
              u"Relational, already used by the billing service"_s);
    EXPECT_EQ(reading.presentation.selectedChoiceIndex, 0);
    EXPECT_EQ(reading.presentation.mechanism, InteractionMechanism::arrowNavigate);
    EXPECT_EQ(reading.capabilities,
              (std::set{InteractionCapability::selectOne, InteractionCapability::deny,
                        InteractionCapability::enterText, InteractionCapability::navigateSteps}));
}

TEST(CodexQuestion, KindAndMechanismFollowTheFooter)
{
    struct Case {
        const char* name;
        QString screen;
        InteractionKind kind;
        InteractionMechanism mechanism;
    };
    const Case cases[] = {
        {"last question", question(u"Question 3/3"_s, u"tab to add notes | enter to submit all"_s),
         InteractionKind::reviewSubmit, InteractionMechanism::arrowNavigate},
        {"notes open", question(u"Question 1/1"_s, u"tab or esc to clear notes | enter to submit all"_s,
                                u"  › 1. Yes\n    2. No\n\n  › add notes\n"_s),
         InteractionKind::reviewSubmit, InteractionMechanism::textEntry},
        {"footer segment with more words",
         question(u"Question 1/2"_s, u"tab to add notes now | enter to submit answer"_s),
         InteractionKind::unknown, InteractionMechanism::manual},
        {"header with words after it",
         question(u"Question 1/2 left"_s, u"tab to add notes | enter to submit answer"_s),
         InteractionKind::unknown, InteractionMechanism::manual},
        {"no rows",
         question(u"Question 1/2"_s, u"tab to add notes | enter to submit answer"_s, u"  (none)\n"_s),
         InteractionKind::unknown, InteractionMechanism::manual},
    };
    for (const auto& c : cases) {
        const auto reading = read(c.screen);
        EXPECT_EQ(reading.kind, c.kind) << c.name;
        EXPECT_EQ(reading.presentation.mechanism, c.mechanism) << c.name;
    }
    const auto single = read(question(u"Question 1/1"_s, u"tab to add notes | enter to submit answer"_s));
    EXPECT_FALSE(single.capabilities.contains(InteractionCapability::navigateSteps));
}

TEST(CodexOptions, ParsesRowsAndContinuations)
{
    using Option = CodexScreenAdapter::ParsedOption;
    EXPECT_EQ(CodexScreenAdapter::parseOptionLine(u"  › 12. Twelve  the twelfth"),
              (Option{u"Twelve"_s, u"the twelfth"_s, true, {}}));
    EXPECT_EQ(CodexScreenAdapter::parseOptionLine(u"> 1. Only a label"),
              (Option{u"Only a label"_s, {}, true, {}}));
    for (const QStringView rejected : {u"0. Zero", u"-1. Minus", u"1.", u"1.   ", u"Pick one.", u"x. y"})
        EXPECT_FALSE(CodexScreenAdapter::parseOptionLine(rejected)) << rejected.toString().toStdString();

    const QString column(15, u' ');
    const QStringList lines{
        u"  › 1. First   wraps"_s,
        column + u"here"_s,
        column + u"  but not this one"_s,
        column + u"nor this, the column was cleared"_s,
        u"    2. Second"_s,
        column + u"no description to continue"_s,
    };
    const auto options = CodexScreenAdapter::parseOptions(lines);
    ASSERT_EQ(options.size(), 2u);
    EXPECT_EQ(options[0].description, u"wraps here"_s);
    EXPECT_EQ(options[1].description, std::nullopt);
    EXPECT_EQ(CodexScreenAdapter::commandPrefix(u"a `` b"_s), std::nullopt);
    EXPECT_EQ(CodexScreenAdapter::commandPrefix(u"a `x` b `y`"_s), u"x"_s);
}

QString review(const QString& countLine, const QString& rows)
{
    return u"  Submit with unanswered questions?\n  "_s + countLine + u"\n\n"_s + rows
           + u"\n  Press enter to confirm or esc to go back\n"_s;
}

TEST(CodexReview, CountsOnlyALineOfExactlyThreeWords)
{
    const QString rows = u"  › 1. Proceed  Submit with 3 unanswered questions\n"
                         "    2. Go back  Return to the first unanswered question\n"_s;
    const auto counted = read(review(u"3 unanswered questions"_s, rows));
    ASSERT_EQ(counted.kind, InteractionKind::reviewSubmit);
    EXPECT_EQ(counted.title, u"Submit with unanswered questions?"_s);
    EXPECT_EQ(counted.progress, (InteractionProgress{{}, {}, 3}));
    EXPECT_EQ(labels(counted), (QStringList{u"Proceed"_s, u"Go back"_s}));
    EXPECT_EQ(counted.presentation.mechanism, InteractionMechanism::arrowNavigate);
    EXPECT_EQ(counted.capabilities,
              (std::set{InteractionCapability::selectOne, InteractionCapability::deny}));
    for (const auto& choice : counted.choices)
        EXPECT_EQ(choice.kind, InteractionChoiceKind::option);

    EXPECT_EQ(read(review(u"3 unanswered questions left"_s, rows)).progress,
              (InteractionProgress{{}, {}, {}}));
    EXPECT_EQ(read(review(u"1 unanswered question"_s, rows)).progress, (InteractionProgress{{}, {}, {}}));
    EXPECT_EQ(read(review(u"3 unanswered questions"_s, rows + u"    3. Third\n"_s)).kind,
              InteractionKind::unknown);
}

TEST(CodexRegistry, TheStandardRegistrySendsCodexHere)
{
    const auto registry = standardScreenAdapters();
    EXPECT_EQ(registry.adapterID(u"codex"_s), u"codex-screen"_s);
    EXPECT_EQ(registry.adapterID(u"Codex"_s), u"generic-screen"_s);
}

} // namespace
