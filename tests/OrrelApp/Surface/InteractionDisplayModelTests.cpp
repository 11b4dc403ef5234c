#include "OrrelApp/Surface/InteractionDisplayModel.h"

#include <QStringList>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// "Yes=y,Enter" is a row labelled Yes that the keys y then Enter answer.
template <class... Spec>
std::vector<InteractionChoice> rows(Spec... specs)
{
    std::vector<InteractionChoice> result;
    for (const char* spec : {specs...}) {
        const auto parts = QString::fromUtf8(spec).split(u'=');
        std::vector<QString> keys;
        for (const auto& key : parts.value(1).split(u',', Qt::SkipEmptyParts))
            keys.push_back(key);
        result.push_back(InteractionChoice{InteractionChoiceKind::option, parts[0], std::nullopt,
                                           std::move(keys), std::nullopt});
    }
    return result;
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
        bool onceAvailable;
        std::optional<qint64> persistIndex;
        bool actionable;
        std::vector<InteractionChoice> choices;
    };
    const std::set caps{InteractionCapability::approve, InteractionCapability::deny,
                        InteractionCapability::selectOne};
    const auto none = std::nullopt;
    const std::vector<Case> cases = {
        {"two numbered", numberedShortcut, true, none, true, rows("Yes", "No")},
        {"three numbered", numberedShortcut, true, 1, true, rows("Yes", "Yes, always", "No")},
        {"explicit keys on every row", explicitShortcut, true, 1, true,
         rows("Yes=y", "No=n", "Always=a")},
        // One row without a key: the rows are not answered structurally, the keys still tell.
        {"explicit with a keyless row", explicitShortcut, true, 3, false,
         rows("Yes=y", "No=n", "Edit", "Persist=p")},
        {"explicit, first key not exactly y", explicitShortcut, false, none, false,
         rows("Yes=y,Enter", "Edit")},
        {"arrows without a cursor", arrowNavigate, false, none, false, rows("Yes", "Always", "No")},
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
    const auto question = InteractionDisplayModel::from(
        interaction(InteractionKind::question, numberedShortcut, rows("a", "b", "c"),
                    {InteractionCapability::selectOne}));
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
        auto pending = interaction(c.kind, c.mechanism, rows("a", "b"));
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
    auto screen =
        interaction(InteractionKind::freeText, InteractionMechanism::textEntry, rows("Type"), caps);
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
                    rows("a", "Type something"), caps));
    EXPECT_FALSE(question.showsTextEntry);
    EXPECT_TRUE(question.showsBeginTextEntry);
    EXPECT_TRUE(question.choicesAreActionable);

    // An approval offers it only with a row that takes text (claude's plan feedback).
    auto feedback = rows("Yes", "No", "Tell Claude what to change");
    const auto plain = interaction(InteractionKind::approval,
                                   InteractionMechanism::numberedShortcut, feedback, caps);
    EXPECT_FALSE(InteractionDisplayModel::from(plain).showsBeginTextEntry);
    feedback[2].kind = InteractionChoiceKind::textEntry;
    const auto plan = InteractionDisplayModel::from(interaction(
        InteractionKind::approval, InteractionMechanism::numberedShortcut, feedback, caps));
    EXPECT_TRUE(plan.showsBeginTextEntry);
    EXPECT_TRUE(plan.choicesAreActionable);
}

TEST(InteractionDisplayModel, ChoicesStepsAndCopiedTexts)
{
    auto pending = interaction(InteractionKind::question, InteractionMechanism::multiSelect,
                               rows("red", "green=2", "blue"), {InteractionCapability::selectMany});
    pending.body = u"Pick colours"_s;
    pending.presentation.selectedChoiceIndex = 1;
    pending.presentation.checkedChoiceIndexes = {0, 2};
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
    EXPECT_EQ(model.body, u"Pick colours"_s);
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
