#include "HerdrClient/Interaction/PendingInteraction.h"

#include <gtest/gtest.h>

#include <functional>

using namespace Qt::StringLiterals;

namespace {

PendingInteraction approval()
{
    PendingInteraction interaction;
    interaction.paneID = u"w1:p2"_s;
    interaction.kind = InteractionKind::approval;
    interaction.title = u"Do you want to proceed?"_s;
    interaction.header = u"Bash command"_s;
    interaction.body = u"npm run build"_s;
    interaction.progress = InteractionProgress{1, 2, 1};
    interaction.choices = {
        InteractionChoice{
            InteractionChoiceKind::option, u"Café"_s, std::nullopt, {u"1"_s, u"2"_s}, std::nullopt},
        InteractionChoice{
            InteractionChoiceKind::textEntry, u"Type something."_s, std::nullopt, {}, u"hi"_s},
    };
    interaction.steps = {{u"Deploy"_s, true, false}, {u"Submit"_s, false, true}};
    interaction.presentation.mechanism = InteractionMechanism::numberedShortcut;
    interaction.capabilities = {InteractionCapability::approve, InteractionCapability::selectOne};
    interaction.evidence.providerID = u"claude-screen"_s;
    interaction.evidence.confidence = InteractionConfidence::exact;
    interaction.contentEvidence =
        InteractionCommandEvidence{u"staging"_s, u"ship it"_s, u"npm run build"_s};
    return interaction;
}

} // namespace

// Digests computed outside the program from the documented encoding, so that a change of the
// encoding (order, prefixes, separators) cannot pass unnoticed.
TEST(PendingInteractionFingerprint, MatchesTheDocumentedEncoding)
{
    PendingInteraction bare;
    bare.paneID = u"w1:p1"_s;
    EXPECT_EQ(bare.fingerprint().rawValue,
              u"27be5451860a403283ce6d738d92e96b2bfb56df683187daed81de306789cb4b"_s);

    EXPECT_EQ(approval().fingerprint().rawValue,
              u"8d43be27a658610c70e9825736abfc49421dad74d5b98771e90ca9bfbb50b4f9"_s);

    PendingInteraction edit;
    edit.paneID = u"w1:p3"_s;
    edit.kind = InteractionKind::question;
    edit.contentEvidence = InteractionDiffEvidence{
        u"src/a.js"_s,
        {{3, InteractionDiffLineKind::removal, u"return a;"_s},
         {std::nullopt, InteractionDiffLineKind::addition, u"  return   b;"_s}}};
    EXPECT_EQ(edit.fingerprint().rawValue,
              u"cc637ff7e99cd99cc857543e650e1d22b027795bb0c0f0c8d953a54d05b792ab"_s);
}

TEST(PendingInteractionFingerprint, IgnoresWhatARedrawOrTheCursorChanges)
{
    const auto base = approval().fingerprint();
    const std::vector<std::pair<const char*, std::function<void(PendingInteraction&)>>> changes = {
        {"wrapped and coloured title",
         [](PendingInteraction& i) { i.title = u"  Do you\n  want to \x1b[1mproceed?\x1b[0m "_s; }},
        {"indented body", [](PendingInteraction& i) { i.body = u"\tnpm   run\u00A0build\n"_s; }},
        {"cursor", [](PendingInteraction& i) { i.presentation.selectedChoiceIndex = 1; }},
        {"ticks",
         [](PendingInteraction& i) {
             i.presentation.checkedChoiceIndexes = {0, 1};
         }},
        {"active step", [](PendingInteraction& i) { i.presentation.activeStepIndex = 1; }},
        {"mechanism",
         [](PendingInteraction& i) { i.presentation.mechanism = InteractionMechanism::ambiguous; }},
        {"header", [](PendingInteraction& i) { i.header = u"Other"_s; }},
        {"capabilities", [](PendingInteraction& i) { i.capabilities.clear(); }},
        {"evidence",
         [](PendingInteraction& i) {
             i.evidence.capturedText = u"screen"_s;
             i.evidence.paneRevision = 9;
         }},
        {"user prompt context", [](PendingInteraction& i) { i.userPromptContext = u"do it"_s; }},
        {"safety state",
         [](PendingInteraction& i) { i.safetyState = InteractionSafetyState::stale; }},
        {"empty instead of absent description",
         [](PendingInteraction& i) { i.choices[0].description = u""_s; }},
    };
    for (const auto& [name, change] : changes) {
        auto changed = approval();
        change(changed);
        EXPECT_EQ(changed.fingerprint(), base) << name;
    }
}

