#include "HerdrClient/Interaction/CompletionSummaryExtractor.h"
#include "HerdrClient/Interaction/RecentOutputExtractor.h"
#include "HerdrClient/Interaction/ScreenAgentModeProvider.h"
#include "HerdrClient/Interaction/ScreenText.h"
#include "tests/Adapters/AdapterTestSupport.h"

#include <QDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QString screen(const char* name)
{
    return loadScreenSource(QString::fromUtf8(name)).detection;
}

// The screen down to and including the first line that begins with `line`, as it stood when
// the person began to type that line.
QString screenUpTo(const char* name, const QString& line)
{
    const QString text = screen(name);
    const qsizetype at = text.indexOf(u'\n' + line);
    EXPECT_GE(at, 0) << name;
    return text.left(text.indexOf(u'\n', at + 1));
}

} // namespace

TEST(CompletionSummaryExtractor, RealScreensGiveTheLastBulletOfProse)
{
    struct Case {
        const char* name;
        QString screen;
        std::optional<QString> summary;
    };
    const std::vector<Case> cases = {
        {"finished codex turn, the person typing the next one",
         screenUpTo("codex-real-approval-git-push", u"› Now push"_s),
         u"Done. The tool reported: Chunk ID: 930dab Worked for 7s • 02:00"_s},
        {"codex tool line \"• Running\" skipped for the bullet above it",
         screen("codex-real-approval-git-push"),
         u"I will run a command for that. • Running git push origin main Would you like to run the "
         u"following command? Environment: local Reason: Do you want to allow: push the branch to "
         u"origin? $ git push origin main"_s},
        {"finished claude turn",
         screenUpTo("claude-real-approval-edit-diff", u"❯ Edit the greeting"_s),
         u"Done. The tool reported: (Bash completed with no output) ✻ Worked for 0s · done 2:08 AM"_s},
        {"codex review: last prose above the input box",
         screenUpTo("codex-real-question-review-unanswered", u"› Ask me two questions"_s),
         u"Done. The tool reported: {\"answers\":{\"db\":{\"answers\":[\"SQLite\",\"user_note: keep it "
         u"small\"]}}} Worked for 10s • 02:03"_s},
    };
    for (const auto& c : cases) {
        ASSERT_FALSE(c.screen.isEmpty()) << c.name;
        EXPECT_EQ(CompletionSummaryExtractor::extract(c.screen, 280), c.summary) << c.name;
    }
}

TEST(CompletionSummaryExtractor, EveryRealScreenFitsTheLimit)
{
    const QStringList names = QDir(QStringLiteral(ORREL_SCREEN_SOURCES)).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    ASSERT_FALSE(names.isEmpty());
    for (const QString& name : names) {
        const auto summary = CompletionSummaryExtractor::extract(loadScreenSource(name).detection, 120);
        if (!summary)
            continue;
        EXPECT_LE(ScreenText::characterCount(*summary), 120) << name.toStdString();
        EXPECT_FALSE(summary->contains(u'\n')) << name.toStdString();
        EXPECT_EQ(*summary, summary->simplified()) << name.toStdString();
    }
}

TEST(CompletionSummaryExtractor, EdgeCases)
{
    struct Case {
        const char* name;
        QString text;
        std::optional<QString> summary;
    };
    const std::vector<Case> cases = {
        {"noise bullet below prose", u"• All tests pass now.\n\n• Ran cargo test\n  └ ok"_s, u"All tests pass now. • Ran cargo test"_s},
        {"only rule lines", u"────────\n━━━━\n═══ ───"_s, std::nullopt},
        {"nothing", u""_s, std::nullopt},
        {"input box and all below cut", u"• Done here.\n› next task\n• not a summary"_s, u"Done here."_s},
        {"lowest input box wins", u"❯ first\n• Middle.\n  ❯ second\nbelow"_s, u"Middle."_s},
        {"trailing rules and tool results dropped", u"• Shipped.\n  └ exit 0\n────\n   \n"_s, u"Shipped."_s},
        {"no bullet: from the last empty line", u"old text\n\nWrapped summary\nsecond line"_s,
         u"Wrapped summary second line"_s},
        {"no bullet: first line when none is empty", u"Line one\nline two"_s, u"Line one line two"_s},
        {"no bullet, noise at the start", u"text\n\nran the tests\nall green"_s, std::nullopt},
        {"no good bullet, noisy bullet at the start", u"• Ran tests\n  all green"_s, std::nullopt},
        {"bullet then tool result only", u"• └ hidden"_s, std::nullopt},
        {"white space collapsed", u"•   Spaced\t\tout   words"_s, u"Spaced out words"_s},
        {"CRLF line ends", u"• First\r\nsecond\r\n"_s, u"First second"_s},
        {"a bullet needs its blank", u"•Done\n\nReal end."_s, u"Real end."_s},
    };
    for (const auto& c : cases)
        EXPECT_EQ(CompletionSummaryExtractor::extract(c.text, 280), c.summary) << c.name;
}

