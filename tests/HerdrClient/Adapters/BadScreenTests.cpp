// Screens no agent would draw: huge, binary, broken, endless. The readers must end in the
// generic reading or their own outcome, never crash, and never read a prompt into noise.
#include "HerdrClient/Adapters/StandardScreenAdapters.h"
#include "HerdrClient/Interaction/PromptClassifier.h"
#include "HerdrClient/Interaction/ScreenInteractionProvider.h"
#include "tests/HerdrClient/Adapters/ReadingChecks.h"

#include <gtest/gtest.h>

#include <random>

using namespace Qt::StringLiterals;

namespace {

const QStringList agents = {u"claude"_s, u"pi"_s, u"opencode"_s};

PendingInteraction classify(const QString& agent, const QString& text,
                            const std::optional<QString>& visible = std::nullopt)
{
    static const PromptClassifier classifier(standardScreenAdapters());
    const auto tab = visible ? ScreenInteractionProvider::currentTabLabel(*visible) : std::nullopt;
    return classifier.classifyInteraction(u"w1:p1"_s, agent, text, visible, std::nullopt, tab);
}

QString randomBytesAsText(std::mt19937& random, int size)
{
    QByteArray bytes(size, '\0');
    for (char& b : bytes)
        b = char(random() & 0xFF);
    return QString::fromUtf8(bytes); // invalid sequences become U+FFFD
}

} // namespace

TEST(BadScreens, NoiseIsNeverAPrompt)
{
    std::mt19937 random(20261122);
    const std::vector<std::pair<const char*, QString>> screens = {
        {"binary megabyte", randomBytesAsText(random, 1 << 20)},
        {"invalid UTF-8",
         QString::fromUtf8("\xff\xfe 1. \xc3\x28 Do you want to proceed? \xe2\x82\n\x80 1.")},
        {"NULs and ESCs", QString(u"\0\x1b\x1b[48;2;\x1b]\0"_s).repeated(20000)},
        {"one megabyte line", QString(1 << 20, u'x')},
        {"unterminated escapes", u"\x1b[38;2;1;2;3\x1b[48;2;\x1b[1\n1. Yes\x1b["_s},
        {"only rules", (QString(80, QChar(0x2500)) + u"\n"_s).repeated(5000)},
        {"empty", u""_s},
    };
    for (const auto& [name, text] : screens) {
        for (const auto& agent : agents) {
            const auto reading = classify(agent, text, text);
            expectSoundReading(reading, name);
            EXPECT_EQ(reading.kind, InteractionKind::unknown) << name << " " << agent.toStdString();
        }
    }
}

TEST(BadScreens, APromptBelowAMegabyteOfScrollbackIsStillRead)
{
    const QString scrollback =
        u"● Worked on it: 1. step 2. step — output output output\n"_s.repeated(20000);
    const auto claude = classify(
        u"claude"_s,
        scrollback + QString(40, QChar(0x2500))
            + u"\n Bash command\n   npm test\n\nDo you want to proceed?\n❯ 1. Yes\n  2. No\n"
              "Esc to cancel\n"_s);
    EXPECT_EQ(claude.kind, InteractionKind::approval);
    EXPECT_EQ(claude.choices.size(), 2u);

    const QString rule = QString(40, QChar(0x2500));
    const auto pi =
        classify(u"pi"_s, scrollback + rule + u"\n Which?\n❯ 1. A\n  2. Type something.\n"_s + rule
                              + u"\n Enter to select\n"_s);
    EXPECT_EQ(pi.kind, InteractionKind::question);
    EXPECT_EQ(pi.userPromptContext, std::nullopt); // the scrollback lines are not prose
}

