#pragma once

#include "HerdrClient/Interaction/InteractionProviding.h"
#include "HerdrClient/Interaction/PromptClassifier.h"
#include "HerdrClient/Wire/RequestSending.h"

// Reads a pane through herdr (detection text, coloured screen, detection text again) and hands
// the texts to the classifier. A read that outlives the provider or its client ends as an
// unreadable pane.
class ScreenInteractionProvider final : public InteractionProviding {
public:
    ScreenInteractionProvider(RequestSending& client, PromptClassifier classifier);

    // The detection read decides; the coloured visible read only adds the highlighted tab, and
    // its failure costs nothing else. A prompt that changes between the two detection reads is
    // looked at again, up to three times.
    QCoro::Task<InteractionReadResult> interaction(QString paneID, std::optional<QString> agentID,
                                                   std::optional<quint64> paneRevision) override;

    // The label of the highlighted wizard tab in a coloured screen, taken from the lowest tab
    // row that has one.
    static std::optional<QString> currentTabLabel(const QString& ansiText);

    const PromptClassifier& classifier() const { return m_classifier; }

private:
    QCoro::Task<std::expected<QString, InteractionReadFailure>> detectionText(QString paneID);
    QCoro::Task<std::optional<QString>> visibleANSIText(QString paneID);

    RequestSendingHandle m_client;
    PromptClassifier m_classifier;
};
