// What the fixture corpus does not show of codex's screens: keys, capabilities, the command
// behind an approval, and the near misses it holds no screen of. Titles, labels, descriptions,
// progress and mechanisms are proven on the real screens there.
#include "HerdrClient/Adapters/CodexScreenAdapter.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

PendingInteraction read(const QString& screen)
{
    ScreenAdapterInput input;
    input.paneID = u"w1:p2"_s;
    input.agentID = u"codex"_s;
    input.detectionText = screen;
    return CodexScreenAdapter().parse(input);
}

QString approval(const QString& options, const QString& above = {})
{
    return above
           + u"  Would you like to run the following command?\n\n"
             "  Environment: local\n\n"
             "  Reason: Do you want to allow: push the branch to origin?\n\n"
             "  $ git push origin main\n\n"_s
           + options + u"\n  Press enter to confirm or esc to cancel\n"_s;
}

const QString threeRows =
    u"› 1. Yes, proceed (y)\n"
    "  2. Yes, and don't ask again for commands that start with `git push` (p)\n"
    "  3. No, and tell Codex what to do differently (esc)\n"_s;

TEST(CodexApproval, ReadsTheCommandAndTheKeysOfItsRows)
{
    const auto reading = read(approval(threeRows));
    ASSERT_EQ(reading.kind, InteractionKind::approval);
    EXPECT_EQ(reading.choices[0].shortcutKeys, std::vector<QString>{u"y"_s});
    EXPECT_EQ(reading.choices[1].shortcutKeys, std::vector<QString>{u"p"_s});
    EXPECT_EQ(reading.choices[2].shortcutKeys, std::vector<QString>{u"esc"_s});
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
}

TEST(CodexApproval, JoinsACommandWrappedInsideBackticksWithoutABlank)
{
    const auto reading =
        read(approval(u"› 1. Yes, proceed (y)\n"
                      "  2. Yes, and don't ask again for commands that start with `git push orig\n"
                      "  in` (p)\n"
                      "  3. No, and tell Codex\n"
                      "     what to do differently (esc)\n"_s));
    ASSERT_EQ(reading.kind, InteractionKind::approval);
    EXPECT_EQ(reading.choices[1].description,
              u"Persist approval for commands starting with `git push origin`."_s);
    EXPECT_EQ(reading.choices[2].label, u"No, and tell Codex what to do differently"_s);
}

TEST(CodexApproval, AnythingThatDoesNotFitIsUnknown)
{
    EXPECT_EQ(read(approval(u"› 1. Yes (y)\n  2. No (esc)\n"_s)).kind, InteractionKind::unknown);
    EXPECT_EQ(read(approval(u""_s)).kind, InteractionKind::unknown);
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
    EXPECT_EQ(read(persistWithoutPrefix).choices[1].label,
              u"Yes, and don't ask again for these files"_s);
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
           + (rows.isEmpty()
                  ? wrappedRow(
                        u"  › 1. PostgreSQL (Recommended)  Relational, already used by the"_s,
                        u"billing service"_s)
                        + u"    2. SQLite                    Single file\n"_s
                  : rows)
           + u"\n  "_s + footer + u"\n"_s;
}

TEST(CodexQuestion, CapabilitiesAndAHeaderThatSaysMore)
{
    const auto reading =
        read(question(u"Question 1/3 (2 unanswered)"_s,
                      u"tab to add notes | enter to submit all | esc to interrupt"_s));
    ASSERT_EQ(reading.kind, InteractionKind::question);
    EXPECT_EQ(reading.choices[0].description, u"Relational, already used by the billing service"_s);
    EXPECT_EQ(reading.capabilities,
              (std::set{InteractionCapability::selectOne, InteractionCapability::deny,
                        InteractionCapability::enterText, InteractionCapability::navigateSteps}));
    const auto single =
        read(question(u"Question 1/1"_s, u"tab to add notes | enter to submit answer"_s));
    EXPECT_FALSE(single.capabilities.contains(InteractionCapability::navigateSteps));
    EXPECT_EQ(
        read(question(u"Question 1/2 left"_s, u"tab to add notes | enter to submit answer"_s)).kind,
        InteractionKind::unknown);
}

TEST(CodexOptions, ParsesRowsAndContinuations)
{
    using Option = CodexScreenAdapter::ParsedOption;
    EXPECT_EQ(CodexScreenAdapter::parseOptionLine(u"  › 12. Twelve  the twelfth"),
              (Option{u"Twelve"_s, u"the twelfth"_s, true, {}}));
    EXPECT_EQ(CodexScreenAdapter::parseOptionLine(u"> 1. Only a label"),
              (Option{u"Only a label"_s, {}, true, {}}));
    for (const QStringView rejected :
         {u"0. Zero", u"-1. Minus", u"1.", u"1.   ", u"Pick one.", u"x. y"})
        EXPECT_FALSE(CodexScreenAdapter::parseOptionLine(rejected))
            << rejected.toString().toStdString();

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
    EXPECT_EQ(counted.progress, (InteractionProgress{{}, {}, 3}));
    EXPECT_EQ(counted.capabilities,
              (std::set{InteractionCapability::selectOne, InteractionCapability::deny}));
    for (const auto& choice : counted.choices)
        EXPECT_EQ(choice.kind, InteractionChoiceKind::option);

    EXPECT_EQ(read(review(u"3 unanswered questions left"_s, rows)).progress,
              (InteractionProgress{{}, {}, {}}));
    EXPECT_EQ(read(review(u"1 unanswered question"_s, rows)).progress,
              (InteractionProgress{{}, {}, {}}));
    EXPECT_EQ(read(review(u"3 unanswered questions"_s, rows + u"    3. Third\n"_s)).kind,
              InteractionKind::unknown);
}

} // namespace
