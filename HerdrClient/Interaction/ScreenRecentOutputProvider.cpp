#include "HerdrClient/Interaction/ScreenRecentOutputProvider.h"

#include "HerdrClient/Interaction/RecentOutputExtractor.h"

#include <algorithm>

ScreenRecentOutputProvider::ScreenRecentOutputProvider(RequestSending& client, int requestLineLimit,
                                                       int displayLineLimit, int characterLimit)
    : m_reader(client), m_requestLineLimit(std::max(1, requestLineLimit)),
      m_displayLineLimit(std::max(1, displayLineLimit)),
      m_characterLimit(std::max(1, characterLimit))
{
}

QCoro::Task<RecentOutputResult> ScreenRecentOutputProvider::recentOutput(QString paneID)
{
    const PaneTextReader reader = m_reader;
    const int displayLineLimit = m_displayLineLimit;
    const int characterLimit = m_characterLimit;
    const PaneReadParams params =
        PaneTextReader::recentUnwrappedText(std::move(paneID), m_requestLineLimit);
    const PaneTextResult text = co_await reader.read(params);
    if (!text)
        co_return std::unexpected(text.error());
    QString output = RecentOutputExtractor::extract(*text, displayLineLimit, characterLimit);
    co_return output;
}
