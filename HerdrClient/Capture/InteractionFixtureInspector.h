#pragma once

#include "HerdrClient/Capture/PaneCaptureError.h"
#include "HerdrClient/Interaction/PromptClassifier.h"

#include <QString>

#include <expected>

// Runs a fixture through the real readers, as the pane would have been read live: the source
// capture's pane, agent and revision, both texts, and the tab highlighted in the coloured one.
class InteractionFixtureInspector {
public:
    explicit InteractionFixtureInspector(PromptClassifier classifier)
        : m_classifier(std::move(classifier))
    {
    }

    // Verifies the fixture first; one that no longer proves itself is not read.
    std::expected<PendingInteraction, PaneCaptureError> inspect(const QString& directory) const;

    const PromptClassifier& classifier() const { return m_classifier; }

private:
    PromptClassifier m_classifier;
};
