#include "HerdrClient/Responding/InteractionResponsePlanner.h"
#include "tests/HerdrClient/Responding/PromptBuilder.h"

#include <gtest/gtest.h>

#include <variant>

using namespace Qt::StringLiterals;

namespace {

using Intent = InteractionResponseIntent;
using Op = InteractionResponseOperation;
using Error = InteractionPlanningError;
using M = InteractionMechanism;
using K = InteractionKind;
using C = InteractionCapability;

InteractionResponsePlan keys(std::vector<QString> list)
{
    return {{Op::sendKeys(std::move(list))}};
}

struct Case {
    const char* name;
    PendingInteraction interaction;
    Intent intent;
    std::variant<InteractionResponsePlan, Error> expected;
};

std::string describe(const InteractionPlanningResult& result)
{
    if (!result)
        return "error " + toString(result.error()).toStdString();
    std::string text = "plan";
    for (const auto& op : result->operations)
        text += " [" + op.method().toStdString() + " " + op.description().toStdString() + "]";
    return text;
}

void check(const std::vector<Case>& cases)
{
    const InteractionResponsePlanner planner;
    for (const auto& c : cases) {
        const auto result = planner.plan(c.intent, c.interaction);
        if (const auto* plan = std::get_if<InteractionResponsePlan>(&c.expected)) {
            EXPECT_TRUE(result && *result == *plan) << c.name << ": got " << describe(result);
        } else {
            EXPECT_TRUE(!result && result.error() == std::get<Error>(c.expected))
                << c.name << ": got " << describe(result);
        }
    }
}

const PendingInteraction numbered = prompt(K::question, M::numberedShortcut, {C::selectOne});
const PendingInteraction arrows = prompt(K::question, M::arrowNavigate, {C::selectOne});
const PendingInteraction multi =
    withSteps(prompt(K::question, M::multiSelect, {C::selectMany, C::selectOne, C::navigateSteps}),
              {u"Lang"_s, u"Tools"_s, u"Submit"_s}, 0);
const PendingInteraction textField = prompt(K::question, M::textEntry, {C::enterText}, 0);

PendingInteraction withShortcuts(PendingInteraction p, std::vector<std::vector<QString>> shortcuts)
{
    for (std::size_t i = 0; i < shortcuts.size(); ++i)
        p.choices[i].shortcutKeys = shortcuts[i];
    return p;
}

PendingInteraction withChecked(PendingInteraction p, std::vector<qint64> checked)
{
    p.presentation.checkedChoiceIndexes = std::move(checked);
    return p;
}

// Choice 3 carries a text field, with `draft` already typed in the terminal.
PendingInteraction withTextRow(PendingInteraction p, std::optional<QString> draft = std::nullopt)
{
    p.capabilities.insert(C::enterText);
    p.choices[2].kind = InteractionChoiceKind::textEntry;
    p.choices[2].draft = std::move(draft);
    return p;
}

TEST(InteractionResponsePlanner, ChoosesByMechanism)
{
    check({
        {"numbered third", numbered, Intent::selectChoice(2), keys({u"3"_s, u"enter"_s})},
        {"numbered tenth is spelled as one key",
         prompt(K::question, M::numberedShortcut, {C::selectOne}, 10), Intent::selectChoice(9),
         keys({u"10"_s, u"enter"_s})},
        {"numbered past the end", numbered, Intent::selectChoice(3), Error::invalidChoice},
        {"negative index", numbered, Intent::selectChoice(-1), Error::invalidChoice},
        {"range is tested before the mechanism", prompt(K::question, M::ambiguous, {C::selectOne}),
         Intent::selectChoice(7), Error::invalidChoice},
        {"no selectOne", prompt(K::question, M::numberedShortcut, {}), Intent::selectChoice(0),
         Error::unsupportedIntent},
        {"explicit shortcut, no enter behind it",
         withShortcuts(prompt(K::approval, M::explicitShortcut, {C::selectOne}),
                       {{u"y"_s}, {u"n"_s}, {}}),
         Intent::selectChoice(1), keys({u"n"_s})},
        {"explicit shortcut missing",
         withShortcuts(prompt(K::approval, M::explicitShortcut, {C::selectOne}),
                       {{u"y"_s}, {u"n"_s}, {}}),
         Intent::selectChoice(2), Error::ambiguousMechanism},
        {"arrows up three", withCursor(prompt(K::question, M::arrowNavigate, {C::selectOne}, 4), 3),
         Intent::selectChoice(0), keys({u"up"_s, u"up"_s, u"up"_s, u"enter"_s})},
        {"arrows down two", arrows, Intent::selectChoice(2),
         keys({u"down"_s, u"down"_s, u"enter"_s})},
        {"arrows on target", withCursor(arrows, 1), Intent::selectChoice(1), keys({u"enter"_s})},
        {"arrows without cursor", withCursor(arrows, std::nullopt), Intent::selectChoice(1),
         Error::missingCursor},
        {"multi-select moves then enter", withCursor(multi, 2), Intent::selectChoice(0),
         keys({u"up"_s, u"up"_s, u"enter"_s})},
        {"ambiguous", prompt(K::question, M::ambiguous, {C::selectOne}), Intent::selectChoice(0),
         Error::ambiguousMechanism},
        {"manual", prompt(K::question, M::manual, {C::selectOne}), Intent::selectChoice(0),
         Error::unsupportedIntent},
        {"text field", withTextRow(prompt(K::question, M::textEntry, {C::selectOne})),
         Intent::selectChoice(0), Error::unsupportedIntent},
    });
}

TEST(InteractionResponsePlanner, PreviewsOnlyWhereTheCursorDrawsAPreview)
{
    const auto previewing =
        with(arrows, [](auto& p) { p.presentation.selectedChoicePreview = u"code"_s; });
    check({
        {"preview below", previewing, Intent::previewChoice(2), keys({u"down"_s, u"down"_s})},
        {"preview under the cursor is nothing to do", previewing, Intent::previewChoice(0),
         InteractionResponsePlan::noOp()},
        {"no preview drawn", arrows, Intent::previewChoice(1), Error::unsupportedIntent},
        {"out of range", previewing, Intent::previewChoice(3), Error::unsupportedIntent},
        {"numbered has no cursor to move",
         with(numbered, [](auto& p) { p.presentation.selectedChoicePreview = u"code"_s; }),
         Intent::previewChoice(1), Error::unsupportedIntent},
    });
}

TEST(InteractionResponsePlanner, TicksBoxesWithEnterOnlyInMultiSelects)
{
    check({
        {"tick below", multi, Intent::setChoice(2, true), keys({u"down"_s, u"down"_s, u"enter"_s})},
        {"untick under cursor", withCursor(withChecked(multi, {2}), 2), Intent::setChoice(2, false),
         keys({u"enter"_s})},
        {"already ticked", withChecked(multi, {2}), Intent::setChoice(2, true),
         InteractionResponsePlan::noOp()},
        {"already clear", multi, Intent::setChoice(1, false), InteractionResponsePlan::noOp()},
        {"out of range", multi, Intent::setChoice(3, true), Error::invalidChoice},
        {"no cursor", withCursor(multi, std::nullopt), Intent::setChoice(1, true),
         Error::missingCursor},
        {"needs selectMany", with(multi, [](auto& p) { p.capabilities.erase(C::selectMany); }),
         Intent::setChoice(1, true), Error::unsupportedIntent},
        {"arrow lists do not tick, even with selectMany",
         prompt(K::question, M::arrowNavigate, {C::selectOne, C::selectMany}),
         Intent::setChoice(1, true), Error::unsupportedIntent},
    });
}

TEST(InteractionResponsePlanner, TypesTextOnlyIntoFieldsThatAreEmpty)
{
    const auto row = withTextRow(arrows);
    check({
        {"enter text", textField, Intent::enterText(u"hi"_s),
         InteractionResponsePlan{{Op::sendText(u"hi"_s)}}},
        {"enter text needs the capability", arrows, Intent::enterText(u"hi"_s),
         Error::unsupportedIntent},
        {"enter empty text", textField, Intent::enterText({}), Error::emptyText},
        {"submit text", textField, Intent::submitText(u"hi"_s),
         InteractionResponsePlan{{Op::sendText(u"hi"_s), Op::sendKeys({u"enter"_s})}}},
        {"submit text outside a field", row, Intent::submitText(u"hi"_s), Error::unsupportedIntent},
        {"submit empty text", textField, Intent::submitText({}), Error::emptyText},
        {"text row below", row, Intent::submitChoiceText(2, u"hi"_s),
         InteractionResponsePlan{{Op::sendKeys({u"down"_s, u"down"_s}), Op::sendText(u"hi"_s),
                                  Op::sendKeys({u"enter"_s})}}},
        {"text row under cursor", withCursor(row, 2), Intent::submitChoiceText(2, u"hi"_s),
         InteractionResponsePlan{{Op::sendText(u"hi"_s), Op::sendKeys({u"enter"_s})}}},
        {"text row by number", withTextRow(numbered), Intent::submitChoiceText(2, u"hi"_s),
         InteractionResponsePlan{
             {Op::sendKeys({u"3"_s}), Op::sendText(u"hi"_s), Op::sendKeys({u"enter"_s})}}},
        {"row without a field", row, Intent::submitChoiceText(1, u"hi"_s),
         Error::unsupportedIntent},
        {"row out of range", row, Intent::submitChoiceText(3, u"hi"_s), Error::unsupportedIntent},
        {"draft in the terminal", withTextRow(arrows, u"half an answer"_s),
         Intent::submitChoiceText(2, u"hi"_s), Error::terminalDraft},
        {"empty text is tested before the draft", withTextRow(arrows, u"half"_s),
         Intent::submitChoiceText(2, {}), Error::emptyText},
        {"empty draft is no draft", withTextRow(arrows, u""_s),
         Intent::submitChoiceText(2, u"hi"_s),
         InteractionResponsePlan{{Op::sendKeys({u"down"_s, u"down"_s}), Op::sendText(u"hi"_s),
                                  Op::sendKeys({u"enter"_s})}}},
        {"text row without its shortcut",
         withTextRow(withShortcuts(prompt(K::question, M::explicitShortcut, {C::selectOne}),
                                   {{u"a"_s}, {u"b"_s}, {}})),
         Intent::submitChoiceText(2, u"hi"_s), Error::ambiguousMechanism},
        {"begin text entry", row, Intent::beginTextEntry(), keys({u"tab"_s})},
        {"begin text entry inside the field", textField, Intent::beginTextEntry(),
         Error::unsupportedIntent},
        {"clear text entry ignores capabilities", prompt(K::question, M::textEntry, {}, 0),
         Intent::clearTextEntry(), keys({u"tab"_s})},
        {"clear text entry outside the field", row, Intent::clearTextEntry(),
         Error::unsupportedIntent},
    });
}

TEST(InteractionResponsePlanner, AnApprovalsTextRowIsEnteredByItsNumberAndLeftUpwards)
{
    // claude's plan feedback: Tab does nothing in that row, and Enter on it empty would answer.
    const auto plan = withTextRow(prompt(K::approval, M::numberedShortcut, {C::selectOne}));
    const auto inRow =
        with(withCursor(plan, 2), [](auto& p) { p.presentation.mechanism = M::textEntry; });
    check({
        {"begin", plan, Intent::beginTextEntry(), keys({u"3"_s})},
        {"begin by arrows", withTextRow(prompt(K::approval, M::arrowNavigate, {C::selectOne})),
         Intent::beginTextEntry(), keys({u"down"_s, u"down"_s})},
        {"begin without a text row",
         with(prompt(K::approval, M::numberedShortcut, {C::selectOne}),
              [](auto& p) { p.capabilities.insert(C::enterText); }),
         Intent::beginTextEntry(), Error::unsupportedIntent},
        {"leave", inRow, Intent::clearTextEntry(), keys({u"up"_s})},
        {"leave without a cursor", withCursor(inRow, std::nullopt), Intent::clearTextEntry(),
         Error::missingCursor},
    });
}

TEST(InteractionResponsePlanner, MovesBetweenSteps)
{
    check({
        {"to the last tab", multi, Intent::navigateToStep(2), keys({u"right"_s, u"right"_s})},
        {"back one", withSteps(multi, {u"A"_s, u"B"_s, u"Submit"_s}, 1), Intent::navigateToStep(0),
         keys({u"left"_s})},
        {"to the active tab is one empty operation", multi, Intent::navigateToStep(0), keys({})},
        {"no such tab", multi, Intent::navigateToStep(3), Error::unsupportedIntent},
        {"no active tab", withSteps(multi, {u"A"_s, u"Submit"_s}, std::nullopt),
         Intent::navigateToStep(1), Error::unsupportedIntent},
        {"previous", multi, Intent::navigatePrevious(), keys({u"left"_s})},
        {"next", multi, Intent::navigateNext(), keys({u"right"_s})},
        {"next without tabs", numbered, Intent::navigateNext(), Error::unsupportedIntent},
    });
}

TEST(InteractionResponsePlanner, SubmitsByMechanismThenKind)
{
    const auto approval =
        prompt(K::approval, M::explicitShortcut, {C::approve, C::deny, C::selectOne});
    check({
        {"multi-select goes to the submit tab", multi, Intent::submit(),
         keys({u"right"_s, u"right"_s, u"enter"_s})},
        {"multi-select on the submit tab", withSteps(multi, {u"A"_s, u"Submit"_s}, 1),
         Intent::submit(), Error::unsupportedIntent},
        {"multi-select without a submit tab",
         with(multi, [](auto& p) { p.steps.back().isSubmit = false; }), Intent::submit(),
         Error::unsupportedIntent},
        {"multi-select without an active tab",
         withSteps(multi, {u"A"_s, u"Submit"_s}, std::nullopt), Intent::submit(),
         Error::unsupportedIntent},
        {"text field", textField, Intent::submit(), keys({u"enter"_s})},
        {"review page", prompt(K::reviewSubmit, M::arrowNavigate, {C::selectOne}), Intent::submit(),
         keys({u"enter"_s})},
        {"shortcut approval with a cursor", approval, Intent::submit(), keys({u"enter"_s})},
        {"shortcut approval without a cursor", withCursor(approval, std::nullopt), Intent::submit(),
         Error::unsupportedIntent},
        {"plain question", arrows, Intent::submit(), Error::unsupportedIntent},
        {"ambiguous review page", prompt(K::reviewSubmit, M::ambiguous, {}), Intent::submit(),
         Error::ambiguousMechanism},
    });
}

TEST(InteractionResponsePlanner, ApprovesDeniesAndCancels)
{
    const auto approval =
        prompt(K::approval, M::numberedShortcut, {C::approve, C::deny, C::selectOne});
    check({
        {"approve picks the first choice", withCursor(approval, 2), Intent::approve(),
         keys({u"1"_s, u"enter"_s})},
        {"approve a question", prompt(K::question, M::numberedShortcut, {C::approve, C::selectOne}),
         Intent::approve(), Error::unsupportedIntent},
        {"approve without the capability",
         with(approval, [](auto& p) { p.capabilities.erase(C::approve); }), Intent::approve(),
         Error::unsupportedIntent},
        {"approve with no choices", prompt(K::approval, M::numberedShortcut, {C::approve}, 0),
         Intent::approve(), Error::invalidChoice},
        {"deny", approval, Intent::deny(), keys({u"esc"_s})},
        {"deny a question", prompt(K::question, M::numberedShortcut, {C::deny}), Intent::deny(),
         Error::unsupportedIntent},
        {"cancel a question", prompt(K::question, M::numberedShortcut, {C::deny}), Intent::cancel(),
         keys({u"esc"_s})},
        {"cancel without deny", numbered, Intent::cancel(), Error::unsupportedIntent},
    });
}

TEST(InteractionPlanningError, OnlyTheTerminalDraftSpeaksToAPerson)
{
    for (const auto error : {Error::unsupportedIntent, Error::invalidChoice, Error::missingCursor,
                             Error::ambiguousMechanism, Error::emptyText})
        EXPECT_EQ(errorDescription(error), std::nullopt) << toString(error).toStdString();
    EXPECT_EQ(errorDescription(Error::terminalDraft),
              u"There's a draft in the terminal; answer there or clear it. Nothing was sent."_s);
}

} // namespace
