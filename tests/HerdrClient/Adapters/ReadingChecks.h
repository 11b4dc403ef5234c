#pragma once

#include "HerdrClient/Capture/PaneFixtureAnnotations.h"
#include "HerdrClient/Interaction/PendingInteraction.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

// What every reader promises, whatever the screen.
inline void expectSoundReading(const PendingInteraction& reading, const std::string& name)
{
    const auto& presentation = reading.presentation;
    if (presentation.selectedChoiceIndex) {
        EXPECT_GE(*presentation.selectedChoiceIndex, 0) << name;
        EXPECT_LT(*presentation.selectedChoiceIndex, qint64(reading.choices.size())) << name;
    }
    if (presentation.activeStepIndex) {
        EXPECT_LT(*presentation.activeStepIndex, qint64(reading.steps.size())) << name;
    }
    EXPECT_TRUE(std::is_sorted(presentation.checkedChoiceIndexes.begin(),
                               presentation.checkedChoiceIndexes.end()))
        << name;
    for (const auto index : presentation.checkedChoiceIndexes)
        EXPECT_LT(index, qint64(reading.choices.size())) << name;
    EXPECT_EQ(reading.safetyState, InteractionSafetyState::fresh) << name;
    EXPECT_FALSE(reading.interactionID) << name;
    if (reading.kind == InteractionKind::unknown) {
        EXPECT_TRUE(reading.choices.empty()) << name;
        EXPECT_TRUE(reading.steps.empty()) << name;
        EXPECT_FALSE(reading.title) << name;
        EXPECT_EQ(presentation.mechanism, InteractionMechanism::manual) << name;
        EXPECT_EQ(reading.capabilities, std::set{InteractionCapability::manualTerminal}) << name;
        EXPECT_EQ(reading.evidence.confidence, InteractionConfidence::fallback) << name;
    } else {
        EXPECT_FALSE(reading.choices.empty()) << name;
        EXPECT_EQ(reading.evidence.confidence, InteractionConfidence::exact) << name;
        EXPECT_FALSE(reading.capabilities.contains(InteractionCapability::manualTerminal)) << name;
    }
}

// Annotations write progress as "current/total", with " (N unanswered)" when there is a count
// and "?" for an unknown part.
inline std::optional<QString> annotatedProgress(const std::optional<InteractionProgress>& progress)
{
    if (!progress)
        return std::nullopt;
    const auto part = [](const std::optional<qint64>& v) {
        return v ? QString::number(*v) : QStringLiteral("?");
    };
    QString text = part(progress->current) + u'/' + part(progress->total);
    if (progress->unanswered)
        text += QStringLiteral(" (%1 unanswered)").arg(*progress->unanswered);
    return text;
}

inline void expectReadsAsAnnotated(const PendingInteraction& reading,
                                   const PaneFixtureAnnotations& expected, const std::string& name)
{
    EXPECT_EQ(toString(reading.kind), expected.interactionKind) << name;
    EXPECT_EQ(reading.title, expected.title) << name;
    EXPECT_EQ(annotatedProgress(reading.progress), expected.progress) << name;
    std::vector<QString> labels;
    std::vector<QString> descriptions;
    for (const auto& choice : reading.choices) {
        labels.push_back(choice.label);
        descriptions.push_back(choice.description.value_or(QString()));
    }
    EXPECT_EQ(labels, expected.optionLabels) << name;
    EXPECT_EQ(descriptions, expected.optionDescriptions) << name;
    EXPECT_EQ(reading.presentation.selectedChoicePreview, expected.selectedChoicePreview) << name;
    EXPECT_EQ(reading.presentation.selectedChoiceIndex, expected.observedCursorIndex) << name;
    EXPECT_EQ(reading.presentation.checkedChoiceIndexes, expected.observedCheckedIndexes) << name;
    EXPECT_EQ(toString(reading.presentation.mechanism), expected.responseMechanism) << name;
}
