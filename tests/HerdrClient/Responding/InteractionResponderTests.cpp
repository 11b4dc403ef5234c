#include "HerdrClient/Responding/InteractionResponder.h"
#include "tests/HerdrClient/Responding/PromptBuilder.h"
#include "tests/HerdrClient/Responding/ResponderHarness.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

using Intent = InteractionResponseIntent;
using Phase = InteractionResponsePhase;
using Sends = std::vector<std::pair<QString, JSONValue>>;
using M = InteractionMechanism;
using K = InteractionKind;
using C = InteractionCapability;

const QString keysMethod = u"pane.send_keys"_s;

const InteractionReadResult unreadable =
    std::unexpected(InteractionProviderError::unreadablePane(u"w1:p1"_s));

// The same prompt after the agent moved on: another question, so another fingerprint.
PendingInteraction working()
{
    return with(prompt(K::unknown, M::manual, {C::manualTerminal}, 0), [](auto& p) {
        p.title.reset();
        p.body = u"Running migrations"_s;
    });
}

class ResponderTest : public ::testing::Test {
protected:
    void script(std::vector<InteractionReadResult> readings)
    {
        provider.readings.assign(readings.begin(), readings.end());
    }

    InteractionResponseOutcome respond(const PendingInteraction& shown, Intent intent,
                                       int attempts = 8)
    {
        InteractionResponder responder(provider, Actions(*herdr.client), sleeper.clock(),
                                       {attempts, InteractionResponder::standardSettleDelay});
        const InteractionResponseRequest request{shown.paneID, shown.evidence.agentID, 7,
                                                 shown.fingerprint(), std::move(intent)};
        return runTask(responder.respond(request, phases.callback()));
    }

    FakeHerdrPane herdr;
    ScriptedProvider provider;
    InstantSleeper sleeper;
    PhaseLog phases;
};

const PendingInteraction approval =
    prompt(K::approval, M::numberedShortcut, {C::approve, C::deny, C::selectOne});

TEST_F(ResponderTest, SendsThePlanThenWatchesTheNextPromptSettle)
{
    script({approval, working(), working(), working()});
    const auto outcome = respond(approval, Intent::approve());
    ASSERT_TRUE(outcome) << outcome.error().refusalSentence().toStdString();
    EXPECT_EQ(herdr.sends(), (Sends{{keysMethod, keysParams({u"1"_s, u"enter"_s})}}));
    EXPECT_EQ(outcome->validatedInteraction, approval);
    EXPECT_EQ(outcome->settledInteraction, working());
    EXPECT_EQ(outcome->sentOperations,
              (std::vector{InteractionResponseOperation::sendKeys({u"1"_s, u"enter"_s})}));
    EXPECT_EQ(phases.phases, (std::vector{Phase::revalidating, Phase::sending, Phase::settling}));
    // Two reads after the send are enough; every read waits 160 ms first.
    EXPECT_EQ(provider.reads, 3);
    EXPECT_EQ(sleeper.requested, (std::vector<Seconds>(2, Seconds(0.16))));
    EXPECT_EQ(provider.paneIDs, std::vector<QString>(3, u"w1:p1"_s));
}

TEST_F(ResponderTest, SettlesOnlyOnTwoEqualReadsThatDifferFromTheAnswer)
{
    const auto other = with(working(), [](auto& p) { p.body = u"Done"_s; });
    struct Case {
        const char* name;
        std::vector<InteractionReadResult> after;
        std::optional<PendingInteraction> settled;
        int reads;
    };
    const Case cases[] = {
        {"unchanged prompt",
         {approval, approval, approval, approval, approval, approval, approval, approval},
         {},
         8},
        {"keeps changing",
         {working(), other, working(), other, working(), other, working(), other},
         {},
         8},
        {"changes once, then holds", {working(), other, other}, other, 3},
        {"a failed read ends the watch", {working(), unreadable}, {}, 2},
    };
    for (const auto& c : cases) {
        std::vector<InteractionReadResult> readings{approval};
        readings.insert(readings.end(), c.after.begin(), c.after.end());
        provider.reads = 0;
        script(readings);
        const auto outcome = respond(approval, Intent::selectChoice(1));
        ASSERT_TRUE(outcome) << c.name;
        EXPECT_EQ(outcome->settledInteraction, c.settled) << c.name;
        EXPECT_EQ(provider.reads, 1 + c.reads) << c.name;
    }
}