TEST(CompletionSummaryExtractor, NoisyBulletsAreNotTheStart)
{
    const std::vector<QString> noisy = {
        u"Ran "_s,      u"RUNNING "_s,  u"read "_s,    u"Searched "_s,
        u"Edited "_s,   u"Wrote "_s,    u"Explored "_s, u"Working "_s,
        u"You have "_s, u"I’m requesting approval"_s, u"I'm requesting approval"_s,
    };
    for (const QString& prefix : noisy) {
        const QString line = u"● "_s + prefix + u"thing"_s;
        EXPECT_EQ(CompletionSummaryExtractor::extract(u"● Fixed it.\n"_s + line, 280), u"Fixed it. "_s + line)
            << prefix.toStdString();
    }
    // The same words further in, or without their blank, are prose.
    for (const QString& line : {u"● Summary: ran it"_s, u"● Ranking done"_s, u"● Readme updated"_s})
        EXPECT_EQ(CompletionSummaryExtractor::extract(u"● Fixed it.\n"_s + line, 280), line.mid(2));
}

TEST(CompletionSummaryExtractor, LongSummariesAreCutInWholeCharacters)
{
    const QString thousand = u"• "_s + QString(u"word "_s).repeated(200);
    const auto cut = CompletionSummaryExtractor::extract(thousand, 100);
    ASSERT_TRUE(cut);
    EXPECT_LE(ScreenText::characterCount(*cut), 100);
    EXPECT_TRUE(cut->endsWith(u"…"_s));
    EXPECT_FALSE(cut->contains(u" …"_s)); // blanks before the ellipsis go

    struct Case {
        const char* name;
        QString text;
        int limit;
        QString summary;
    };
    const std::vector<Case> cases = {
        {"blanks before the cut go", u"• word word word"_s, 6, u"word…"_s},
        {"exactly at the limit", u"• abcde"_s, 5, u"abcde"_s},
        {"one over", u"• abcdef"_s, 5, u"abcd…"_s},
        {"limit 0 counts as 1", u"• Done."_s, 0, u"…"_s},
        {"negative limit", u"• Done."_s, -5, u"…"_s},
        {"flags count as one character each", u"• 🇩🇪🇫🇷🇮🇹 ok"_s, 3, u"🇩🇪🇫🇷…"_s},
        {"combining marks stay with their letter", u"• e\u0301e\u0301e\u0301e\u0301"_s, 3, u"e\u0301e\u0301…"_s},
    };
    for (const auto& c : cases)
        EXPECT_EQ(CompletionSummaryExtractor::extract(c.text, c.limit), c.summary) << c.name;
}

TEST(RecentOutputExtractor, KeepsTheLastWholeLines)
{
    struct Case {
        const char* name;
        QString text;
        int lines;
        int characters;
        QString output;
    };
    const std::vector<Case> cases = {
        {"blank lines at both ends dropped, inner ones kept", u"\n  \n\ta\n\nb\n \t\n"_s, 16, 4096, u"\ta\n\nb"_s},
        {"last lines", u"1\n2\n3\n4"_s, 2, 4096, u"3\n4"_s},
        {"line limit 0 counts as 1", u"1\n2"_s, 0, 4096, u"2"_s},
        {"CR and CRLF are line ends", u"a\r\nb\rc"_s, 2, 4096, u"b\nc"_s},
        {"only blanks", u" \n\t\n"_s, 16, 4096, u""_s},
        {"cut begins on a whole line", u"first line\nsecond\nthird"_s, 16, 10, u"third"_s},
        {"cut at a line start keeps its newline", u"abcdef\nxyz"_s, 16, 4, u"\nxyz"_s},
        {"one long line keeps its end", u"abcdefghij"_s, 16, 4, u"ghij"_s},
        {"character limit 0 counts as 1", u"ab\ncd"_s, 16, 0, u"d"_s},
        {"characters, not UTF-16 units", u"x\n🇩🇪🇩🇪\n🇫🇷"_s, 16, 4, u"🇫🇷"_s},
        {"emoji line within the limit", u"🇩🇪🇩🇪\n🇫🇷"_s, 16, 4, u"🇩🇪🇩🇪\n🇫🇷"_s},
    };
    for (const auto& c : cases)
        EXPECT_EQ(RecentOutputExtractor::extract(c.text, c.lines, c.characters), c.output) << c.name;
}

