#include "OrrelApp/Surface/AttentionRollupDisplay.h"
#include "OrrelApp/Surface/PaneDisplayIdentity.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using namespace PaneDisplayIdentity;

namespace {

PaneInfo pane()
{
    PaneInfo result;
    result.paneID = u"w1-3"_s;
    return result;
}

TEST(PaneDisplayIdentity, TabTitles)
{
    struct Case {
        std::optional<QString> label;
        std::optional<qint64> number;
        QString title;
    };
    const std::vector<Case> cases = {
        {u"tab3"_s, std::nullopt, u"Tab 3"_s},
        {u"TAB 12"_s, 4, u"Tab 12"_s},
        {u" 7 "_s, std::nullopt, u"Tab 7"_s},
        {u"Table"_s, 2, u"Table"_s},
        {u"tab"_s, 2, u"tab"_s},
        {u"tab 1a"_s, 2, u"tab 1a"_s},
        {u"  review  "_s, 2, u"review"_s},
        {u"   "_s, 5, u"Tab 5"_s},
        {std::nullopt, 5, u"Tab 5"_s},
        {std::nullopt, std::nullopt, u"Tab"_s},
    };
    for (const auto& c : cases)
        EXPECT_EQ(tabTitle(c.label, c.number), c.title) << c.label.value_or(u"-"_s).toStdString();
}

TEST(PaneDisplayIdentity, TitlesFallBackInOrder)
{
    auto p = pane();
    EXPECT_EQ(taskTitle(p, std::nullopt), u"w1-3"_s);
    EXPECT_EQ(spaceTitle(p, u" "_s), u"w1-3"_s);
    p.agent = u"claude"_s;
    EXPECT_EQ(taskTitle(p, std::nullopt), u"claude"_s);
    p.displayAgent = u"Claude Code"_s;
    EXPECT_EQ(taskTitle(p, std::nullopt), u"Claude Code"_s);
    EXPECT_EQ(taskTitle(p, u"infra"_s), u"infra"_s);
    p.foregroundCwd = u"/home/me/src/web/"_s;
    EXPECT_EQ(taskTitle(p, u"infra"_s), u"web"_s);
    EXPECT_EQ(spaceTitle(p, std::nullopt), u"web"_s);
    p.cwd = u"/home/me/src/api"_s;
    EXPECT_EQ(taskTitle(p, u"infra"_s), u"api"_s);
    EXPECT_EQ(spaceTitle(p, std::nullopt), u"web"_s);
    EXPECT_EQ(spaceTitle(p, u" infra\n"_s), u"infra"_s);
    p.label = u"  refactor  "_s;
    EXPECT_EQ(taskTitle(p, u"infra"_s), u"refactor"_s);
    p.title = u"\n"_s;
    EXPECT_EQ(taskTitle(p, u"infra"_s), u"refactor"_s);
    p.title = u"Fix login"_s;
    EXPECT_EQ(taskTitle(p, u"infra"_s), u"Fix login"_s);

    EXPECT_FALSE(directoryName(u"/"_s));
    EXPECT_FALSE(directoryName(u"  "_s));
    EXPECT_EQ(directoryName(u"/a/b/../c"_s), u"c"_s);

    EXPECT_FALSE(modelBadge(p));
    p.tokens = std::map<QString, QString>{{u"opencode_model"_s, u" sonnet-4 "_s}};
    EXPECT_EQ(modelBadge(p), u"sonnet-4"_s);
}

TEST(PaneDisplayIdentity, WorktreePaths)
{
    EXPECT_EQ(projectTitle(u"/a/repo/.worktrees/feature/sub"_s, false), u"repo · feature"_s);
    EXPECT_EQ(projectTitle(u"/a/repo/.worktrees/feature"_s, false), u"repo · feature"_s);
    // Nothing after the folder, or nothing before it: not a worktree.
    EXPECT_FALSE(projectTitle(u"/a/repo/.worktrees"_s, false));
    EXPECT_FALSE(projectTitle(u"/.worktrees/x"_s, false));
}

TEST(PaneDisplayIdentity, GitRootWalkIsCached)
{
    auto& cache = GitRootCache::shared();
    cache.clear();
    QTemporaryDir temporary;
    ASSERT_TRUE(temporary.isValid());
    const QString root = temporary.path() + u"/checkout"_s;
    ASSERT_TRUE(QDir().mkpath(root + u"/src/deep"_s));
    ASSERT_TRUE(QDir().mkpath(root + u"/.git"_s));
    // A submodule's ".git" is a file; the nearest one wins.
    ASSERT_TRUE(QDir().mkpath(root + u"/vendor/lib/include"_s));
    QFile gitFile(root + u"/vendor/lib/.git"_s);
    ASSERT_TRUE(gitFile.open(QIODevice::WriteOnly));
    gitFile.close();

    const QString deep = root + u"/src/deep"_s;
    EXPECT_EQ(projectTitle(deep, true), u"checkout"_s);
    EXPECT_EQ(projectTitle(root + u"/vendor/lib/include"_s, true), u"lib"_s);
    EXPECT_FALSE(projectTitle(deep, false));
    EXPECT_FALSE(projectTitle(temporary.path(), true));

    // The second look comes from the cache: the disk no longer agrees, the answer stays.
    ASSERT_TRUE(QDir(root + u"/.git"_s).removeRecursively());
    EXPECT_EQ(projectTitle(deep + u"/"_s, true), u"checkout"_s);
    cache.clear();
    EXPECT_FALSE(projectTitle(deep, true));
    // A miss is remembered too.
    ASSERT_TRUE(QDir().mkpath(root + u"/.git"_s));
    EXPECT_FALSE(projectTitle(deep, true));
    cache.clear();

    auto p = pane();
    p.cwd = deep;
    p.foregroundCwd = temporary.path();
    EXPECT_EQ(projectTitle(p, u"ws"_s, true), u"checkout"_s);
    EXPECT_EQ(projectTitle(p, u" ws "_s, false), u"ws"_s);
    EXPECT_EQ(projectTitle(p, std::nullopt, false), QDir(temporary.path()).dirName());
    p.foregroundCwd.reset();
    EXPECT_EQ(projectTitle(p, std::nullopt, false), u"deep"_s);
    cache.clear();
}

TEST(AttentionRollupDisplay, PillTaskTitlePrefersTheBlockedSelection)
{
    auto item = [](const QString& pane, RollupStatus status) {
        InteractionAttentionDisplayModel model;
        model.ref = {u"local:default"_s, pane};
        model.taskTitle = u"task "_s + pane;
        model.status = status;
        return model;
    };
    const std::vector items = {item(u"a"_s, RollupStatus::working),
                               item(u"b"_s, RollupStatus::blocked),
                               item(u"c"_s, RollupStatus::blocked)};
    using AttentionRollupDisplay::pillTaskTitle;
    EXPECT_EQ(pillTaskTitle(items, std::nullopt), u"task b"_s);
    EXPECT_EQ(pillTaskTitle(items, AgentRef{u"local:default"_s, u"c"_s}), u"task c"_s);
    // A selection that is not blocked, or in another session, falls back to the first blocked.
    EXPECT_EQ(pillTaskTitle(items, AgentRef{u"local:default"_s, u"a"_s}), u"task b"_s);
    EXPECT_EQ(pillTaskTitle(items, AgentRef{u"ssh:h/x"_s, u"c"_s}), u"task b"_s);
    EXPECT_FALSE(pillTaskTitle(std::span(items).first(1), std::nullopt));
}

} // namespace