TEST(BadScreens, TenThousandOptionsStayLinear)
{
    QString claudeScreen = u"Do you want to proceed?\n"_s;
    QString piRows;
    for (int i = 0; i < 10000; ++i) {
        claudeScreen += u"  %1. Option %2\n"_s.arg(i % 9 + 1).arg(i);
        piRows += u"  %1. Option\n"_s.arg(i + 1);
    }
    claudeScreen += u"Esc to cancel\n"_s;
    const auto claude = classify(u"claude"_s, claudeScreen);
    // Only the last row numbered 1 starts the live prompt, from the row above it: the approval
    // far above is scrollback, and that row being an option leaves no title.
    EXPECT_EQ(claude.kind, InteractionKind::question);
    EXPECT_EQ(claude.title, std::nullopt);
    EXPECT_EQ(claude.choices.size(), 2u);
    expectSoundReading(claude, "claude");

    const QString rule = QString(40, QChar(0x2500));
    const auto pi =
        classify(u"pi"_s, rule + u"\n Pick\n"_s + piRows + rule + u"\n Enter to select\n"_s);
    EXPECT_EQ(pi.choices.size(), 10000u);
    EXPECT_EQ(pi.presentation.mechanism, InteractionMechanism::ambiguous);
    expectSoundReading(pi, "pi");
}

TEST(BadScreens, PromptsCutByTheScreenEdge)
{
    const QString rule = QString(40, QChar(0x2500));
    const std::vector<std::tuple<const char*, QString, QString>> cases = {
        {"claude without options", u"claude"_s,
         u"Bash command\n  rm -rf /\nDo you want to proceed?\n"_s},
        {"pi without footer", u"pi"_s, rule + u"\n Which?\n❯ 1. A\n  2. B\n"_s + rule},
        {"pi without rows", u"pi"_s,
         rule + u"\n Only a question?\n"_s + rule + u"\n Enter to select"_s},
        {"pi with short rules", u"pi"_s, u"─────────\n Q?\n❯ 1. A\n─────────\n Enter to select"_s},
    };
    for (const auto& [name, agent, text] : cases)
        EXPECT_EQ(classify(agent, text).kind, InteractionKind::unknown) << name;
}

// Random screens built from the glyphs the rules look for, to shake out crashes, undefined
// behaviour and broken promises in the corners nobody wrote a case for.
TEST(BadScreens, GlyphSoupKeepsThePromises)
{
    const QStringList pieces = {
        u"❯ "_s,
        u"› "_s,
        u"> "_s,
        u"1. "_s,
        u"2. "_s,
        u"9."_s,
        u"10. "_s,
        u"[x] "_s,
        u"[ ]"_s,
        u"["_s,
        u"]"_s,
        u"✔"_s,
        u"✓"_s,
        u"(esc)"_s,
        u"□ "_s,
        u"☒ "_s,
        u"☑ "_s,
        u"■ "_s,
        u"● "_s,
        u"→ "_s,
        u"← "_s,
        u"Submit"_s,
        u"Submit answers"_s,
        u"Cancel"_s,
        u"Type something."_s,
        u"(recommended)"_s,
        u"──────────"_s,
        u"╌╌╌╌╌╌╌╌"_s,
        u"┌──┐"_s,
        u"│ "_s,
        u"└──┘"_s,
        u"Edit file"_s,
        u"Do you want to proceed?"_s,
        u"Enter to select"_s,
        u"Esc to cancel"_s,
        u"Space to toggle"_s,
        u"Ready to submit your answers?"_s,
        u"\x1b[48;2;1;2;3m"_s,
        u"\x1b[48;5;1m"_s,
        u"\x1b[0m"_s,
        u"\x1b"_s,
        u"m"_s,
        u"\r"_s,
        u"\t"_s,
        u"   "_s,
        u"  "_s,
        u"\n"_s,
        u"\n"_s,
        u"\n"_s,
        u"word "_s,
        u"e\u0301"_s,
        u"👍"_s,
        u"3 +x"_s,
    };
    std::mt19937 random(7);
    for (int round = 0; round < 1500; ++round) {
        QString screen;
        const int length = int(random() % 120);
        for (int i = 0; i < length; ++i)
            screen += pieces[qsizetype(random() % pieces.size())];
        for (const auto& agent : agents)
            expectSoundReading(classify(agent, PromptClassifier::stripAnsi(screen), screen),
                               std::to_string(round));
    }
}
