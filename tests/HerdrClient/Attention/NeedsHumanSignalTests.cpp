#include "HerdrClient/Attention/NeedsHumanSignal.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace Qt::StringLiterals;
using Category = HardFloorVerdict::Category;
using Tokens = std::map<QString, QString>;

namespace {

class AskFiles : public ::testing::Test {
protected:
    void write(const QString& id, const QByteArray& data)
    {
        QFile file(home.filePath(id + u".json"_s));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        ASSERT_EQ(file.write(data), data.size());
    }

    std::optional<NeedsHumanSignal> decode(const QString& token, bool loadDetails = true)
    {
        return NeedsHumanSignal::decode(Tokens{{u"nh"_s, token}}, u"w1:p1"_s, home.path(),
                                        loadDetails);
    }

    static QByteArray ask(const QString& members)
    {
        return (uR"({"v":1,"id":"a1","kind":"approval","q":"Deploy now?","since":1700000000000)"_s
                + members + u"}"_s)
            .toUtf8();
    }

    QTemporaryDir home;
};

} // namespace

TEST(NeedsHumanSignal, Tokens)
{
    const std::vector<std::pair<std::optional<Tokens>, std::optional<QString>>> cases{
        {std::nullopt, std::nullopt},
        {Tokens{}, std::nullopt},
        {Tokens{{u"nh_parent"_s, u"v1:x"_s}}, std::nullopt},
        {Tokens{{u"nh"_s, u"v1:"_s}}, std::nullopt},
        {Tokens{{u"nh"_s, u"v2:abc"_s}}, std::nullopt},
        {Tokens{{u"nh"_s, u"v1:../x"_s}}, std::nullopt},
        {Tokens{{u"nh"_s, u"v1:a/b"_s}}, std::nullopt},
        {Tokens{{u"nh"_s, u"v1:a b"_s}}, std::nullopt},
        {Tokens{{u"nh"_s, u"v1:é"_s}}, std::nullopt},
        {Tokens{{u"nh"_s, u"v1:"_s + QString(77, u'x')}}, QString(77, u'x')},
        {Tokens{{u"nh"_s, u"v1:"_s + QString(78, u'x')}}, std::nullopt},
        {Tokens{{u"nh"_s, u"v1:q7Rk2L-mN_9"_s}}, u"q7Rk2L-mN_9"_s},
    };
    for (const auto& [tokens, id] : cases) {
        const auto signal = NeedsHumanSignal::decode(tokens, u"p"_s, u"/nonexistent"_s, true);
        EXPECT_EQ(signal ? std::optional(signal->id) : std::nullopt, id);
    }
}

TEST_F(AskFiles, AValidFileGivesItsDetails)
{
    write(
        u"a1"_s,
        ask(uR"(,"header":"Ship","options":["Yes","No"],"rec":1,"pane":"w1:p1","onBehalfOf":"w2","floor":"prod","extra":true)"_s));
    const auto signal = decode(u"v1:a1"_s);
    ASSERT_TRUE(signal);
    EXPECT_EQ(signal->kind, NeedsHumanSignal::Kind::approval);
    EXPECT_EQ(signal->q, u"Deploy now?"_s);
    EXPECT_EQ(signal->header, u"Ship"_s);
    EXPECT_EQ(signal->options, (std::vector{u"Yes"_s, u"No"_s}));
    EXPECT_EQ(signal->rec, 1);
    EXPECT_EQ(signal->since, 1700000000000.0);
    EXPECT_EQ(signal->onBehalfOf, u"w2"_s);
    EXPECT_EQ(signal->floor->category, Category::production);

    // Without details the disk is not read.
    EXPECT_EQ(decode(u"v1:a1"_s, false)->q, u""_s);
}

TEST_F(AskFiles, AnythingWrongLowersTheAskToTheBareToken)
{
    const std::vector<std::pair<const char*, QByteArray>> cases{
        {"invalid JSON", "{\"v\":1,"},
        {"not an object", "[1]"},
        {"invalid UTF-8",
         "{\"v\":1,\"id\":\"a1\",\"kind\":\"question\",\"q\":\"\xff\xfe\",\"since\":1}"},
        {"version 2", ask(u""_s).replace("\"v\":1", "\"v\":2")},
        {"version as text", ask(u""_s).replace("\"v\":1", "\"v\":\"1\"")},
        {"other id", ask(u""_s).replace("\"id\":\"a1\"", "\"id\":\"a2\"")},
        {"empty question", ask(u""_s).replace("Deploy now?", "")},
        {"question as number", ask(u""_s).replace("\"Deploy now?\"", "7")},
        {"unknown kind", ask(u""_s).replace("approval", "demand")},
        {"missing since", ask(u""_s).replace(",\"since\":1700000000000", "")},
        {"negative since", ask(u""_s).replace("1700000000000", "-1")},
        {"infinite since", ask(u""_s).replace("1700000000000", "1e400")},
        {"since as text", ask(u""_s).replace("1700000000000", "\"NaN\"")},
        {"other pane", ask(uR"(,"pane":"w9:p9")"_s)},
        {"rec without options", ask(uR"(,"rec":0)"_s)},
        {"rec past options", ask(uR"(,"options":["a","b"],"rec":2)"_s)},
        {"negative rec", ask(uR"(,"options":["a"],"rec":-1)"_s)},
        {"options of numbers", ask(uR"(,"options":[1,2])"_s)},
        {"header as object", ask(uR"(,"header":{})"_s)},
        {"empty file", ""},
    };
    for (const auto& [name, data] : cases) {
        write(u"a1"_s, data);
        const auto signal = decode(u"v1:a1"_s);
        ASSERT_TRUE(signal) << name;
        EXPECT_EQ(signal->q, u""_s) << name;
        EXPECT_EQ(signal->kind, NeedsHumanSignal::Kind::question) << name;
    }
}

