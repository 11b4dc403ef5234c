#include "OrrelApp/Surface/PaneDisplayIdentity.h"

#include <QDir>
#include <QFileInfo>
#include <QMutexLocker>
#include <QStringList>

#include <algorithm>
#include <initializer_list>

using namespace Qt::StringLiterals;

namespace PaneDisplayIdentity {

namespace {

std::optional<QString> clean(const std::optional<QString>& text)
{
    if (!text)
        return std::nullopt;
    QString trimmed = text->trimmed();
    if (trimmed.isEmpty())
        return std::nullopt;
    return trimmed;
}

QString firstPresent(std::initializer_list<std::optional<QString>> candidates,
                     const QString& fallback)
{
    for (const auto& candidate : candidates) {
        if (candidate)
            return *candidate;
    }
    return fallback;
}

bool isAsciiDigits(QStringView text)
{
    return !text.isEmpty() && std::ranges::all_of(text, [](QChar character) {
        return character >= u'0' && character <= u'9';
    });
}

// The walk up from `components` to the first level that holds ".git". A top-level folder such as
// /home is never taken for a repository.
std::optional<QString> searchGitRoot(QStringList components)
{
    while (components.size() >= 2) {
        const QString level = u'/' + components.join(u'/');
        if (QFileInfo::exists(level + u"/.git"_s))
            return components.last();
        components.removeLast();
    }
    return std::nullopt;
}

} // namespace

std::optional<QString> directoryName(const std::optional<QString>& path)
{
    const auto cleaned = clean(path);
    if (!cleaned)
        return std::nullopt;
    return clean(QDir::cleanPath(*cleaned).section(u'/', -1));
}

QString spaceTitle(const PaneInfo& pane, const std::optional<QString>& workspaceLabel)
{
    return firstPresent(
        {clean(workspaceLabel), directoryName(pane.foregroundCwd), directoryName(pane.cwd)},
        pane.paneID);
}

QString taskTitle(const PaneInfo& pane, const std::optional<QString>& workspaceLabel)
{
    return firstPresent({clean(pane.title), clean(pane.label), directoryName(pane.cwd),
                         directoryName(pane.foregroundCwd), clean(workspaceLabel),
                         clean(pane.displayAgent), clean(pane.agent)},
                        pane.paneID);
}

std::optional<QString> modelBadge(const PaneInfo& pane)
{
    return clean(pane.token(u"opencode_model"_s));
}

QString tabTitle(const std::optional<QString>& label, std::optional<qint64> number)
{
    if (const auto cleaned = clean(label))
        return normalizedGenericTabTitle(*cleaned);
    if (number)
        return u"Tab %1"_s.arg(*number);
    return u"Tab"_s;
}

QString normalizedGenericTabTitle(const QString& title)
{
    QString compact;
    for (const QChar character : title) {
        if (!character.isSpace())
            compact.append(character);
    }
    if (isAsciiDigits(compact))
        return u"Tab "_s + compact;
    if (compact.size() >= 4 && compact.left(3).toLower() == u"tab"_s
        && isAsciiDigits(QStringView(compact).mid(3)))
        return u"Tab "_s + compact.mid(3);
    return title;
}

QString projectTitle(const PaneInfo& pane, const std::optional<QString>& workspaceLabel,
                     bool resolveGitRoot)
{
    for (const auto& path : {clean(pane.foregroundCwd), clean(pane.cwd)}) {
        if (!path)
            continue;
        if (auto title = projectTitle(*path, resolveGitRoot))
            return *title;
    }
    return firstPresent(
        {clean(workspaceLabel), directoryName(pane.foregroundCwd), directoryName(pane.cwd)},
        pane.paneID);
}

std::optional<QString> projectTitle(const QString& forPath, bool resolveGitRoot)
{
    const QString path = QDir::cleanPath(forPath);
    const QStringList components = path.split(u'/', Qt::SkipEmptyParts);

    // A checkout under ".worktrees" names its repository and its branch folder.
    for (qsizetype index = 1; index + 1 < components.size(); ++index) {
        if (components[index] == u".worktrees"_s)
            return components[index - 1] + u" · "_s + components[index + 1];
    }
    if (!resolveGitRoot)
        return std::nullopt;

    auto& cache = GitRootCache::shared();
    if (const auto hit = cache.lookup(path))
        return hit->title;
    auto title = searchGitRoot(components);
    cache.store(path, {title});
    return title;
}

GitRootCache& GitRootCache::shared()
{
    static GitRootCache cache;
    return cache;
}

std::optional<GitRootCache::Entry> GitRootCache::lookup(const QString& path) const
{
    const QMutexLocker locker(&m_mutex);
    const auto found = m_entries.find(path);
    if (found == m_entries.end())
        return std::nullopt;
    return found->second;
}

void GitRootCache::store(const QString& path, Entry entry)
{
    const QMutexLocker locker(&m_mutex);
    m_entries.insert_or_assign(path, std::move(entry));
}

void GitRootCache::clear()
{
    const QMutexLocker locker(&m_mutex);
    m_entries.clear();
}

} // namespace PaneDisplayIdentity
