#include "HerdrClient/Interaction/ScreenCompletionSummaryProvider.h"

#include "HerdrClient/Interaction/CompletionSummaryExtractor.h"

#include <algorithm>

ScreenCompletionSummaryProvider::ScreenCompletionSummaryProvider(RequestSending& client,
                                                                 int lineLimit)
    : m_reader(client), m_lineLimit(std::max(1, lineLimit))
{
}

QCoro::Task<std::optional<QString>> ScreenCompletionSummaryProvider::completionSummary(
    QString paneID) const
{
    const PaneTextReader reader = m_reader;
    const PaneReadParams params =
        PaneTextReader::recentUnwrappedText(std::move(paneID), m_lineLimit);
    const PaneTextResult text = co_await reader.read(params);
    if (!text)
        co_return std::nullopt;
    co_return CompletionSummaryExtractor::extract(*text, characterLimit);
}