TEST_F(AskFiles, SizeBound)
{
    QByteArray exact = ask(u""_s);
    exact.insert(exact.size() - 1, ",\"pad\":\"" + QByteArray(16384 - exact.size() - 9, 'x') + '"');
    ASSERT_EQ(exact.size(), 16384);
    write(u"a1"_s, exact);
    EXPECT_EQ(decode(u"v1:a1"_s)->q, u"Deploy now?"_s);

    exact.insert(exact.size() - 2, 'x');
    write(u"a1"_s, exact);
    EXPECT_EQ(decode(u"v1:a1"_s)->q, u""_s);

    write(u"a1"_s, QByteArray(4 * 1024 * 1024, ' '));
    EXPECT_EQ(decode(u"v1:a1"_s)->q, u""_s);
}

TEST_F(AskFiles, OnlyRegularFilesInTheDirectoryAreRead)
{
    QTemporaryDir elsewhere;
    QFile outside(elsewhere.filePath(u"a1.json"_s));
    ASSERT_TRUE(outside.open(QIODevice::WriteOnly));
    outside.write(ask(u""_s));
    outside.close();
    ASSERT_TRUE(QFile::link(outside.fileName(), home.filePath(u"a1.json"_s)));
    EXPECT_EQ(decode(u"v1:a1"_s)->q, u""_s);

    // A FIFO must not hang the refresh.
    ASSERT_EQ(::mkfifo(QFile::encodeName(home.filePath(u"a2.json"_s)).constData(), 0600), 0);
    EXPECT_EQ(decode(u"v1:a2"_s)->q, u""_s);

    ASSERT_TRUE(QDir(home.path()).mkdir(u"a3.json"_s));
    EXPECT_EQ(decode(u"v1:a3"_s)->q, u""_s);

    // A directory that does not exist is normal.
    EXPECT_EQ(NeedsHumanSignal::decode(Tokens{{u"nh"_s, u"v1:a1"_s}}, std::nullopt,
                                       home.filePath(u"none"_s), true)
                  ->q,
              u""_s);
}

TEST_F(AskFiles, PaneMatchesWhenEitherSideIsSilent)
{
    write(u"a1"_s, ask(uR"(,"pane":"w1:p1")"_s));
    EXPECT_EQ(decode(u"v1:a1"_s)->q, u"Deploy now?"_s);
    const auto withoutPane =
        NeedsHumanSignal::decode(Tokens{{u"nh"_s, u"v1:a1"_s}}, std::nullopt, home.path(), true);
    EXPECT_EQ(withoutPane->pane, u"w1:p1"_s);
}

TEST(NeedsHumanSignalFloor, Shapes)
{
    using Floor = NeedsHumanSignal::Floor;
    const auto parse = [](const char* json) {
        return Floor::decode(*JSONValue::parse(QByteArray(json)));
    };
    EXPECT_EQ(parse("true"), (Floor{true, std::nullopt, {}, {}, {}}));
    EXPECT_EQ(parse("false"), Floor{});
    EXPECT_EQ(parse("\"money\""), (Floor{true, Category::money, {}, {}, {}}));
    EXPECT_EQ(parse("\"unsure\""), Floor{});
    EXPECT_EQ(parse("7"), Floor{});
    EXPECT_EQ(parse(R"({"target":"db-1"})"), (Floor{true, std::nullopt, u"db-1"_s, {}, {}}));
    EXPECT_EQ(parse(R"({"class":"Destructive","category":"prod","reason":"wipe"})"),
              (Floor{true, Category::destructive, {}, u"wipe"_s, {}}));
    EXPECT_EQ(parse(R"({"class":3,"category":"security"})").category, Category::security);
    EXPECT_EQ(parse(R"({"reason":"why","target":5,"command":"x"})"),
              (Floor{false, std::nullopt, {}, u"why"_s, u"x"_s}));

    const std::vector<std::pair<QString, std::optional<Category>>> words{
        {u"production"_s, Category::production},   {u"deploy"_s, Category::production},
        {u"deployment"_s, std::nullopt},           {u"money"_s, Category::money},
        {u"live-charge"_s, Category::money},       {u"PAYMENTS"_s, Category::money},
        {u"destructive"_s, Category::destructive}, {u"soft-delete"_s, Category::destructive},
        {u"security"_s, Category::security},       {u"credentials"_s, Category::security},
        {u"prod-payment"_s, Category::production},
    };
    for (const auto& [word, category] : words)
        EXPECT_EQ(Floor::categoryFromWord(word), category) << word.toStdString();
}