TEST_F(ResponderTest, RefusesBeforeSendingAnything)
{
    const auto question =
        prompt(K::question, M::numberedShortcut, {C::selectOne, C::deny, C::enterText});
    const auto changed = with(approval, [](auto& p) { p.title = u"Delete the database?"_s; });
    struct Case {
        const char* name;
        PendingInteraction shown;
        InteractionReadResult fresh;
        Intent intent;
        QString sentence;
        QString reason;
    };
    const Case cases[] = {
        {"prompt changed since it was shown", approval, changed, Intent::approve(),
         u"This interaction changed before the response was sent. Nothing was sent."_s,
         u"staleInteraction"_s},
        {"approve on a question", question, question, Intent::approve(),
         u"That response is not supported for this interaction. Nothing was sent."_s,
         u"unsupportedIntent"_s},
        {"anything on an unknown screen", working(), working(), Intent::cancel(),
         u"That response is not supported for this interaction. Nothing was sent."_s,
         u"unsupportedIntent"_s},
        {"choice out of range", approval, approval, Intent::selectChoice(3),
         u"The prompt has no such choice. Nothing was sent."_s, u"invalidChoice"_s},
        {"text with a newline that would press Enter", question, question,
         Intent::enterText(u"yes\nrm -rf /"_s),
         u"The text holds control characters, which the terminal would take as keys. Nothing was sent."_s,
         u"controlCharactersInText"_s},
        {"text with an escape", question, question, Intent::enterText(u"\x1b[Z"_s),
         u"The text holds control characters, which the terminal would take as keys. Nothing was sent."_s,
         u"controlCharactersInText"_s},
        {"pane unreadable", approval, unreadable, Intent::approve(),
         u"Couldn't read the screen of pane w1:p1. Nothing was sent."_s, u"unreadable"_s},
    };
    for (const auto& c : cases) {
        phases.phases.clear();
        script({c.fresh});
        const auto outcome = respond(c.shown, c.intent);
        ASSERT_FALSE(outcome) << c.name;
        EXPECT_EQ(outcome.error().refusalSentence(), c.sentence) << c.name;
        EXPECT_EQ(outcome.error().reason(), c.reason) << c.name;
        EXPECT_TRUE(outcome.error().sentOperations.empty()) << c.name;
        EXPECT_EQ(phases.phases, std::vector{Phase::revalidating}) << c.name;
    }
    EXPECT_TRUE(herdr.sends().empty());

    script({changed});
    const auto stale = respond(approval, Intent::approve());
    ASSERT_TRUE(stale.error().isStale());
    EXPECT_EQ(stale.error().responderError()->expected, approval.fingerprint());
    EXPECT_EQ(stale.error().responderError()->actual, changed);
}

TEST_F(ResponderTest, AHerdrThatRejectsAKeyEndsTheAnswerThere)
{
    // Choice ten is planned as the key "10", which herdr does not take; the text behind it must
    // not go out on its own.
    auto ten = prompt(K::question, M::numberedShortcut, {C::selectOne, C::enterText}, 10);
    ten.choices[9].kind = InteractionChoiceKind::textEntry;
    script({ten});
    const auto outcome = respond(ten, Intent::submitChoiceText(9, u"hi"_s));
    ASSERT_FALSE(outcome);
    ASSERT_TRUE(outcome.error().sendFailure() && outcome.error().sendFailure()->isKeysRejected());
    EXPECT_EQ(outcome.error().refusalSentence(),
              u"herdr rejected the keys: unsupported key 10. Nothing was sent."_s);
    EXPECT_EQ(herdr.sends(), (Sends{{keysMethod, keysParams({u"10"_s})}}));
    EXPECT_EQ(provider.reads, 1);
}

TEST_F(ResponderTest, KeepsWhatWentOutWhenALaterSendFails)
{
    auto row = prompt(K::question, M::arrowNavigate, {C::selectOne, C::enterText});
    row.choices[2].kind = InteractionChoiceKind::textEntry;
    script({row});
    // The pane closes as soon as the cursor has moved.
    herdr.scenario.addReaction(u"w1:p1"_s, {std::vector{u"down"_s, u"down"_s}, {}, {}, {}});
    herdr.server.setHandler(u"pane.send_text"_s, [](const FakeRequest&) {
        return FakeReply::error(u"pane_not_found"_s, u"pane w1:p1 not found"_s);
    });
    const auto outcome = respond(row, Intent::submitChoiceText(2, u"hi"_s));
    ASSERT_FALSE(outcome);
    EXPECT_EQ(outcome.error().sentOperations,
              (std::vector{InteractionResponseOperation::sendKeys({u"down"_s, u"down"_s})}));
    EXPECT_EQ(
        outcome.error().refusalSentence(),
        u"herdr refused the request (pane_not_found): pane w1:p1 not found. Nothing more was sent."_s);
    EXPECT_EQ(herdr.methods(), (std::vector{keysMethod, u"pane.send_text"_s}));
}

