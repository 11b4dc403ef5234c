#include "HerdrClient/Interaction/ScreenInteractionProvider.h"

#include "HerdrClient/Interaction/ScreenText.h"
#include "HerdrClient/Wire/PaneParams.h"

using namespace Qt::StringLiterals;

ScreenInteractionProvider::ScreenInteractionProvider(RequestSending& client,
                                                     PromptClassifier classifier)
    : m_client(client), m_classifier(std::move(classifier))
{
}

QCoro::Task<InteractionReadResult> ScreenInteractionProvider::interaction(
    QString paneID, std::optional<QString> agentID, std::optional<quint64> paneRevision)
{
    const Lifetime::Guard alive = lifetime();
    PaneReadParams detectionParams;
    detectionParams.paneID = paneID;
    detectionParams.source = ReadSource::detection;
    const RequestResult detection =
        co_await m_client.request(u"pane.read"_s, detectionParams.asJSONValue());
    if (!alive)
        co_return std::unexpected(InteractionProviderError::unreadablePane(paneID));
    if (!detection) {
        // A reply that is not JSON at all is as unreadable as one without a "read".
        if (detection.error().parseError())
            co_return std::unexpected(InteractionProviderError::unreadablePane(paneID));
        co_return std::unexpected(detection.error());
    }
    const auto detectionRead = PaneReadResult::fromResult(*detection);
    if (!detectionRead)
        co_return std::unexpected(InteractionProviderError::unreadablePane(paneID));

    PaneReadParams visibleParams;
    visibleParams.paneID = paneID;
    visibleParams.source = ReadSource::visible;
    visibleParams.format = u"ansi"_s;
    visibleParams.stripAnsi = false;
    const RequestResult visible =
        co_await m_client.request(u"pane.read"_s, visibleParams.asJSONValue());
    if (!alive)
        co_return std::unexpected(InteractionProviderError::unreadablePane(paneID));
    std::optional<QString> visibleText;
    if (visible) {
        if (auto read = PaneReadResult::fromResult(*visible))
            visibleText = read->text;
    }
    std::optional<QString> tabLabel;
    if (visibleText)
        tabLabel = currentTabLabel(*visibleText);

    co_return m_classifier.classifyInteraction(paneID, agentID, detectionRead->text, visibleText,
                                               paneRevision, tabLabel);
}

std::optional<QString> ScreenInteractionProvider::currentTabLabel(const QString& ansiText)
{
    const QStringList lines = ScreenText::lines(ScreenText::normalizedLineEndings(ansiText));
    for (qsizetype i = lines.size() - 1; i >= 0; --i) {
        const QString& line = lines[i];
        if (!ScreenText::isTabRow(line))
            continue;
        if (PromptClassifier::parseWizardSteps(line, std::nullopt).empty())
            continue;
        if (auto label = PromptClassifier::highlightedTabLabel(line))
            return label;
    }
    return std::nullopt;
}
