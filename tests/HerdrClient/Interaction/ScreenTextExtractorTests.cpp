#include "HerdrClient/Interaction/CompletionSummaryExtractor.h"
#include "HerdrClient/Interaction/RecentOutputExtractor.h"
#include "HerdrClient/Interaction/ScreenAgentModeProvider.h"
#include "HerdrClient/Interaction/ScreenText.h"
#include "tests/HerdrClient/Adapters/AdapterTestSupport.h"

#include <QDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// A real screen down to the line that begins with `line`: as it stood when the person had
// typed that line, the turn before it finished.
QString screenUpTo(const char* name, const QString& line)
{
    const QString text = loadScreenSource(QString::fromUtf8(name)).detection;
    const qsizetype at = text.indexOf(u'\n' + line);
    EXPECT_GE(at, 0) << name;
    return text.left(text.indexOf(u'\n', at + 1));
}

QStringList realScreens()
{
    return QDir(QStringLiteral(ORREL_SCREEN_SOURCES)).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
}

// claude's own status line ("⏸ manual mode on", "⏵⏵ auto mode on"), drawn on idle and working
// screens.
bool drawsStatusLine(const QString& text)
{
    for (const QString& line : ScreenText::lines(text)) {
        const QString trimmed = line.trimmed();
        if (trimmed.startsWith(u"⏸"_s) || trimmed.startsWith(u"⏵⏵"_s))
            return true;
    }
    return false;
}

} // namespace

TEST(CompletionSummaryExtractor, RealScreensGiveTheLastBulletOfProse)
{
    EXPECT_EQ(CompletionSummaryExtractor::extract(
                  screenUpTo("codex-real-approval-git-push", u"› Now push"_s), 280),
              u"Done. The tool reported: Chunk ID: 930dab Worked for 7s • 02:00"_s);
    EXPECT_EQ(
        CompletionSummaryExtractor::extract(
            screenUpTo("claude-real-approval-edit-diff", u"❯ Edit the"_s), 280),
        u"Done. The tool reported: (Bash completed with no output) ✻ Worked for 0s · done 2:08 AM"_s);
    // The tool line "• Running git push" is passed over for the prose bullet above it.
    const auto waiting = CompletionSummaryExtractor::extract(
        loadScreenSource(u"codex-real-approval-git-push"_s).detection, 280);
    ASSERT_TRUE(waiting);
    EXPECT_TRUE(waiting->startsWith(u"I will run a command for that. • Running git push"_s))
        << waiting->toStdString();
}

