#include "HerdrClient/Attention/SessionAttention.h"

#include <algorithm>

SessionAttention::SessionAttention(bool isLocalDefault, const Environment& environment)
    : m_policy(NeedsHumanSignal::asksDirectory(environment))
{
    if (isLocalDefault)
        m_harnessFiles.emplace(PiHarnessFiles::sentinelDirectory(environment));
}

const AttentionSnapshot& SessionAttention::refresh(const std::map<QString, PaneInfo>& panes,
                                                   Timestamp now)
{
    std::vector<PaneInfo> list;
    list.reserve(panes.size());
    for (const auto& [paneID, pane] : panes)
        list.push_back(pane);
    // A remote session gets no registry and no journal: its sentinel is on another machine.
    if (m_harnessFiles)
        m_harnessFiles->refresh();
    const AgentTree tree(list, m_harnessFiles ? m_harnessFiles->registry() : QByteArray(),
                         isLocalDefault());
    m_attention = m_policy.evaluate(list, tree,
                                    m_harnessFiles ? m_harnessFiles->journal() : PiHarnessJournal(),
                                    now, grace, isLocalDefault());
    m_pendingAlerts.insert(m_pendingAlerts.end(), m_attention.newlyAlerted.begin(),
                           m_attention.newlyAlerted.end());
    return m_attention;
}

std::vector<AttentionItem> SessionAttention::takeNewAlerts()
{
    std::vector<AttentionItem> taken;
    for (auto& alert : m_pendingAlerts) {
        const bool stands =
            std::any_of(m_attention.items.begin(), m_attention.items.end(),
                        [&](const AttentionItem& item) { return item.id == alert.id; });
        if (stands)
            taken.push_back(std::move(alert));
    }
    m_pendingAlerts.clear();
    return taken;
}
