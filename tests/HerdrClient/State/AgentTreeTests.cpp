#include "HerdrClient/State/AgentRef.h"
#include "HerdrClient/State/AgentTree.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// "a b^z" is pane a and pane b whose "nh_parent" token names z.
std::vector<PaneInfo> panes(const QString& spec)
{
    std::vector<PaneInfo> result;
    for (const QString& word : spec.split(u' ', Qt::SkipEmptyParts)) {
        PaneInfo pane;
        pane.paneID = word.section(u'^', 0, 0);
        if (word.contains(u'^'))
            pane.tokens = std::map<QString, QString>{{u"nh_parent"_s, word.section(u'^', 1)}};
        result.push_back(pane);
    }
    return result;
}

// "b>a c>b" is a registry whose entries make a own b and b own c.
QByteArray registry(const QString& spec)
{
    QStringList entries;
    for (const QString& pair : spec.split(u' ', Qt::SkipEmptyParts))
        entries << uR"({"kind":"pane","child":"%1","owner":"%2"})"_s.arg(pair.section(u'>', 0, 0),
                                                                         pair.section(u'>', 1));
    return (uR"({"version":1,"entries":[)"_s + entries.join(u',') + u"]}"_s).toUtf8();
}

std::vector<QString> ids(const QString& spec)
{
    const QStringList words = spec.split(u' ', Qt::SkipEmptyParts);
    return {words.begin(), words.end()};
}

TEST(AgentTreeTest, RootsFollowLiveOwnersOnly)
{
    struct Case {
        const char* name;
        QString panes;
        QByteArray registry;
        bool useRegistry;
        QString roots;
        QString rootOf; // "pane:root ..."
    };
    const std::vector<Case> cases = {
        {"chain of live owners", u"a b c"_s, registry(u"b>a c>b"_s), true, u"a"_s, u"b:a c:a"_s},
        {"owner gone in the middle", u"a c"_s, registry(u"b>a c>b"_s), true, u"a c"_s, u"c:c"_s},
        {"owner not live", u"b"_s, registry(u"b>a"_s), true, u"b"_s, u"b:b"_s},
        {"two-pane cycle", u"b c"_s, registry(u"b>c c>b"_s), true, u"b"_s, u"b:b c:b"_s},
        {"cycle below a worker", u"x d e"_s, registry(u"x>e e>d d>e"_s), true, u"d"_s,
         u"x:d e:d"_s},
        {"registry not in use", u"a b"_s, registry(u"b>a"_s), false, u"a b"_s, u"b:b"_s},
        {"token without registry", u"a b^a"_s, {}, false, u"a"_s, u"b:a"_s},
        {"token beats registry", u"a z b^z"_s, registry(u"b>a"_s), true, u"a z"_s, u"b:z"_s},
        {"later entry wins", u"a z b"_s, registry(u"b>a b>z"_s), true, u"a z"_s, u"b:z"_s},
        {"malformed entries skipped", u"a b c d e"_s,
         R"({"entries":[{"kind":"tab","child":"b","owner":"a"},{},7,)"
         R"({"kind":"pane","child":"c","owner":1},{"child":"d","owner":"a"},)"
         R"({"kind":"pane","child":"e","owner":"a"}]})",
         true, u"a b c d"_s, u"e:a"_s},
        {"registry that does not parse", u"a b"_s, R"({"entries":[)", true, u"a b"_s, u""_s},
        {"entries not an array", u"a b"_s, R"({"entries":{"kind":"pane","child":"b","owner":"a"}})",
         true, u"a b"_s, u""_s},
        {"no panes", u""_s, {}, false, u""_s, u"anything:anything"_s},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const AgentTree tree(panes(c.panes), c.registry, c.useRegistry);
        EXPECT_EQ(tree.roots(), ids(c.roots));
        for (const QString& pair : c.rootOf.split(u' ', Qt::SkipEmptyParts))
            EXPECT_EQ(tree.root(pair.section(u':', 0, 0)), pair.section(u':', 1))
                << pair.toStdString();
    }
}

TEST(AgentTreeTest, ChildrenAreFlatUnderTheTopRoot)
{
    const AgentTree tree(panes(u"a b c d x"_s), registry(u"c>b b>a d>a"_s), true);
    EXPECT_EQ(tree.children(u"a"_s), ids(u"b c d"_s));
    EXPECT_TRUE(tree.children(u"b"_s).empty()) << "b is a worker, not a root";
    EXPECT_TRUE(tree.children(u"x"_s).empty());
}

TEST(AgentTreeTest, TabLabelsFollowTheLastEntryOfAChild)
{
    const AgentTree tree(panes(u"a b c"_s),
                         R"({"entries":[{"kind":"pane","child":"b","owner":"a","tabLabel":"one"},)"
                         R"({"kind":"pane","child":"b","owner":"a"},)"
                         R"({"kind":"pane","child":"c","owner":"a","tabLabel":"two"},)"
                         R"({"kind":"pane","child":"c","owner":"a","tabLabel":3},)"
                         R"({"kind":"pane","child":"a","owner":"q","tabLabel":"lead"}]})",
                         true);
    EXPECT_EQ(tree.tabLabel(u"b"_s), std::nullopt);
    EXPECT_EQ(tree.tabLabel(u"c"_s), std::nullopt);
    EXPECT_EQ(tree.tabLabel(u"a"_s), u"lead"_s);
}

TEST(AgentRefTest, TextAndJSON)
{
    const AgentRef ref{u"ssh:box/default"_s, u"w1:p2"_s};
    EXPECT_EQ(ref.id(), u"ssh:box/default/w1:p2"_s);
    EXPECT_EQ(ref.asJSONValue().serialized(),
              R"({"paneID":"w1:p2","sessionID":"ssh:box/default"})");
    EXPECT_EQ(AgentRef::decode(ref.asJSONValue()), ref);
}

} // namespace
