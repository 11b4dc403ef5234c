#include "HerdrClient/Interaction/ScreenCompletionSummaryProvider.h"

#include "HerdrClient/Interaction/CompletionSummaryExtractor.h"

#include <algorithm>

using namespace Qt::StringLiterals;

ScreenCompletionSummaryProvider::ScreenCompletionSummaryProvider(RequestSending& client, int lineLimit)
    : m_reader(client), m_lineLimit(std::max(1, lineLimit))
{
}

QCoro::Task<std::optional<QString>> ScreenCompletionSummaryProvider::completionSummary(QString paneID) const
{
    const PaneTextReader reader = m_reader;
    PaneReadParams params;
    params.paneID = std::move(paneID);
    params.source = ReadSource::recentUnwrapped;
    params.lines = m_lineLimit;
    params.format = u"text"_s;
    params.stripAnsi = true;
    const PaneTextResult text = co_await reader.read(params);
    if (!text)
        co_return std::nullopt;
    co_return CompletionSummaryExtractor::extract(*text, characterLimit);
}
