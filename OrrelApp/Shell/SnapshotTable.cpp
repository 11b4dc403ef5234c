#include "OrrelApp/Shell/SnapshotTable.h"

#include <QStringList>

#include <algorithm>
#include <map>

using namespace Qt::StringLiterals;

namespace {

QString named(const std::optional<QString>& label, const QString& id)
{
    if (label && !label->isEmpty())
        return u"%1 (%2)"_s.arg(*label, id);
    return id;
}

QString renderRows(const std::vector<QStringList>& rows)
{
    std::vector<qsizetype> widths;
    for (const auto& row : rows) {
        widths.resize(std::max(widths.size(), std::size_t(row.size())));
        for (qsizetype c = 0; c < row.size(); ++c)
            widths[std::size_t(c)] = std::max(widths[std::size_t(c)], row[c].size());
    }
    QString out;
    for (const auto& row : rows) {
        QString line;
        for (qsizetype c = 0; c < row.size(); ++c) {
            const bool last = c + 1 == row.size();
            line += last ? row[c] : row[c].leftJustified(widths[std::size_t(c)] + 2);
        }
        while (line.endsWith(u' '))
            line.chop(1);
        out += line + u'\n';
    }
    return out;
}

} // namespace

QString formatSnapshotTable(const Snapshot& snapshot)
{
    std::map<QString, const WorkspaceInfo*> workspaces;
    for (const auto& w : snapshot.workspaces)
        workspaces.emplace(w.workspaceID, &w);
    std::map<QString, const TabInfo*> tabs;
    for (const auto& t : snapshot.tabs)
        tabs.emplace(t.tabID, &t);

    const auto panes = snapshot.uniquePanes();
    QString out = u"herdr %1"_s.arg(snapshot.version.value_or(u"(version unknown)"_s));
    if (snapshot.protocol)
        out += u" · protocol %1"_s.arg(*snapshot.protocol);
    out += u" — %1 workspaces, %2 tabs, %3 panes, %4 agents\n"_s.arg(snapshot.workspaces.size())
               .arg(snapshot.tabs.size())
               .arg(panes.size())
               .arg(snapshot.agents.size());
    if (panes.empty())
        return out + u"No panes.\n"_s;

    std::vector<QStringList> rows{
        {u" "_s, u"WORKSPACE"_s, u"TAB"_s, u"PANE"_s, u"AGENT"_s, u"STATUS"_s, u"TITLE"_s}};
    for (const auto& pane : panes) {
        const auto w = workspaces.find(pane.workspaceID);
        const auto t = tabs.find(pane.tabID);
        const bool focused =
            snapshot.focusedPaneID ? *snapshot.focusedPaneID == pane.paneID : pane.focused;
        QString agent = pane.displayAgent.value_or(pane.agent.value_or(u"-"_s));
        QString title = pane.title.value_or(pane.label.value_or(pane.cwd.value_or(QString())));
        rows.push_back(
            {focused ? u"*"_s : u" "_s,
             w == workspaces.end() ? pane.workspaceID : named(w->second->label, pane.workspaceID),
             t == tabs.end() ? pane.tabID : named(t->second->label, pane.tabID), pane.paneID, agent,
             toString(pane.agentStatus), title});
    }
    return out + renderRows(rows);
}
