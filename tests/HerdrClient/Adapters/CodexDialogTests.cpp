// Codex's edit approval, its notes field and its dialogs: what the corpus of real screens does
// not show (the diff evidence line by line, the keys, and the near misses of each shape).
#include "HerdrClient/Adapters/CodexScreenAdapter.h"
#include "HerdrClient/Responding/InteractionResponsePlanner.h"

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

std::optional<std::vector<QString>> keys(const InteractionResponseIntent& intent,
                                         const PendingInteraction& reading)
{
    const auto plan = InteractionResponsePlanner().plan(intent, reading);
    if (!plan)
        return std::nullopt;
    return plan->flattenedKeys();
}

const QString editRows = u"› 1. Yes, proceed (y)\n"
                         "  2. Yes, and don't ask again for these files (a)\n"
                         "  3. No, and tell Codex what to do differently (esc)\n"
                         "\n  Press enter to confirm or esc to cancel\n"_s;

QString editApproval(const QString& block, const QString& rows = editRows)
{
    return u"› Please edit the greeting.\n\n• Now I will make the edit.\n\n"_s + block
           + u"\n\n  Would you like to make the following edits?\n\n"
             "  Description: Apply proposed file edits\n"
             "  Destination: /home/ana/src/demo/src/greeting.js\n\n\n"_s
           + rows;
}

const QString greetingBlock = u"• Edited src/greeting.js (+1 -1)\n"
                              "    3 -  return 'Hello, ' + name;\n"
                              "    3 +  return `Hello, ${name}!`;\n"
                              "    + Show details\n"_s;

TEST(CodexEditApproval, ReadsTheDiffAboveItLineByLine)
{
    const auto reading = read(editApproval(greetingBlock));
    ASSERT_EQ(reading.kind, InteractionKind::approval);
    ASSERT_TRUE(reading.contentEvidence && reading.contentEvidence->diff());
    EXPECT_EQ(*reading.contentEvidence->diff(),
              (InteractionDiffEvidence{
                  u"/home/ana/src/demo/src/greeting.js"_s,
                  {{3, InteractionDiffLineKind::removal, u"  return 'Hello, ' + name;"_s},
                   {3, InteractionDiffLineKind::addition, u"  return `Hello, ${name}!`;"_s}}}));
    EXPECT_EQ(reading.body, u"Description: Apply proposed file edits\n"
                            "Destination: /home/ana/src/demo/src/greeting.js"_s);
    EXPECT_EQ(keys(InteractionResponseIntent::approve(), reading), std::vector{u"y"_s});
    EXPECT_EQ(keys(InteractionResponseIntent::selectChoice(1), reading), std::vector{u"a"_s});
    EXPECT_EQ(keys(InteractionResponseIntent::deny(), reading), std::vector{u"esc"_s});
}

TEST(CodexEditApproval, ABlockNotKnownToBeThisEditsGivesNoEvidence)
{
    // Another file's block, a heading that scrolled away, a line that is no diff line.
    const QString otherFile = u"• Edited src/other.js (+1 -1)\n    3 -  a\n    3 +  b\n"_s;
    const QString noHeading = u"    3 -  return 'Hello, ' + name;\n    3 +  return 1;\n"_s;
    const QString interrupted =
        u"• Edited src/greeting.js (+1 -1)\n    3 -  a\n  and more\n    3 +  b\n"_s;
    for (const QString& block : {otherFile, noHeading, interrupted}) {
        const auto reading = read(editApproval(block));
        EXPECT_EQ(reading.kind, InteractionKind::approval) << block.toStdString();
        EXPECT_FALSE(reading.contentEvidence) << block.toStdString();
    }
    // A heading with no lines under it is no diff either.
    EXPECT_FALSE(read(editApproval(u"• Added src/greeting.js (+0 -0)\n"_s)).contentEvidence);
}

