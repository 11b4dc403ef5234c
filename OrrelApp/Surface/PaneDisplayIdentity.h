#pragma once

#include "HerdrClient/Wire/PaneInfo.h"

#include <QMutex>
#include <QString>

#include <map>
#include <optional>

// The names of panes, tabs and projects as rows and cards show them. "Clean" below means trimmed
// of white space and newlines, an empty result counting as missing.
namespace PaneDisplayIdentity {

// The last component of the clean path.
std::optional<QString> directoryName(const std::optional<QString>& path);

// The workspace's label, else the directory the pane works in, else its id.
QString spaceTitle(const PaneInfo& pane, const std::optional<QString>& workspaceLabel);
// What the agent is doing, as best the pane tells it; the pane id at worst.
QString taskTitle(const PaneInfo& pane, const std::optional<QString>& workspaceLabel);
// The model an opencode pane reports through its tokens.
std::optional<QString> modelBadge(const PaneInfo& pane);

// The tab's label, "Tab <number>" or "Tab"; a label that only numbers the tab reads the same.
QString tabTitle(const std::optional<QString>& label, std::optional<qint64> number);
// "tab3", "TAB 12" and "7" become "Tab 3", "Tab 12", "Tab 7"; anything else stays as it is.
QString normalizedGenericTabTitle(const QString& title);

// The project a pane works in: a worktree's repository and branch folder, the enclosing git
// repository when `resolveGitRoot` allows the disk search, then the workspace or directory.
QString projectTitle(const PaneInfo& pane, const std::optional<QString>& workspaceLabel,
                     bool resolveGitRoot);
std::optional<QString> projectTitle(const QString& forPath, bool resolveGitRoot);

// The answers of the git root search by path, so that each path touches the disk once. Safe from
// any thread; its lock is never held across the disk.
class GitRootCache {
public:
    struct Entry {
        std::optional<QString> title; // absent: the search found no repository
    };

    static GitRootCache& shared();

    std::optional<Entry> lookup(const QString& path) const;
    void store(const QString& path, Entry entry);
    void clear();

private:
    mutable QMutex m_mutex;
    std::map<QString, Entry> m_entries;
};

} // namespace PaneDisplayIdentity
