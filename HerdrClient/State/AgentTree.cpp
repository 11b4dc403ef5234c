#include "HerdrClient/State/AgentTree.h"

#include <algorithm>

using namespace Qt::StringLiterals;

AgentTree::AgentTree(const std::vector<PaneInfo>& panes, QByteArrayView registry, bool useRegistry)
{
    for (const PaneInfo& pane : panes)
        m_livePanes.insert(pane.paneID);
    if (useRegistry)
        readRegistry(registry);
    // A pane that names its owner itself is believed over the registry.
    for (const PaneInfo& pane : panes) {
        if (auto parent = pane.token(u"nh_parent"_s))
            m_parentOf.insert_or_assign(pane.paneID, *parent);
    }
    resolveRoots();
}

void AgentTree::readRegistry(QByteArrayView registry)
{
    const auto parsed = JSONValue::parse(registry);
    if (!parsed)
        return;
    const JSONValue* entries = parsed->member(u"entries");
    if (!entries || !entries->arrayValue())
        return;
    for (const JSONValue& entry : *entries->arrayValue()) {
        const auto* object = entry.objectValue();
        if (!object || object->empty())
            continue;
        const JSONValue* kind = entry.member(u"kind");
        const JSONValue* child = entry.member(u"child");
        const JSONValue* owner = entry.member(u"owner");
        if (!kind || kind->stringValue() != u"pane"_s || !child || !child->stringValue() || !owner
            || !owner->stringValue())
            continue;
        const QString childID = *child->stringValue();
        m_parentOf.insert_or_assign(childID, *owner->stringValue());
        const JSONValue* label = entry.member(u"tabLabel");
        if (label && label->stringValue())
            m_tabLabelOf.insert_or_assign(childID, *label->stringValue());
        else
            m_tabLabelOf.erase(childID);
    }
}

QString AgentTree::root(const QString& paneID) const
{
    if (const auto known = m_rootOf.find(paneID); known != m_rootOf.end())
        return known->second;
    return walkToRoot(paneID, {});
}

QString AgentTree::walkToRoot(const QString& paneID,
                              const std::map<QString, QString>& knownRoots) const
{
    QString current = paneID;
    std::vector<QString> path;
    std::map<QString, std::size_t> positionOnPath;
    while (true) {
        if (const auto known = knownRoots.find(current); known != knownRoots.end())
            return known->second;
        const QString* owner = liveOwner(current);
        if (!owner)
            return current;
        if (const auto seen = positionOnPath.find(current); seen != positionOnPath.end())
            return *std::min_element(path.begin() + qsizetype(seen->second), path.end());
        positionOnPath.emplace(current, path.size());
        path.push_back(current);
        current = *owner;
    }
}

const QString* AgentTree::liveOwner(const QString& paneID) const
{
    const auto parent = m_parentOf.find(paneID);
    // An owner that has gone leaves its worker standing on its own.
    if (parent == m_parentOf.end() || !m_livePanes.contains(parent->second))
        return nullptr;
    return &parent->second;
}

void AgentTree::resolveRoots()
{
    // Every pane walked on the way shares the root found, so each owner chain is walked once.
    for (const QString& paneID : m_livePanes) {
        if (m_rootOf.contains(paneID))
            continue;
        const QString found = walkToRoot(paneID, m_rootOf);
        for (const QString* current = &paneID; current && !m_rootOf.contains(*current);
             current = liveOwner(*current))
            m_rootOf.emplace(*current, found);
    }
}

std::vector<QString> AgentTree::roots() const
{
    std::vector<QString> result;
    for (const QString& paneID : m_livePanes) {
        if (root(paneID) == paneID)
            result.push_back(paneID);
    }
    return result;
}

std::vector<QString> AgentTree::children(const QString& rootID) const
{
    std::vector<QString> result;
    for (const QString& paneID : m_livePanes) {
        if (paneID != rootID && root(paneID) == rootID)
            result.push_back(paneID);
    }
    return result;
}

std::optional<QString> AgentTree::tabLabel(const QString& paneID) const
{
    const auto it = m_tabLabelOf.find(paneID);
    if (it == m_tabLabelOf.end())
        return std::nullopt;
    return it->second;
}
