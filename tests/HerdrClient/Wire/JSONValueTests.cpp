#include "HerdrClient/Wire/JSONValue.h"

#include <gtest/gtest.h>

#include <limits>

using namespace Qt::StringLiterals;

namespace {

JSONValue parsed(const char* text)
{
    auto value = JSONValue::parse(QByteArrayView(text));
    EXPECT_TRUE(value.has_value()) << text;
    return value.value_or(JSONValue());
}

TEST(JSONValue, WritesNumbersAsHerdrReadsThem)
{
    struct Case {
        double value;
        const char* text;
    };
    // Integral values must not gain a fraction: herdr parses `lines` as an unsigned integer.
    const Case cases[] = {{16, "16"},
                          {-3, "-3"},
                          {0, "0"},
                          {0.25, "0.25"},
                          {1e300, "1e+300"},
                          {9007199254740993.0, "9007199254740992"},
                          {std::numeric_limits<double>::quiet_NaN(), "null"}};
    for (const auto& c : cases)
        EXPECT_EQ(JSONValue(c.value).serialized(), QByteArray(c.text)) << c.text;
}

TEST(JSONValue, EscapesOnlyWhatJSONRequires)
{
    const auto value = JSONValue(u"quote\" back\\ nl\n tab\t bell\x07 é ❯"_s);
    EXPECT_EQ(value.serialized(),
              QByteArray("\"quote\\\" back\\\\ nl\\n tab\\t bell\\u0007 é ❯\""));
    EXPECT_EQ(*JSONValue::parse(value.serialized()), value);
}

TEST(JSONValue, ParsesAnyValidValueIncludingNonObjects)
{
    EXPECT_EQ(parsed("[1,2]"), JSONValue::array({1, 2}));
    EXPECT_EQ(parsed("\"x\""), JSONValue(u"x"_s));
    EXPECT_EQ(parsed("3"), JSONValue(3));
    EXPECT_TRUE(parsed("null").isNull());
    EXPECT_EQ(parsed(" {\"b\":{\"c\":[]},\"a\":false}\n").serialized(),
              R"({"a":false,"b":{"c":[]}})");
    // The last of duplicate keys wins, as most decoders do.
    EXPECT_EQ(parsed(R"({"a":1,"a":2})"), JSONValue::object({{u"a"_s, 2}}));
}

TEST(JSONValue, RefusesWhatIsNotJSON)
{
    const QByteArray bad[] = {"",
                              "{",
                              "{\"a\":1",
                              "[1,]",
                              "nul",
                              "{\"a\":1} x",
                              QByteArray("\"\xff\xfe\""),
                              QByteArray("\"\xc3\""),
                              QByteArray(100000, '[')};
    for (const auto& bytes : bad) {
        const auto result = JSONValue::parse(bytes);
        EXPECT_FALSE(result.has_value()) << bytes.left(20).toStdString();
        if (!result) {
            EXPECT_FALSE(result.error().errorDescription().isEmpty());
        }
    }
}

TEST(JSONValue, AccessorsAnswerOnlyForTheirOwnKind)
{
    const auto value = parsed(R"({"n":3.9,"neg":-3.9,"s":"3","big":1e30,"list":[10]})");
    EXPECT_EQ(value.member(u"n")->intValue(), 3);
    EXPECT_EQ(value.member(u"neg")->intValue(), -3);
    EXPECT_EQ(value.member(u"s")->intValue(), std::nullopt);
    EXPECT_EQ(value.member(u"big")->intValue(), std::nullopt);
    EXPECT_EQ(value.member(u"s")->doubleValue(), std::nullopt);
    EXPECT_EQ(value.member(u"missing"), nullptr);
    EXPECT_EQ(value.member(u"list")->element(0)->intValue(), 10);
    EXPECT_EQ(value.member(u"list")->element(1), nullptr);
    EXPECT_EQ(value.member(u"list")->element(-1), nullptr);
    EXPECT_EQ(value.element(0), nullptr);
    EXPECT_EQ(value.member(u"n")->member(u"x"), nullptr);
}

} // namespace