TEST_F(ResponderTest, AnEmptyPlanCallsNoHerdrAndAnEmptyMoveStillSettles)
{
    const auto previewing = with(prompt(K::question, M::arrowNavigate, {C::selectOne}),
                                 [](auto& p) { p.presentation.selectedChoicePreview = u"code"_s; });
    script({previewing});
    const auto preview = respond(previewing, Intent::previewChoice(0));
    ASSERT_TRUE(preview);
    EXPECT_EQ(phases.phases, (std::vector{Phase::revalidating, Phase::sending}));
    EXPECT_EQ(provider.reads, 1);

    const auto wizard =
        withSteps(prompt(K::question, M::arrowNavigate, {C::selectOne, C::navigateSteps}),
                  {u"A"_s, u"Submit"_s}, 0);
    phases.phases.clear();
    script({wizard});
    const auto stay = respond(wizard, Intent::navigateToStep(0));
    ASSERT_TRUE(stay);
    EXPECT_EQ(phases.phases, (std::vector{Phase::revalidating, Phase::sending, Phase::settling}));
    EXPECT_TRUE(herdr.sends().empty());
}

// Codex's notes: the focus is in the field under the second row, and the typed note is not
// part of the reading. Claude's plan feedback: the row shows what was typed in place of its
// placeholder, with a hint under it.
const PendingInteraction notes =
    withCursor(prompt(K::question, M::textEntry, {C::selectOne, C::deny, C::enterText}), 1);
const PendingInteraction planApproval = with(
    prompt(K::approval, M::numberedShortcut, {C::approve, C::deny, C::selectOne, C::enterText}),
    [](auto& p) {
        p.choices[2] = {
            InteractionChoiceKind::textEntry, u"Tell Claude what to change"_s, {}, {}, {}};
    });
const PendingInteraction feedbackTyped = with(withCursor(planApproval, 2), [](auto& p) {
    p.presentation.mechanism = M::textEntry;
    p.choices[2].draft = u"Use a constant"_s;
    p.choices[2].description = u"shift+tab to approve with this feedback"_s;
});

TEST_F(ResponderTest, KeysBehindTextWaitForTheFieldToHoldStillOnTheSamePrompt)
{
    const auto retitled = with(notes, [](auto& p) { p.title = u"Delete the database?"_s; });
    const auto cursorLeft =
        with(withCursor(notes, 0), [](auto& p) { p.presentation.mechanism = M::arrowNavigate; });
    const auto typing = with(feedbackTyped, [](auto& p) { p.choices[2].draft = u"Use a"_s; });
    struct Case {
        const char* name;
        PendingInteraction shown;
        Intent intent;
        std::vector<InteractionReadResult> afterText;
        QString refusal; // empty: Enter went out
    };
    const Case cases[] = {
        {"note, screen unchanged",
         notes,
         Intent::submitText(u"keep it small"_s),
         {notes, notes},
         {}},
        {"a failed read starts the count again",
         notes,
         Intent::submitText(u"keep it small"_s),
         {notes, unreadable, notes, notes},
         {}},
        {"feedback row, focused by its number, drawn as it fills",
         planApproval,
         Intent::submitChoiceText(2, u"Use a constant"_s),
         {planApproval, typing, feedbackTyped, feedbackTyped},
         {}},
        {"another question by the time the text is in",
         notes,
         Intent::submitText(u"keep it"_s),
         {notes, retitled},
         u"This interaction changed before the response was sent. Nothing more was sent."_s},
        {"the cursor left the field", notes, Intent::submitText(u"keep it"_s),
         std::vector<InteractionReadResult>(8, cursorLeft),
         u"The typed text did not settle in the prompt's text field. Nothing was submitted."_s},
        {"the screen never holds still",
         planApproval,
         Intent::submitChoiceText(2, u"Use a"_s),
         {typing, feedbackTyped, typing, feedbackTyped, typing, feedbackTyped, typing,
          feedbackTyped},
         u"The typed text did not settle in the prompt's text field. Nothing was submitted."_s},
    };
    for (const auto& c : cases) {
        std::vector<InteractionReadResult> readings{c.shown};
        readings.insert(readings.end(), c.afterText.begin(), c.afterText.end());
        script(readings);
        herdr.server.clearRequests();
        // Each read after the text must find the Enter still unsent.
        std::vector<std::size_t> sentAtRead;
        sleeper.beforeWake = [&] { sentAtRead.push_back(herdr.sends().size()); };
        const auto outcome = respond(c.shown, c.intent);
        sleeper.beforeWake = nullptr;
        const auto sends = herdr.sends();
        ASSERT_FALSE(sends.empty()) << c.name;
        const std::size_t textAt =
            sends.back().first == keysMethod ? sends.size() - 2 : sends.size() - 1;
        EXPECT_EQ(sends[textAt], (std::pair{u"pane.send_text"_s, textParams(c.intent.text)}))
            << c.name;
        for (std::size_t i = 0; i < c.afterText.size(); ++i)
            EXPECT_EQ(sentAtRead.at(i), textAt + 1) << c.name << " read " << i;
        if (c.refusal.isEmpty()) {
            ASSERT_TRUE(outcome) << c.name << ": "
                                 << outcome.error().refusalSentence().toStdString();
            EXPECT_EQ(sends.back(), (std::pair{keysMethod, keysParams({u"enter"_s})})) << c.name;
        } else {
            ASSERT_FALSE(outcome) << c.name;
            EXPECT_EQ(outcome.error().refusalSentence(), c.refusal) << c.name;
            EXPECT_EQ(sends.size(), textAt + 1) << c.name;
            EXPECT_EQ(outcome.error().sentOperations.back(),
                      InteractionResponseOperation::sendText(c.intent.text))
                << c.name;
        }
    }
}