TEST(CodexEditApproval, RowsThatLostTheirKeysAreAmbiguousAndACommandsKeysAreNotAnEdits)
{
    const auto lost = read(editApproval(
        greetingBlock, u"› 1. Yes, proceed (y)\n  2. Yes, and don't ask again for these files\n"
                       "  3. No (esc)\n\n  Press enter to confirm or esc to cancel\n"_s));
    ASSERT_EQ(lost.kind, InteractionKind::approval);
    EXPECT_EQ(lost.presentation.mechanism, InteractionMechanism::ambiguous);
    EXPECT_TRUE(lost.choices[0].shortcutKeys.empty());
    EXPECT_FALSE(keys(InteractionResponseIntent::approve(), lost));

    const auto commandKeys =
        read(editApproval(greetingBlock, u"› 1. Yes (y)\n  2. Yes, always (p)\n  3. No (esc)\n\n"
                                         "  Press enter to confirm or esc to cancel\n"_s));
    EXPECT_EQ(commandKeys.presentation.mechanism, InteractionMechanism::ambiguous);
    EXPECT_EQ(read(editApproval(greetingBlock, u"› 1. Yes (y)\n  2. No (esc)\n\n"
                                               "  Press enter to confirm or esc to cancel\n"_s))
                  .kind,
              InteractionKind::unknown);
}

TEST(CodexEditApproval, DiffLines)
{
    using Line = InteractionDiffLine;
    EXPECT_EQ(CodexScreenAdapter::parseDiffLine(u"    2 +"),
              (Line{2, InteractionDiffLineKind::addition, u""_s}));
    EXPECT_EQ(CodexScreenAdapter::parseDiffLine(u"   12    context"),
              (Line{12, InteractionDiffLineKind::context, u"  context"_s}));
    for (const QStringView rejected : {u"    + Show details", u"    3", u"    3x+ a", u"  1. Yes"})
        EXPECT_FALSE(CodexScreenAdapter::parseDiffLine(rejected))
            << rejected.toString().toStdString();
}

QString question(const QString& notes, const QString& footer)
{
    return u"  Question 1/1 (1 unanswered)\n  Which database should the new service use?\n\n"
           "  › 1. PostgreSQL (Recommended)  Relational\n"
           "    2. SQLite                    Single file\n\n"_s
           + notes + u"\n  "_s + footer + u"\n"_s;
}

TEST(CodexQuestionNotes, TheNotesFooterPutsTheFocusInTheFieldWhatEverItHolds)
{
    const QString footer = u"tab or esc to clear notes | enter to submit answer"_s;
    for (const QString& notes : {u"  › Add notes\n"_s, u"  › keep it small\n"_s}) {
        const auto reading = read(question(notes, footer));
        ASSERT_EQ(reading.kind, InteractionKind::question) << notes.toStdString();
        EXPECT_EQ(reading.presentation.mechanism, InteractionMechanism::textEntry);
        EXPECT_TRUE(reading.capabilities.contains(InteractionCapability::enterText));
        EXPECT_EQ(keys(InteractionResponseIntent::submit(), reading), std::vector{u"enter"_s});
        EXPECT_EQ(keys(InteractionResponseIntent::clearTextEntry(), reading),
                  std::vector{u"tab"_s});
    }
    const auto closed = read(question({}, u"tab to add notes | enter to submit answer"_s));
    EXPECT_EQ(closed.presentation.mechanism, InteractionMechanism::arrowNavigate);
    // Segments are whole: a footer that only mentions the words is no footer.
    EXPECT_EQ(read(question({}, u"tab or esc to clear notes, enter to submit answer"_s)).kind,
              InteractionKind::unknown);
}

QString planPrompt(const QString& rows, const QString& below = {})
{
    return u"• Proposed Plan\n\n\n  # Plan: greeting\n\n  1. Read src/greeting.js.\n"
           "  2. Use a template literal.\n\n\n  Worked for <1s • 00:50\n\n\n"
           "  Implement this plan?\n\n\n"_s
           + rows + u"\n  enter select · esc back\n"_s + below;
}

const QString planRows = u"› 1. Yes, implement this plan          Switch to Default\n"
                         "  2. Yes, clear context and implement  Fresh thread\n"
                         "  3. No, stay in Plan mode             Continue planning\n"_s;

