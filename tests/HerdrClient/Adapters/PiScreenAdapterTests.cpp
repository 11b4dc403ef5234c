#include "HerdrClient/Adapters/PiScreenAdapter.h"
#include "tests/HerdrClient/Adapters/AdapterTestSupport.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QString rule = QString(20, QChar(0x2500));

QString picker(const QStringList& inner, const QString& footer = u" Enter to select · Esc cancel"_s)
{
    return u"Looked at the three deploy targets and their health checks.\n\n"_s + rule + u"\n"_s
           + inner.join(u'\n') + u"\n"_s + rule + u"\n"_s + footer + u"\n"_s;
}

PendingInteraction read(const QString& detection,
                        const std::optional<QString>& visible = std::nullopt)
{
    return PiScreenAdapter().parse(screenInput(u"pi"_s, detection, visible));
}

} // namespace

TEST(PiScreenAdapter, FreeTextRowKeepsWhatWasTyped)
{
    struct Case {
        QString row;
        std::optional<QString> draft;
    };
    const std::vector<Case> cases = {
        {u"  2. Type something."_s, std::nullopt},
        {u"  2. hello ✔"_s, u"hello"_s},
        {u"❯ 2. hello there\n     and more"_s, u"hello there and more"_s},
        {u"  2. ✔"_s, std::nullopt},
        {u"  2."_s, std::nullopt},
    };
    for (const auto& [row, draft] : cases) {
        const auto reading = read(picker({u" Which one?"_s, u""_s, u"  1. First"_s, row}));
        ASSERT_EQ(reading.choices.size(), 2u) << row.toStdString();
        const auto& text = reading.choices.back();
        EXPECT_EQ(text.kind, InteractionChoiceKind::textEntry);
        EXPECT_EQ(text.label, u"Type something."_s);
        EXPECT_EQ(text.description, std::nullopt);
        EXPECT_EQ(text.draft, draft) << row.toStdString();
    }
    // The draft is part of the prompt's identity.
    EXPECT_NE(read(picker({u" Q?"_s, u"  1. A"_s, u"  2. hello"_s})).fingerprint(),
              read(picker({u" Q?"_s, u"  1. A"_s, u"  2. hell"_s})).fingerprint());
}

TEST(PiScreenAdapter, ReadsHeaderQuestionAndLastWork)
{
    const auto reading =
        read(picker({u" Rollout"_s, u""_s, u" Which rollout should I"_s, u" use?"_s, u""_s,
                     u"❯ 1. Canary"_s, u"    Ten percent first"_s, u"  2. Type something."_s}));
    EXPECT_EQ(reading.header, u"Rollout"_s);
    EXPECT_EQ(reading.title, u"Which rollout should I use?"_s);
    EXPECT_EQ(reading.choices[0].description, u"Ten percent first"_s);
    EXPECT_EQ(reading.userPromptContext,
              u"Looked at the three deploy targets and their health checks."_s);
    EXPECT_EQ(reading.capabilities,
              (std::set{InteractionCapability::deny, InteractionCapability::selectOne,
                        InteractionCapability::enterText}));
    EXPECT_TRUE(reading.evidence.capturedText->startsWith(rule));
    EXPECT_TRUE(reading.evidence.capturedText->endsWith(u"Esc cancel"_s));
    EXPECT_FALSE(reading.progress);

    // A row with its text glued to the dot, or numbered 0, is no row.
    EXPECT_EQ(read(picker({u" Q?"_s, u"  1.A"_s, u"  0. B"_s})).kind, InteractionKind::unknown);
}

TEST(PiScreenAdapter, StepsAndTheHighlightedTab)
{
    const auto steps = PiScreenAdapter::parseSteps(u" □ Environment  ■ Region name  ✓ Submit →"_s);
    ASSERT_EQ(steps.size(), 3u);
    EXPECT_EQ(steps[0], (InteractionStep{u"Environment"_s, false, false}));
    EXPECT_EQ(steps[1], (InteractionStep{u"Region name"_s, true, false}));
    EXPECT_EQ(steps[2], (InteractionStep{u"Submit"_s, false, true}));
    EXPECT_TRUE(PiScreenAdapter::parseSteps(u"□  ■ ✓"_s).empty());

    // The highlighted tail may hold more than the label: labels are compared as prefixes.
    const QString ansi = u"\n□ Environment  \x1b[48;5;24m■ Region\x1b[0m  ✓ Submit\n"_s;
    EXPECT_EQ(PiScreenAdapter::activeStepIndex(steps, ansi),
              std::nullopt); // "Region" is no prefix of "Region name"
    EXPECT_EQ(PiScreenAdapter::activeStepIndex(
                  steps, QString(ansi).replace(u"■ Region"_s, u"■ Region name (2/2)"_s)),
              1);
    EXPECT_EQ(PiScreenAdapter::activeStepIndex(steps, std::nullopt), std::nullopt);
    EXPECT_EQ(PiScreenAdapter::activeStepIndex(steps, u"no tabs here"_s), std::nullopt);
}

TEST(PiScreenAdapter, MeaningfulWork)
{
    const QString sentence = u"Fixed the flaky test in the scheduler module."_s;
    const QString longest = sentence + QString(240 - sentence.size(), u'a');
    const std::vector<std::pair<QString, bool>> cases = {
        {sentence, true},
        {longest, true},
        {longest + u"a"_s, false},
        {u"Here is what I found:"_s, false},
        {u"Then I looked at the…"_s, false},
        {u"Updated the files and ran the suite,"_s, false},
        {u"Ran ./build.sh with the new flags"_s, false},
        {u"Checked src/app/main.cpp for the bug"_s, false},
        {u"Checked the main file in src/app"_s, true}, // one slash, not at the start
        {u"Checked the main file in ~/src"_s, false},
        {u"Renamed \"foo to bar in the module"_s, false},
        {u"Renamed `foo` to `bar` in the module"_s, true},
        {u"He said “ship it in the morning"_s, false},
        {u"ok a b c"_s, false},
        {u"Done. Tests pass."_s, true},
    };
    for (const auto& [text, meaningful] : cases)
        EXPECT_EQ(PiScreenAdapter::isMeaningfulWork(text), meaningful) << text.toStdString();

    // The nearest meaningful paragraph wins; commands and rules are passed over; four at most.
    const QStringList lines = {u"Reviewed the deploy plan with the team today."_s,
                               u""_s,
                               u"a"_s,
                               u""_s,
                               u"b"_s,
                               u""_s,
                               u"c"_s,
                               u""_s,
                               u"$ ls"_s,
                               u""_s,
                               u"picker"_s};
    EXPECT_EQ(PiScreenAdapter::lastWork(lines, 10), std::nullopt);
    EXPECT_EQ(PiScreenAdapter::lastWork(lines, 7),
              u"Reviewed the deploy plan with the team today."_s);
    const QStringList wrapped = {u"Moved the cache"_s, u"into the store."_s, rule, u"/tmp/x"_s,
                                 u"picker"_s};
    EXPECT_EQ(PiScreenAdapter::lastWork(wrapped, 4), u"Moved the cache into the store."_s);
}
