#include "HerdrClient/Wire/SocketPath.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

TEST(SocketPath, ResolvesInTheOrderOfItsRules)
{
    struct Case {
        std::optional<QString> explicitPath;
        Environment environment;
        QString expected;
    };
    const Environment home{{u"HOME"_s, u"/home/ana"_s}};
    auto with = [&](std::initializer_list<std::pair<const QString, QString>> extra) {
        Environment e = home;
        e.insert(extra);
        return e;
    };
    const Case cases[] = {
        {u"~/x.sock"_s, with({{u"HERDR_SOCKET_PATH"_s, u"/env.sock"_s}}), u"/home/ana/x.sock"_s},
        {u""_s, with({{u"HERDR_SOCKET_PATH"_s, u"~/env.sock"_s}}), u"/home/ana/env.sock"_s},
        {std::nullopt, with({{u"HERDR_SOCKET_PATH"_s, u""_s}, {u"HERDR_SESSION"_s, u"work"_s}}),
         u"/home/ana/.config/herdr/sessions/work/herdr.sock"_s},
        {std::nullopt, with({{u"HERDR_SESSION"_s, u"default"_s}}),
         u"/home/ana/.config/herdr/herdr.sock"_s},
        {std::nullopt, home, u"/home/ana/.config/herdr/herdr.sock"_s},
        // herdr keeps its sockets under XDG_CONFIG_HOME when that is set.
        {std::nullopt, with({{u"XDG_CONFIG_HOME"_s, u"/xdg"_s}}), u"/xdg/herdr/herdr.sock"_s},
        {std::nullopt, with({{u"XDG_CONFIG_HOME"_s, u"/xdg"_s}, {u"HERDR_SESSION"_s, u"w"_s}}),
         u"/xdg/herdr/sessions/w/herdr.sock"_s},
        {std::nullopt, with({{u"XDG_CONFIG_HOME"_s, u""_s}}),
         u"/home/ana/.config/herdr/herdr.sock"_s},
    };
    for (const auto& c : cases)
        EXPECT_EQ(SocketPath::resolve(c.explicitPath, c.environment), c.expected)
            << c.expected.toStdString();
}

} // namespace