TEST(CodexPlanPrompt, DigitsPickTheRowsAndThePlanIsTheBody)
{
    const auto reading = read(planPrompt(planRows));
    ASSERT_EQ(reading.kind, InteractionKind::approval);
    EXPECT_EQ(reading.body,
              u"# Plan: greeting\n1. Read src/greeting.js.\n2. Use a template literal."_s);
    EXPECT_EQ(reading.choices[2].shortcutKeys, std::vector{u"3"_s});
    EXPECT_EQ(keys(InteractionResponseIntent::approve(), reading), std::vector{u"1"_s});
    EXPECT_EQ(keys(InteractionResponseIntent::deny(), reading), std::vector{u"esc"_s});
    EXPECT_EQ(keys(InteractionResponseIntent::submit(), reading), std::vector{u"enter"_s});

    // A gap in the numbers, a single row, or anything drawn below the footer: not this prompt.
    const QString gap = u"› 1. Yes  a\n  2. Maybe  b\n  4. No  c\n"_s;
    EXPECT_EQ(read(planPrompt(gap)).kind, InteractionKind::unknown);
    EXPECT_EQ(read(planPrompt(u"› 1. Yes  a\n"_s)).kind, InteractionKind::unknown);
    EXPECT_EQ(read(planPrompt(planRows, u"\n› Ask Codex to do anything\n"_s)).kind,
              InteractionKind::unknown);
}

QString folderTrust(const QString& rows)
{
    return u"\n  Folder access\n  /home/ana/src/new\n\n"
           "  Trust this folder? Codex can read, edit, and run files here.\n"
           "  Your trust decision will be saved.\n\n"_s
           + rows + u"\n  enter continue · esc back\n"_s;
}

TEST(CodexFolderTrust, ArrowsOnlyAndThePathInTheBody)
{
    const auto reading =
        read(folderTrust(u"  1. Trust and continue\n› 2. Back to Agent Command Center\n"_s));
    ASSERT_EQ(reading.kind, InteractionKind::approval);
    EXPECT_EQ(reading.header, u"Folder access"_s);
    EXPECT_EQ(reading.body, u"/home/ana/src/new\nCodex can read, edit, and run files here.\n"
                            "Your trust decision will be saved."_s);
    for (const auto& choice : reading.choices)
        EXPECT_TRUE(choice.shortcutKeys.empty());
    EXPECT_EQ(keys(InteractionResponseIntent::approve(), reading),
              (std::vector{u"up"_s, u"enter"_s}));
    EXPECT_EQ(read(folderTrust(u"› 1. Trust and continue\n"_s)).kind, InteractionKind::unknown);
}

QString notice(const QString& title)
{
    return u"\n"_s + title
           + u"\n\n  Our latest model is faster.\n\n› 1. Try new model\n  2. Use existing model\n\n"
             "  enter/esc confirm · ^c quit\n"_s;
}

TEST(CodexModelNotice, DigitsPickAndNothingCancels)
{
    const auto reading = read(notice(u"  Meet GPT-6 Sol"_s));
    ASSERT_EQ(reading.kind, InteractionKind::question);
    EXPECT_EQ(reading.title, u"Meet GPT-6 Sol"_s);
    EXPECT_EQ(reading.body, u"Our latest model is faster."_s);
    EXPECT_EQ(keys(InteractionResponseIntent::selectChoice(1), reading), std::vector{u"2"_s});
    // Esc confirms the cursor row here, so no intent may send it.
    EXPECT_FALSE(keys(InteractionResponseIntent::cancel(), reading));
    EXPECT_EQ(read(notice(u"  1. Not a title"_s)).kind, InteractionKind::unknown);
}

} // namespace

TEST(CodexDialogs, TitlesAndFootersWithoutRowsAreNoPrompt)
{
    const QString screens[] = {
        u"  enter/esc confirm · ^c quit\n"_s,
        u"\n\n  enter/esc confirm · ^c quit"_s,
        u"  Implement this plan?\n\n  enter select · esc back\n"_s,
        u"  Trust this folder?\n  enter continue · esc back\n"_s,
        u"  Would you like to make the following edits?\n"
        "  Press enter to confirm or esc to cancel\n"_s,
        u"  Question 1/1\n  Which one?\n  tab or esc to clear notes | enter to submit answer\n"_s,
    };
    for (const QString& screen : screens) {
        const auto reading = read(screen);
        EXPECT_EQ(reading.kind, InteractionKind::unknown) << screen.toStdString();
        EXPECT_EQ(reading.evidence.providerID, u"generic-screen"_s);
    }
}