const PendingInteraction checklist =
    withSteps(prompt(K::question, M::multiSelect, {C::selectMany, C::navigateSteps}),
              {u"Tools"_s, u"Submit"_s}, 0);

TEST_F(ResponderTest, TicksABoxOnlyAfterTheCursorIsSeenOnItTwice)
{
    struct Case {
        const char* name;
        std::vector<std::optional<qint64>>
            cursors; // the reads after the movement; nullopt: a failed read
        int attempts;
        bool ticked;
        int reads;
    };
    const Case cases[] = {
        {"on, off, on, on", {2, 1, 2, 2}, 8, true, 4},
        {"a failed read between two on-target reads", {2, std::nullopt, 2, 2}, 8, true, 4},
        {"never there", {1, 1, 1, 1}, 4, false, 4},
        {"one attempt can never do", {2}, 1, false, 1},
        {"no attempts at all", {}, 0, false, 0},
    };
    for (const auto& c : cases) {
        herdr.server.clearRequests();
        std::vector<InteractionReadResult> readings{checklist};
        for (const auto& cursor : c.cursors) {
            if (cursor)
                readings.push_back(withCursor(checklist, *cursor));
            else
                readings.push_back(unreadable);
        }
        provider.reads = 0;
        script(readings);
        const auto outcome = respond(checklist, Intent::setChoice(2, true), c.attempts);
        Sends expected{{keysMethod, keysParams({u"down"_s, u"down"_s})}};
        if (c.ticked) {
            expected.push_back({keysMethod, keysParams({u"enter"_s})});
            EXPECT_TRUE(outcome) << c.name;
        } else {
            ASSERT_FALSE(outcome) << c.name;
            EXPECT_EQ(outcome.error().refusalSentence(),
                      u"The option cursor did not settle on option 3. Nothing was selected."_s)
                << c.name;
        }
        EXPECT_EQ(herdr.sends(), expected) << c.name;
        // The reads of the toggle, then (after a tick) the settle's reads, which find nothing left.
        EXPECT_EQ(provider.reads, 1 + c.reads + (c.ticked ? 1 : 0)) << c.name;
    }
}

TEST_F(ResponderTest, ATickNeedsNoWaitWhenTheCursorIsAlreadyThereAndNoneWhenTheBoxIsSet)
{
    script({withCursor(checklist, 2)});
    ASSERT_TRUE(respond(checklist, Intent::setChoice(2, true), 0));
    EXPECT_EQ(herdr.sends(), (Sends{{keysMethod, keysParams({u"enter"_s})}}));

    herdr.server.clearRequests();
    const auto ticked = with(checklist, [](auto& p) { p.presentation.checkedChoiceIndexes = {2}; });
    script({ticked});
    const auto outcome = respond(ticked, Intent::setChoice(2, true));
    ASSERT_FALSE(outcome);
    EXPECT_EQ(outcome.error().errorDescription(),
              u"That response is not supported for this interaction."_s);
    EXPECT_EQ(outcome.error().responderError()->interactionKind, K::question);
    EXPECT_TRUE(herdr.sends().empty());
}