TEST(PendingInteractionFingerprint, ChangesWithTheQuestion)
{
    const auto base = approval().fingerprint();
    const std::vector<std::pair<const char*, std::function<void(PendingInteraction&)>>> changes = {
        {"pane", [](PendingInteraction& i) { i.paneID = u"w1:p9"_s; }},
        {"interaction id", [](PendingInteraction& i) { i.interactionID = u"perm_1"_s; }},
        {"kind", [](PendingInteraction& i) { i.kind = InteractionKind::question; }},
        {"answered step", [](PendingInteraction& i) { i.steps[1].isAnswered = true; }},
        {"draft", [](PendingInteraction& i) { i.choices[1].draft = u"hello"_s; }},
        {"shortcut keys", [](PendingInteraction& i) { i.choices[0].shortcutKeys = {u"12"_s}; }},
        {"progress", [](PendingInteraction& i) { i.progress->unanswered = 0; }},
        {"no progress", [](PendingInteraction& i) { i.progress.reset(); }},
        {"choice kind",
         [](PendingInteraction& i) { i.choices[0].kind = InteractionChoiceKind::submit; }},
        {"command",
         [](PendingInteraction& i) {
             i.contentEvidence =
                 InteractionCommandEvidence{u"staging"_s, u"ship it"_s, u"npm run deploy"_s};
         }},
        {"no content", [](PendingInteraction& i) { i.contentEvidence.reset(); }},
    };
    for (const auto& [name, change] : changes) {
        auto changed = approval();
        change(changed);
        EXPECT_NE(changed.fingerprint(), base) << name;
    }
}

TEST(PendingInteractionNormalize, CollapsesWhiteSpaceAndColour)
{
    const std::vector<std::pair<std::optional<QString>, QString>> cases = {
        {std::nullopt, u""_s},
        {u""_s, u""_s},
        {u" \n\t "_s, u""_s},
        {u"  a \n\n b\u2003c\u2028d "_s, u"a b c d"_s},
        {u"\x1b[38;2;1;2;3mred\x1b[0m text"_s, u"red text"_s},
        {u"keep\u200Bzero-width"_s, u"keep\u200Bzero-width"_s},
    };
    for (const auto& [input, expected] : cases)
        EXPECT_EQ(PendingInteraction::normalize(input), expected)
            << input.value_or(u"<absent>"_s).toStdString();
}

TEST(PendingInteractionJSON, LeavesAbsentOutAndNestsEvidence)
{
    const JSONValue json = approval().asJSONValue();
    EXPECT_EQ(json.member(u"interactionID"), nullptr);
    EXPECT_EQ(json.member(u"presentation")->member(u"selectedChoiceIndex"), nullptr);
    EXPECT_EQ(json.member(u"capabilities")->serialized(), QByteArray(R"(["approve","selectOne"])"));

    PendingInteraction edit;
    edit.paneID = u"p"_s;
    edit.contentEvidence =
        InteractionDiffEvidence{u"a.js"_s, {{3, InteractionDiffLineKind::addition, u"x"_s}}};
    EXPECT_EQ(
        edit.asJSONValue().member(u"contentEvidence")->serialized(),
        QByteArray(
            R"({"diff":{"filePath":"a.js","lines":[{"kind":"addition","lineNumber":3,"text":"x"}]}})"));
}

TEST(InteractionEnums, TextValuesRoundTrip)
{
    for (int i = 0; i <= int(InteractionMechanism::manual); ++i) {
        const auto value = InteractionMechanism(i);
        EXPECT_EQ(interactionEnumFromString<InteractionMechanism>(toString(value)), value);
    }
    EXPECT_EQ(interactionEnumFromString<InteractionKind>(u"Approval"), std::nullopt);
}
