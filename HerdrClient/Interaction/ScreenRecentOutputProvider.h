#pragma once

#include "HerdrClient/Interaction/PaneTextReader.h"
#include "HerdrClient/Interaction/RecentOutputProviding.h"

// The last lines of a pane's unwrapped scrollback, cut for a preview. A read may outlive the
// provider; once the client has ended it fails as a closed connection.
class ScreenRecentOutputProvider final : public RecentOutputProviding {
public:
    // Limits below 1 count as 1.
    ScreenRecentOutputProvider(RequestSending& client, int requestLineLimit = 40,
                               int displayLineLimit = 16, int characterLimit = 4096);

    // herdr's failure as it came; a reply without a text fails as a malformed response.
    QCoro::Task<RecentOutputResult> recentOutput(QString paneID) override;

    int requestLineLimit() const { return m_requestLineLimit; }
    int displayLineLimit() const { return m_displayLineLimit; }
    int characterLimit() const { return m_characterLimit; }

private:
    PaneTextReader m_reader;
    int m_requestLineLimit;
    int m_displayLineLimit;
    int m_characterLimit;
};
