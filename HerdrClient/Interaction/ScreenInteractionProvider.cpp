#include "HerdrClient/Interaction/ScreenInteractionProvider.h"

#include "HerdrClient/Interaction/ScreenText.h"
#include "HerdrClient/Wire/PaneParams.h"

using namespace Qt::StringLiterals;

ScreenInteractionProvider::ScreenInteractionProvider(RequestSending& client,
                                                     PromptClassifier classifier)
    : m_client(client), m_classifier(std::move(classifier))
{
}

namespace {

// A screen that keeps moving under the look is given up after this many tries.
constexpr int lookAttempts = 3;

// What an answer's keys depend on: the prompt itself, where its cursor and ticks stand, and the
// wizard's steps. Evidence and header may differ in a redraw without harm.
bool samePromptState(const PendingInteraction& a, const PendingInteraction& b)
{
    return a.fingerprint() == b.fingerprint() && a.kind == b.kind && a.choices == b.choices
           && a.steps == b.steps && a.progress == b.progress && a.presentation == b.presentation;
}

} // namespace

QCoro::Task<std::expected<QString, InteractionReadFailure>>
ScreenInteractionProvider::detectionText(QString paneID)
{
    const Lifetime::Guard alive = lifetime();
    PaneReadParams params;
    params.paneID = paneID;
    params.source = ReadSource::detection;
    const RequestResult reply = co_await m_client.request(u"pane.read"_s, params.asJSONValue());
    if (!alive)
        co_return std::unexpected(InteractionProviderError::unreadablePane(paneID));
    if (!reply) {
        // A reply that is not JSON at all is as unreadable as one without a "read".
        if (reply.error().parseError())
            co_return std::unexpected(InteractionProviderError::unreadablePane(paneID));
        co_return std::unexpected(reply.error());
    }
    auto read = PaneReadResult::fromResult(*reply);
    if (!read)
        co_return std::unexpected(InteractionProviderError::unreadablePane(paneID));
    co_return std::move(read->text);
}

QCoro::Task<std::optional<QString>> ScreenInteractionProvider::visibleANSIText(QString paneID)
{
    PaneReadParams params;
    params.paneID = paneID;
    params.source = ReadSource::visible;
    params.format = u"ansi"_s;
    params.stripAnsi = false;
    const RequestResult reply = co_await m_client.request(u"pane.read"_s, params.asJSONValue());
    if (!reply)
        co_return std::nullopt;
    auto read = PaneReadResult::fromResult(*reply);
    if (!read)
        co_return std::nullopt;
    co_return std::move(read->text);
}

QCoro::Task<InteractionReadResult> ScreenInteractionProvider::interaction(
    QString paneID, std::optional<QString> agentID, std::optional<quint64> paneRevision)
{
    const Lifetime::Guard alive = lifetime();
    // A look takes two reads and the screen may move between them. The detection text is read
    // once more after the coloured one, and the look stands only when both detection reads give
    // the same prompt: the read an answer's keys follow is then one that was compared.
    std::optional<PendingInteraction> latest;
    for (int attempt = 0; attempt < lookAttempts; ++attempt) {
        auto first = co_await detectionText(paneID);
        if (!first)
            co_return std::unexpected(first.error());
        const std::optional<QString> visibleText = co_await visibleANSIText(paneID);
        if (!alive)
            co_return std::unexpected(InteractionProviderError::unreadablePane(paneID));
        std::optional<QString> tabLabel;
        if (visibleText)
            tabLabel = currentTabLabel(*visibleText);
        PendingInteraction seen = m_classifier.classifyInteraction(
            paneID, agentID, *first, visibleText, paneRevision, tabLabel);
        auto second = co_await detectionText(paneID);
        if (!second)
            co_return std::unexpected(second.error());
        if (*second == *first)
            co_return seen;
        latest = m_classifier.classifyInteraction(paneID, agentID, *second, visibleText,
                                                  paneRevision, tabLabel);
        if (samePromptState(seen, *latest))
            co_return std::move(*latest);
    }
    // A screen that never held still is no ground for keys; one that offers nothing to press
    // can still be shown as last read.
    if (latest && latest->presentation.mechanism == InteractionMechanism::manual)
        co_return std::move(*latest);
    co_return std::unexpected(InteractionProviderError::unreadablePane(paneID));
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