TEST_F(ResponderTest, APromptThatChangesWhileTheCursorMovesGetsNoTick)
{
    const auto other = with(checklist, [](auto& p) { p.title = u"Which databases to drop?"_s; });
    script({checklist, withCursor(checklist, 1), withCursor(other, 2), withCursor(other, 2)});
    const auto outcome = respond(checklist, Intent::setChoice(2, true));
    ASSERT_FALSE(outcome);
    ASSERT_TRUE(outcome.error().isStale());
    EXPECT_EQ(outcome.error().sentOperations,
              (std::vector{InteractionResponseOperation::sendKeys({u"down"_s, u"down"_s})}));
    EXPECT_EQ(herdr.sends(), (Sends{{keysMethod, keysParams({u"down"_s, u"down"_s})}}));
}

// The page the tabs lead to: "Submit answers" under the cursor.
PendingInteraction confirmationPage(const QString& title = u"Review your answers"_s)
{
    auto page = prompt(K::reviewSubmit, M::arrowNavigate, {C::selectOne});
    page.title = title;
    page.choices[0].kind = InteractionChoiceKind::submit;
    return page;
}

TEST_F(ResponderTest, SubmitsAMultiSelectOnlyOnAStableConfirmationPage)
{
    const auto cursorOnCancel = withCursor(confirmationPage(), 1);
    struct Case {
        const char* name;
        std::vector<InteractionReadResult> pages;
        bool confirmed;
    };
    const Case cases[] = {
        {"stable page", {confirmationPage(), confirmationPage()}, true},
        {"page after the tabs still move",
         {checklist, confirmationPage(), confirmationPage()},
         true},
        {"flickers between two pages",
         {confirmationPage(), confirmationPage(u"Other"_s), confirmationPage(),
          confirmationPage(u"Other"_s)},
         false},
        {"cursor off the submit row",
         {cursorOnCancel, cursorOnCancel, cursorOnCancel, cursorOnCancel},
         false},
        {"a failed read between",
         {confirmationPage(), unreadable, confirmationPage(), unreadable},
         false},
    };
    for (const auto& c : cases) {
        herdr.server.clearRequests();
        std::vector<InteractionReadResult> readings{checklist};
        readings.insert(readings.end(), c.pages.begin(), c.pages.end());
        script(readings);
        const auto outcome = respond(checklist, Intent::submit(), 4);
        Sends expected{{keysMethod, keysParams({u"right"_s})}};
        if (c.confirmed) {
            EXPECT_TRUE(outcome) << c.name;
            expected.push_back({keysMethod, keysParams({u"enter"_s})});
        } else {
            ASSERT_FALSE(outcome) << c.name;
            EXPECT_EQ(outcome.error().refusalSentence(),
                      u"Claude's submit confirmation did not settle. Nothing was submitted."_s)
                << c.name;
        }
        EXPECT_EQ(herdr.sends(), expected) << c.name;
    }
}

TEST(InteractionResponderKinds, AllowOnlyWhatEachKindCanTake)
{
    using I = Intent::Kind;
    const std::vector<I> all{I::previewChoice,    I::selectChoice,   I::setChoice,
                             I::enterText,        I::submitText,     I::submitChoiceText,
                             I::navigateToStep,   I::beginTextEntry, I::clearTextEntry,
                             I::navigatePrevious, I::navigateNext,   I::submit,
                             I::approve,          I::deny,           I::cancel};
    const std::map<K, std::set<I>> allowed{
        {K::approval,
         {I::selectChoice, I::approve, I::deny, I::enterText, I::submitText, I::submitChoiceText,
          I::beginTextEntry, I::clearTextEntry}},
        {K::question,
         {I::previewChoice, I::selectChoice, I::setChoice, I::enterText, I::submitText,
          I::submitChoiceText, I::navigateToStep, I::beginTextEntry, I::clearTextEntry,
          I::navigatePrevious, I::navigateNext, I::submit, I::cancel}},
        {K::reviewSubmit,
         {I::selectChoice, I::navigateToStep, I::navigatePrevious, I::navigateNext, I::submit,
          I::cancel}},
        {K::freeText, {}},
        {K::unknown, {}},
    };
    for (const auto& [kind, intents] : allowed) {
        for (const auto intent : all)
            EXPECT_EQ(InteractionResponder::kindAllows(kind, intent), intents.contains(intent))
                << toString(kind).toStdString() << " " << toString(intent).toStdString();
    }
}

} // namespace