TEST(RecentOutputExtractor, RealScreenTail)
{
    const QString output = RecentOutputExtractor::extract(screen("codex-real-approval-git-push"), 12, 4096);
    EXPECT_TRUE(output.startsWith(u"  Environment: local\n"_s)) << output.toStdString();
    EXPECT_TRUE(output.endsWith(u"\n  Press enter to confirm or esc to cancel"_s)) << output.toStdString();
    EXPECT_EQ(output.count(u'\n'), 11);
}

TEST(ScreenAgentModeProvider, DetectsTheLowestModeLine)
{
    struct Case {
        const char* name;
        QString agent;
        QString text;
        std::optional<AgentMode> mode;
    };
    const std::vector<Case> cases = {
        {"bypass", u"claude"_s, u"⏵⏵ Bypass Permissions on (shift+tab to cycle)"_s, AgentMode::bypassPermissions},
        {"don't ask", u"claude"_s, u"don't ask mode on"_s, AgentMode::dontAsk},
        {"dont ask", u"codex"_s, u"Dont Ask Mode"_s, AgentMode::dontAsk},
        {"auto", u"claude"_s, u"⏵⏵ auto mode on"_s, AgentMode::auto_},
        {"accept edits", u"claude"_s, u"⏵⏵ accept edits on (shift+tab to cycle)"_s, AgentMode::acceptEdits},
        {"plan", u"claude"_s, u"⏸ plan mode on (shift+tab to cycle)"_s, AgentMode::plan},
        {"plan, codex footer", u"codex"_s, u"Plan mode (shift+tab to cycle)"_s, AgentMode::plan},
        {"manual", u"codex"_s, u"manual mode on"_s, AgentMode::manual},
        {"default", u"codex"_s, u"Default mode"_s, AgentMode::default_},
        {"lower line wins", u"claude"_s, u"bypass permissions\nplan mode on\n\n"_s, AgentMode::plan},
        {"table order within a line", u"claude"_s, u"plan mode on · bypass permissions"_s, AgentMode::bypassPermissions},
        {"CR line ends", u"claude"_s, u"plan mode on\rauto mode on"_s, AgentMode::auto_},
        {"agent id trimmed", u" claude\n"_s, u"plan mode on"_s, AgentMode::plan},
        {"pi never has a mode", u"pi"_s, u"plan mode on"_s, std::nullopt},
        {"no agent", u""_s, u"plan mode on"_s, std::nullopt},
        {"a mode named without its phrase", u"claude"_s, u"switch to auto mode below\naccept edits (shift+tab)"_s, std::nullopt},
        {"nothing", u"claude"_s, u""_s, std::nullopt},
    };
    for (const auto& c : cases)
        EXPECT_EQ(ScreenAgentModeProvider::detectMode(c.agent, c.text), c.mode) << c.name;
}

TEST(ScreenAgentModeProvider, RealScreensNameAModeOnlyInTheirStatusLine)
{
    // Prompts quote modes ("switch to auto mode", "accept edits ... (shift+tab)") without being
    // in one.
    const QStringList names = QDir(QStringLiteral(ORREL_SCREEN_SOURCES)).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString& name : names) {
        const QString text = loadScreenSource(name).detection;
        EXPECT_EQ(ScreenAgentModeProvider::detectMode(u"claude"_s, text), std::nullopt) << name.toStdString();
        EXPECT_EQ(ScreenAgentModeProvider::detectMode(u"claude"_s, text + u"\n  ⏵⏵ accept edits on (shift+tab to cycle)\n"_s),
                  AgentMode::acceptEdits)
            << name.toStdString();
    }
}

TEST(AgentMode, TextsAndCycling)
{
    const std::vector<std::tuple<AgentMode, QString, QString>> modes = {
        {AgentMode::manual, u"manual"_s, u"Manual"_s},
        {AgentMode::acceptEdits, u"acceptEdits"_s, u"Accept Edits"_s},
        {AgentMode::plan, u"plan"_s, u"Plan"_s},
        {AgentMode::auto_, u"auto"_s, u"Auto"_s},
        {AgentMode::dontAsk, u"dontAsk"_s, u"Don't Ask"_s},
        {AgentMode::bypassPermissions, u"bypassPermissions"_s, u"Bypass"_s},
        {AgentMode::default_, u"default"_s, u"Default"_s},
    };
    for (const auto& [mode, text, display] : modes) {
        EXPECT_EQ(toString(mode), text);
        EXPECT_EQ(displayName(mode), display);
        EXPECT_EQ(agentModeFromString(text), mode);
    }
    EXPECT_EQ(agentModeFromString(u"Plan"), std::nullopt);
    EXPECT_TRUE(AgentModeCycling::supports(u" Codex "));
    EXPECT_FALSE(AgentModeCycling::supports(u"opencode"));
}
