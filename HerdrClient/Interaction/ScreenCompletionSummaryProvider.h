#pragma once

#include "HerdrClient/Interaction/PaneTextReader.h"

#include <optional>

// The sentence a finished agent left as its summary, read from the pane's recent unwrapped
// text. Summaries are an extra: a failed read gives nothing and shows no error. A read may
// outlive the provider; once the client has ended it gives nothing.
class ScreenCompletionSummaryProvider {
public:
    static constexpr int characterLimit = 280;

    // A limit below 1 counts as 1.
    ScreenCompletionSummaryProvider(RequestSending& client, int lineLimit = 80);

    QCoro::Task<std::optional<QString>> completionSummary(QString paneID) const;

    int lineLimit() const { return m_lineLimit; }

private:
    PaneTextReader m_reader;
    int m_lineLimit;
};
