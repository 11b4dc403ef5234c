#include "HerdrClient/State/AgentRef.h"
#include "HerdrClient/State/AgentTree.h"

#include <gtest/gtest.h>

#include <unordered_set>

using namespace Qt::StringLiterals;

namespace {

PaneInfo makePane(const QString& id, std::optional<QString> parentToken = std::nullopt)
{
    PaneInfo pane;
    pane.paneID = id;
    if (parentToken)
        pane.tokens = std::map<QString, QString>{{u"nh_parent"_s, *parentToken}};
    return pane;
}

std::vector<PaneInfo> panesNamed(std::initializer_list<const char16_t*> ids)
{
    std::vector<PaneInfo> panes;
    for (const char16_t* id : ids)
        panes.push_back(makePane(QString::fromUtf16(id)));
    return panes;
}

QByteArray registryOf(const QByteArray& entries)
{
    return R"({"version":1,"entries":[)" + entries + "]}";
}

std::vector<QString> strings(std::initializer_list<const char16_t*> values)
{
    std::vector<QString> result;
    for (const char16_t* v : values)
        result.push_back(QString::fromUtf16(v));
    return result;
}

TEST(AgentTreeTest, RootsFollowLiveOwnersOnly)
{
    struct Case {
        const char* name;
        std::vector<PaneInfo> panes;
        QByteArray registry;
        bool useRegistry;
        std::vector<QString> roots;
        std::map<QString, QString> rootOf;
    };
    const std::vector<Case> cases = {
        {"chain of live owners", panesNamed({u"a", u"b", u"c"}),
         registryOf(R"({"kind":"pane","child":"b","owner":"a"},)"
                    R"({"kind":"pane","child":"c","owner":"b"})"),
         true, strings({u"a"}), {{u"c"_s, u"a"_s}, {u"b"_s, u"a"_s}}},
        {"owner gone in the middle", panesNamed({u"a", u"c"}),
         registryOf(R"({"kind":"pane","child":"b","owner":"a"},)"
                    R"({"kind":"pane","child":"c","owner":"b"})"),
         true, strings({u"a", u"c"}), {{u"c"_s, u"c"_s}}},
        {"owner not live", panesNamed({u"b"}),
         registryOf(R"({"kind":"pane","child":"b","owner":"a"})"), true, strings({u"b"}),
         {{u"b"_s, u"b"_s}}},
        {"two-pane cycle", panesNamed({u"b", u"c"}),
         registryOf(R"({"kind":"pane","child":"b","owner":"c"},)"
                    R"({"kind":"pane","child":"c","owner":"b"})"),
         true, strings({u"b"}), {{u"b"_s, u"b"_s}, {u"c"_s, u"b"_s}}},
        {"cycle reached from outside", panesNamed({u"x", u"d", u"e"}),
         registryOf(R"({"kind":"pane","child":"x","owner":"e"},)"
                    R"({"kind":"pane","child":"e","owner":"d"},)"
                    R"({"kind":"pane","child":"d","owner":"e"})"),
         true, strings({u"d"}), {{u"x"_s, u"d"_s}, {u"e"_s, u"d"_s}}},
        {"self-owned pane", panesNamed({u"s"}),
         registryOf(R"({"kind":"pane","child":"s","owner":"s"})"), true, strings({u"s"}),
         {{u"s"_s, u"s"_s}}},
        {"registry ignored when not in use", panesNamed({u"a", u"b"}),
         registryOf(R"({"kind":"pane","child":"b","owner":"a"})"), false, strings({u"a", u"b"}),
         {{u"b"_s, u"b"_s}}},
        {"token without registry", {makePane(u"a"_s), makePane(u"b"_s, u"a"_s)}, {}, false,
         strings({u"a"}), {{u"b"_s, u"a"_s}}},
        {"token beats registry", {makePane(u"a"_s), makePane(u"z"_s), makePane(u"b"_s, u"z"_s)},
         registryOf(R"({"kind":"pane","child":"b","owner":"a"})"), true, strings({u"a", u"z"}),
         {{u"b"_s, u"z"_s}}},
        {"later entry replaces earlier owner", panesNamed({u"a", u"z", u"b"}),
         registryOf(R"({"kind":"pane","child":"b","owner":"a"},)"
                    R"({"kind":"pane","child":"b","owner":"z"})"),
         true, strings({u"a", u"z"}), {{u"b"_s, u"z"_s}}},
        {"malformed entries skipped", panesNamed({u"a", u"b", u"c", u"d", u"e"}),
         registryOf(R"({"kind":"tab","child":"b","owner":"a"},{},7,)"
                    R"({"kind":"pane","child":"c","owner":1},)"
                    R"({"kind":"pane","owner":"a"},{"child":"d","owner":"a"},)"
                    R"({"kind":"pane","child":"e","owner":"a"})"),
         true, strings({u"a", u"b", u"c", u"d"}), {{u"e"_s, u"a"_s}, {u"b"_s, u"b"_s}}},
        {"registry that does not parse", panesNamed({u"a", u"b"}), "{\"entries\":[", true,
         strings({u"a", u"b"}), {}},
        {"registry without an entries array", panesNamed({u"a", u"b"}),
         R"({"entries":{"kind":"pane","child":"b","owner":"a"}})", true, strings({u"a", u"b"}), {}},
        {"registry that is an array", panesNamed({u"a", u"b"}),
         R"([{"kind":"pane","child":"b","owner":"a"}])", true, strings({u"a", u"b"}), {}},
        {"no panes", {}, {}, false, {}, {{u"anything"_s, u"anything"_s}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const AgentTree tree(c.panes, c.registry, c.useRegistry);
        EXPECT_EQ(tree.roots(), c.roots);
        for (const auto& [pane, root] : c.rootOf)
            EXPECT_EQ(tree.root(pane), root) << pane.toStdString();
    }
}

TEST(AgentTreeTest, ChildrenAreFlatUnderTheTopRoot)
{
    const AgentTree tree(panesNamed({u"a", u"b", u"c", u"d", u"x"}),
                         registryOf(R"({"kind":"pane","child":"c","owner":"b"},)"
                                    R"({"kind":"pane","child":"b","owner":"a"},)"
                                    R"({"kind":"pane","child":"d","owner":"a"})"),
                         true);
    EXPECT_EQ(tree.children(u"a"_s), strings({u"b", u"c", u"d"}));
    EXPECT_TRUE(tree.children(u"b"_s).empty()) << "b is a worker, not a root";
    EXPECT_TRUE(tree.children(u"x"_s).empty());
}

TEST(AgentTreeTest, TabLabelsFollowTheLastEntryOfAChild)
{
    const AgentTree tree(panesNamed({u"a", u"b", u"c"}),
                         registryOf(R"({"kind":"pane","child":"b","owner":"a","tabLabel":"one"},)"
                                    R"({"kind":"pane","child":"b","owner":"a"},)"
                                    R"({"kind":"pane","child":"c","owner":"a","tabLabel":"two"},)"
                                    R"({"kind":"pane","child":"c","owner":"a","tabLabel":3})"
                                    R"(,{"kind":"pane","child":"a","owner":"q","tabLabel":"lead"})"),
                         true);
    EXPECT_EQ(tree.tabLabel(u"b"_s), std::nullopt);
    EXPECT_EQ(tree.tabLabel(u"c"_s), std::nullopt);
    EXPECT_EQ(tree.tabLabel(u"a"_s), u"lead"_s);
    EXPECT_EQ(tree.root(u"a"_s), u"a"_s);
}

TEST(AgentTreeTest, EqualTreesFromEqualInput)
{
    const auto panes = panesNamed({u"a", u"b"});
    const QByteArray registry = registryOf(R"({"kind":"pane","child":"b","owner":"a"})");
    EXPECT_EQ(AgentTree(panes, registry, true), AgentTree(panes, registry, true));
    EXPECT_NE(AgentTree(panes, registry, true), AgentTree(panes, registry, false));
}

TEST(AgentRefTest, IdentityTextAndJSON)
{
    const AgentRef ref{u"ssh:box/default"_s, u"w1:p2"_s};
    EXPECT_EQ(ref.id(), u"ssh:box/default/w1:p2"_s);
    EXPECT_EQ(ref.asJSONValue().serialized(), R"({"paneID":"w1:p2","sessionID":"ssh:box/default"})");
    EXPECT_EQ(AgentRef::decode(ref.asJSONValue()), ref);
    std::unordered_set<AgentRef> set{ref, ref, AgentRef{u"local:default"_s, u"w1:p2"_s}};
    EXPECT_EQ(set.size(), 2u);
}

} // namespace
