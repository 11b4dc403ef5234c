#pragma once

#include "HerdrClient/Wire/PaneInfo.h"

#include <QByteArrayView>
#include <QString>

#include <map>
#include <optional>
#include <set>
#include <vector>

// Who owns whom among the panes of one session. A pane with a live owner is a worker; a pane
// without one is a root, and only roots may call for the person. Owners come from the pi
// harness registry (local default session only) and from a pane's "nh_parent" token, which
// wins over the registry. Immutable once built.
class AgentTree {
public:
    AgentTree() = default;
    // Registry bytes that do not parse, and malformed entries, are ignored without a report.
    AgentTree(const std::vector<PaneInfo>& panes, QByteArrayView registry, bool useRegistry);

    // The top live owner of `paneID`, or `paneID` itself. Every member of an ownership cycle
    // gets the cycle's smallest id.
    QString root(const QString& paneID) const;
    // Live panes that are their own root, sorted.
    std::vector<QString> roots() const;
    // Live panes other than `rootID` whose root is `rootID`, sorted; workers of workers included.
    std::vector<QString> children(const QString& rootID) const;

    std::optional<QString> tabLabel(const QString& paneID) const;

    const std::map<QString, QString>& parentOf() const { return m_parentOf; }
    const std::map<QString, QString>& tabLabelOf() const { return m_tabLabelOf; }
    const std::set<QString>& livePanes() const { return m_livePanes; }

    bool operator==(const AgentTree&) const = default;

private:
    void readRegistry(QByteArrayView registry);
    void resolveRoots();
    const QString* liveOwner(const QString& paneID) const;
    QString walkToRoot(const QString& paneID, const std::map<QString, QString>& knownRoots) const;

    std::map<QString, QString> m_parentOf;
    std::map<QString, QString> m_tabLabelOf;
    std::set<QString> m_livePanes;
    // The root of every live pane, found once when the tree is built.
    std::map<QString, QString> m_rootOf;
};