TEST(CompletionSummaryExtractor, EdgeCases)
{
    struct Case {
        const char* name;
        QString text;
        int limit;
        std::optional<QString> summary;
    };
    const std::vector<Case> cases = {
        {"noise bullet skipped", u"• All tests pass.\n\n• Ran cargo test\n  └ ok"_s, 280,
         u"All tests pass. • Ran cargo test"_s},
        {"curly apostrophe is noise", u"● Fixed.\n● I’m requesting approval to push"_s, 280,
         u"Fixed. ● I’m requesting approval to push"_s},
        {"noise word without its blank", u"● Fixed.\n● RANKING done"_s, 280, u"RANKING done"_s},
        {"only rule lines", u"────────\n━━━━\n═══ ───"_s, 280, std::nullopt},
        {"lowest input box and all below cut", u"❯ first\n• Middle.\n  ❯ second\n• below"_s, 280,
         u"Middle."_s},
        {"trailing rules and tool results", u"• Shipped.\n  └ exit 0\n────\n   \n"_s, 280,
         u"Shipped."_s},
        {"no bullet: after the last empty line", u"old\n\nWrapped summary\r\nsecond line"_s, 280,
         u"Wrapped summary second line"_s},
        {"no bullet, noise at the start", u"text\n\nran the tests\nall green"_s, 280, std::nullopt},
        {"only a noisy bullet", u"• Ran tests\n  all green"_s, 280, std::nullopt},
        {"a tool result behind a bullet", u"• └ hidden"_s, 280, std::nullopt},
        {"white space collapsed", u"•   Spaced\t\tout   words"_s, 280, u"Spaced out words"_s},
        {"exactly at the limit", u"• abcde"_s, 5, u"abcde"_s},
        {"blanks before the ellipsis go", u"• word word word"_s, 6, u"word…"_s},
        {"limit 0 counts as 1", u"• Done."_s, 0, u"…"_s},
        {"flags are one character each", u"• 🇩🇪🇫🇷🇮🇹 ok"_s, 3, u"🇩🇪🇫🇷…"_s},
        {"combining marks stay with their letter", u"• e\u0301e\u0301e\u0301e\u0301"_s, 3,
         u"e\u0301e\u0301…"_s},
    };
    for (const auto& c : cases)
        EXPECT_EQ(CompletionSummaryExtractor::extract(c.text, c.limit), c.summary) << c.name;

    const auto cut = CompletionSummaryExtractor::extract(u"• "_s + u"word "_s.repeated(200), 100);
    ASSERT_TRUE(cut);
    EXPECT_LE(ScreenText::characterCount(*cut), 100);
    EXPECT_TRUE(cut->endsWith(u"…"_s));
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
        {"blank lines at both ends dropped, inner kept", u"\n  \n\ta\n\nb\n \t\n"_s, 16, 4096,
         u"\ta\n\nb"_s},
        {"last lines", u"1\r\n2\r3\n4"_s, 2, 4096, u"3\n4"_s},
        {"line limit 0 counts as 1", u"1\n2"_s, 0, 4096, u"2"_s},
        {"cut begins on a whole line", u"first line\nsecond\nthird"_s, 16, 10, u"third"_s},
        {"cut at a line start keeps its newline", u"abcdef\nxyz"_s, 16, 4, u"\nxyz"_s},
        {"one long line keeps its end", u"abcdefghij"_s, 16, 4, u"ghij"_s},
        {"character limit 0 counts as 1", u"ab\ncd"_s, 16, 0, u"d"_s},
        {"characters, not UTF-16 units", u"x\n🇩🇪🇩🇪\n🇫🇷"_s, 16, 4, u"🇫🇷"_s},
    };
    for (const auto& c : cases)
        EXPECT_EQ(RecentOutputExtractor::extract(c.text, c.lines, c.characters), c.output)
            << c.name;
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
        {"bypass", u"claude"_s, u"⏵⏵ Bypass Permissions on"_s, AgentMode::bypassPermissions},
        {"dont ask", u"codex"_s, u"Dont Ask Mode"_s, AgentMode::dontAsk},
        {"accept edits", u"claude"_s, u"⏵⏵ accept edits on (shift+tab to cycle)"_s,
         AgentMode::acceptEdits},
        {"plan, codex footer", u"codex"_s, u"Plan mode (shift+tab to cycle)"_s, AgentMode::plan},
        {"default", u"codex"_s, u"Default mode"_s, AgentMode::default_},
        {"lower line wins", u"claude"_s, u"bypass permissions\nplan mode on\n\n"_s,
         AgentMode::plan},
        {"table order within a line", u"claude"_s, u"plan mode on · bypass permissions"_s,
         AgentMode::bypassPermissions},
        {"CR line ends", u"claude"_s, u"plan mode on\rauto mode on"_s, AgentMode::auto_},
        {"pi never has a mode", u"pi"_s, u"plan mode on"_s, std::nullopt},
        {"a mode named without its phrase", u"claude"_s, u"switch to auto mode below"_s,
         std::nullopt},
    };
    for (const auto& c : cases)
        EXPECT_EQ(ScreenAgentModeProvider::detectMode(c.agent, c.text), c.mode) << c.name;

    // Real prompts quote modes ("switch to accept edits … (shift+tab)") without being in one.
    // Idle and working screens draw the status line itself; they are left out.
    for (const QString& name : realScreens()) {
        const QString text = loadScreenSource(name).detection;
        if (drawsStatusLine(text))
            continue;
        EXPECT_EQ(ScreenAgentModeProvider::detectMode(u" claude "_s, text), std::nullopt)
            << name.toStdString();
        EXPECT_EQ(ScreenAgentModeProvider::detectMode(
                      u"claude"_s, text + u"\n ⏸ plan mode on (shift+tab to cycle)\n"_s),
                  AgentMode::plan)
            << name.toStdString();
    }
}
