#include "OrrelApp/Surface/InteractionDisplayModel.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

InteractionChoice choice(const QString& label, std::vector<QString> keys = {})
{
    return InteractionChoice{InteractionChoiceKind::option, label, std::nullopt, std::move(keys),
                             std::nullopt};
}

PendingInteraction interaction(InteractionKind kind, InteractionMechanism mechanism,
                               std::vector<InteractionChoice> choices,
                               std::set<InteractionCapability> capabilities = {})
{
    PendingInteraction result;
    result.paneID = u"p1"_s;
    result.kind = kind;
    result.title = u"Run the migration?"_s;
    result.choices = std::move(choices);
    result.presentation.mechanism = mechanism;
    result.capabilities = std::move(capabilities);
    return result;
}

TEST(InteractionDisplayModel, ProgressText)
{
    struct Case {
        std::optional<InteractionProgress> progress;
        std::optional<QString> text;
    };
    const std::vector<Case> cases = {
        {std::nullopt, std::nullopt},
        {InteractionProgress{}, std::nullopt},
        {InteractionProgress{2, 5, 3}, u"Question 2/5 (3 unanswered)"_s},
        {InteractionProgress{2, 5, std::nullopt}, u"Question 2/5"_s},
        {InteractionProgress{std::nullopt, std::nullopt, 3}, u"3 unanswered questions"_s},
        // Without a total the place means nothing, so only the open count is told.
        {InteractionProgress{2, std::nullopt, 1}, u"1 unanswered questions"_s},
        {InteractionProgress{2, std::nullopt, std::nullopt}, std::nullopt},
    };
    for (const auto& c : cases)
        EXPECT_EQ(InteractionDisplayModel::progressTextFor(c.progress), c.text)
            << c.text.value_or(u"(none)"_s).toStdString();
}

TEST(InteractionDisplayModel, ApprovalShortcuts)
{
    using enum InteractionMechanism;
    struct Case {
        const char* name;
        InteractionMechanism mechanism;
        std::vector<InteractionChoice> choices;
        bool onceAvailable;
        std::optional<qint64> persistIndex;
        bool actionable;
    };
    const std::set caps{InteractionCapability::approve, InteractionCapability::deny,
                        InteractionCapability::selectOne};
    const std::vector<Case> cases = {
        {"two numbered",
         numberedShortcut,
         {choice(u"Yes"_s), choice(u"No"_s)},
         true,
         std::nullopt,
         true},
        {"three numbered",
         numberedShortcut,
         {choice(u"Yes"_s), choice(u"Yes, always"_s), choice(u"No"_s)},
         true,
         1,
         true},
        {"explicit keys on every row",
         explicitShortcut,
         {choice(u"Yes"_s, {u"y"_s}), choice(u"No"_s, {u"n"_s}), choice(u"Always"_s, {u"a"_s})},
         true,
         1,
         true},
        // One row without a key: the rows are not answered structurally, the keys still tell.
        {"explicit with a keyless row",
         explicitShortcut,
         {choice(u"Yes"_s, {u"y"_s}), choice(u"No"_s, {u"n"_s}), choice(u"Edit"_s),
          choice(u"Persist"_s, {u"p"_s})},
         true,
         3,
         false},
        {"explicit, first key not exactly y",
         explicitShortcut,
         {choice(u"Yes"_s, {u"y"_s, u"Enter"_s}), choice(u"Edit"_s)},
         false,
         std::nullopt,
         false},
        {"arrows without a cursor",
         arrowNavigate,
         {choice(u"Yes"_s), choice(u"Always"_s), choice(u"No"_s)},
         false,
         std::nullopt,
         false},
    };
    for (const auto& c : cases) {
        const auto model = InteractionDisplayModel::from(
            interaction(InteractionKind::approval, c.mechanism, c.choices, caps));
        EXPECT_EQ(model.approvalOnceAvailable, c.onceAvailable) << c.name;
        EXPECT_EQ(model.approvalPersistChoiceIndex, c.persistIndex) << c.name;
        EXPECT_EQ(model.choicesAreActionable, c.actionable) << c.name;
        EXPECT_TRUE(model.showsCancel) << c.name;
        EXPECT_TRUE(model.showsManualControls) << c.name;
    }

    // Persist and once belong to approvals only.
    const auto question = InteractionDisplayModel::from(interaction(
        InteractionKind::question, numberedShortcut,
        {choice(u"a"_s), choice(u"b"_s), choice(u"c"_s)}, {InteractionCapability::selectOne}));
    EXPECT_FALSE(question.approvalOnceAvailable);
    EXPECT_FALSE(question.approvalPersistChoiceIndex);
    EXPECT_FALSE(question.showsCancel);
}

TEST(InteractionDisplayModel, SupportMessageAndStructuredSubmit)
{
    using enum InteractionMechanism;
    using enum InteractionKind;
    const QString ambiguousText = u"Response mechanism is ambiguous — use manual controls."_s;
    const QString unknownText = u"Unrecognized prompt — use manual controls."_s;
    const QString usualText =
        u"Responses are revalidated against the live prompt before sending."_s;
    struct Case {
        InteractionKind kind;
        InteractionMechanism mechanism;
        bool native;
        QString message;
        bool structuredSubmit;
    };
    const std::vector<Case> cases = {
        // The mechanism is looked at before the kind.
        {unknown, ambiguous, false, ambiguousText, false},
        {question, ambiguous, false, ambiguousText, false},
        {unknown, manual, false, unknownText, false},
        {unknown, arrowNavigate, false, unknownText, false},
        {question, manual, false, usualText, false},
        {question, arrowNavigate, false, usualText, true},
        {question, ambiguous, true, ambiguousText, true},
        {unknown, manual, true, unknownText, true},
    };
    for (const auto& c : cases) {
        auto pending = interaction(c.kind, c.mechanism, {choice(u"a"_s), choice(u"b"_s)});
        if (c.native)
            pending.evidence.source = InteractionSourceKind::native;
        const auto model = InteractionDisplayModel::from(pending);
        EXPECT_EQ(model.supportMessage, c.message)
            << toString(c.kind).toStdString() << " " << toString(c.mechanism).toStdString();
        EXPECT_EQ(model.exposesStructuredSubmit, c.structuredSubmit)
            << toString(c.kind).toStdString() << " " << toString(c.mechanism).toStdString()
            << " native " << c.native;
    }
}

TEST(InteractionDisplayModel, TextEntry)
{
    const std::set caps{InteractionCapability::enterText, InteractionCapability::selectOne};
    auto screen = interaction(InteractionKind::freeText, InteractionMechanism::textEntry,
                              {choice(u"Type"_s)}, caps);
    auto model = InteractionDisplayModel::from(screen);
    EXPECT_TRUE(model.showsTextEntry);
    EXPECT_FALSE(model.showsBeginTextEntry);
    EXPECT_FALSE(model.choicesAreActionable);
    EXPECT_TRUE(model.exposesStructuredSubmit);

    screen.evidence.source = InteractionSourceKind::native;
    model = InteractionDisplayModel::from(screen);
    EXPECT_TRUE(model.showsTextEntry);
    EXPECT_TRUE(model.choicesAreActionable);

    // A question that also takes text offers to start typing, without a field yet.
    const auto question = InteractionDisplayModel::from(
        interaction(InteractionKind::question, InteractionMechanism::numberedShortcut,
                    {choice(u"a"_s), choice(u"Type something"_s)}, caps));
    EXPECT_FALSE(question.showsTextEntry);
    EXPECT_TRUE(question.showsBeginTextEntry);
    EXPECT_TRUE(question.choicesAreActionable);
}

TEST(InteractionDisplayModel, ChoicesStepsAndCopiedTexts)
{
    auto pending = interaction(InteractionKind::question, InteractionMechanism::multiSelect,
                               {choice(u"red"_s), choice(u"green"_s, {u"2"_s}), choice(u"blue"_s)},
                               {InteractionCapability::selectMany});
    pending.body = u"Pick colours"_s;
    pending.presentation.selectedChoiceIndex = 1;
    pending.presentation.checkedChoiceIndexes = {0, 2};
    pending.presentation.selectedChoicePreview = u"preview"_s;
    pending.userPromptContext = u"  make it\n\n  colourful\t please "_s;
    pending.steps = {{u"Colours"_s, true, false}, {u"Submit"_s, false, true}};

    auto model = InteractionDisplayModel::from(pending);
    ASSERT_EQ(model.choices.size(), 3u);
    EXPECT_EQ(
        model.choices[1],
        (InteractionDisplayChoice{
            1, InteractionChoiceKind::option, u"green"_s, std::nullopt, {u"2"_s}, true, false}));
    EXPECT_EQ(model.choices[0].isChecked, true);
    EXPECT_FALSE(model.choices[0].isSelected);
    EXPECT_EQ(model.choices[2].isChecked, true);
    EXPECT_EQ(model.title, u"Run the migration?"_s);
    EXPECT_EQ(model.body, u"Pick colours"_s);
    EXPECT_EQ(model.selectedChoicePreview, u"preview"_s);
    EXPECT_EQ(model.userContextLine, u"You: make it colourful please"_s);
    EXPECT_TRUE(model.choicesAreActionable);
    // An answered step is not enough while no step is active.
    EXPECT_FALSE(model.showsExplicitSubmit);

    pending.presentation.activeStepIndex = 0;
    EXPECT_TRUE(InteractionDisplayModel::from(pending).showsExplicitSubmit);
    pending.steps[0].isAnswered = false;
    EXPECT_FALSE(InteractionDisplayModel::from(pending).showsExplicitSubmit);

    // Ticks are shown only for prompts that take several answers.
    pending.capabilities = {InteractionCapability::selectOne};
    model = InteractionDisplayModel::from(pending);
    EXPECT_FALSE(model.choices[0].isChecked.has_value());

    pending.kind = InteractionKind::reviewSubmit;
    pending.userPromptContext.reset();
    model = InteractionDisplayModel::from(pending);
    EXPECT_TRUE(model.showsExplicitSubmit);
    EXPECT_FALSE(model.userContextLine);
}

} // namespace
