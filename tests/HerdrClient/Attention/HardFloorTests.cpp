#include "HerdrClient/Attention/HardFloor.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using Category = HardFloorVerdict::Category;

namespace {

struct RuleCase {
    QString text;
    std::optional<QString> rule; // absent: no verdict
};

std::optional<QString> ruleFor(const QString& text)
{
    const auto verdict = HardFloor::classify(std::nullopt, {text}, u"Acme"_s);
    return verdict ? std::optional(verdict->rule) : std::nullopt;
}

} // namespace

TEST(HardFloor, RuleTable)
{
    const std::vector<RuleCase> cases{
        {u"vercel deploy --prod"_s, u"vercel --prod"_s},
        {u"VERCEL DEPLOY --PROD"_s, u"vercel --prod"_s},
        {u"vercel deploy --production-like"_s, std::nullopt},
        {u"fly deploy --target=production"_s, u"--target production"_s},
        {u"fly deploy --target production"_s, u"--target production"_s},
        {u"vercel promote https://x"_s, u"vercel promote"_s},
        {u"psql -c 'drop table users'"_s, u"DROP"_s},
        {u"DROP   SCHEMA public"_s, u"DROP"_s},
        {u"drop tables"_s, std::nullopt},
        {u"TRUNCATE TABLE \"orders\""_s, u"TRUNCATE"_s},
        {u"truncate logs"_s, u"TRUNCATE"_s},
        {u"delete from users where id=1"_s, std::nullopt},
        {u"delete from users;"_s, u"DELETE without WHERE"_s},
        {u"DELETE FROM users"_s, u"DELETE without WHERE"_s},
        {u"DELETE FROM users\nWHERE id = 1"_s, u"DELETE without WHERE"_s},
        {u"DELETE FROM users   "_s, u"DELETE without WHERE"_s},
        {u"DELETE FROM users x"_s, std::nullopt},
        {u"exec('DELETE FROM users')"_s, u"DELETE without WHERE"_s},
        {u"rm -rf x"_s, u"rm -rf"_s},
        {u"rm -fr x"_s, u"rm -rf"_s},
        {u"rm -r -f x"_s, u"rm -rf"_s},
        {u"rm -f -r x"_s, u"rm -rf"_s},
        {u"rm -Rf x"_s, u"rm -rf"_s},
        {u"rm -r x"_s, std::nullopt},
        {u"farm -rf"_s, std::nullopt},
        {u"export STRIPE_KEY=sk_live_abc"_s, u"live Stripe"_s},
        {u"stripe charges create --live"_s, u"live Stripe"_s},
        {u"switch to live stripe"_s, u"live Stripe"_s},
        {u"stripe is now in live mode"_s, u"live Stripe"_s},
        {u"stripe test mode"_s, std::nullopt},
        {u"rotate the API keys"_s, u"credential change"_s},
        {u"revoke tokens for ci"_s, u"credential change"_s},
        {u"reset the password of admin"_s, u"password change"_s},
        {u"password reset for bob"_s, u"password change"_s},
        {u"sudo passwd"_s, u"password change"_s},
        {u"grant role reader to bob"_s, u"role change"_s},
        {u"alter user bob"_s, u"role change"_s},
        {u"disable MFA for bob"_s, u"MFA change"_s},
        {u"enable two-factor login"_s, u"MFA change"_s},
        {u"npm test"_s, std::nullopt},
        // The table's order decides between rows.
        {u"vercel promote and reset token"_s, u"vercel promote"_s},
        {u"reset token then vercel --prod"_s, u"vercel --prod"_s},
    };
    for (const auto& c : cases)
        EXPECT_EQ(ruleFor(c.text), c.rule) << c.text.toStdString();
}

TEST(HardFloor, EvidenceIsTheMatchingLineOrItsInlineCode)
{
    const auto line =
        HardFloor::classify(std::nullopt, {u"Clean up"_s, u"\t  then rm -rf build  \t"_s}, u""_s);
    ASSERT_TRUE(line);
    EXPECT_EQ(line->evidence, u"then rm -rf build"_s);

    const auto quoted = HardFloor::classify(
        std::nullopt, {u"I will run `ls` and `rm -rf build` to clean up."_s}, u""_s);
    ASSERT_TRUE(quoted);
    EXPECT_EQ(quoted->evidence, u"rm -rf build"_s);

    // An unclosed backtick leaves the whole line.
    const auto open = HardFloor::classify(std::nullopt, {u"run `rm -rf build now"_s}, u""_s);
    ASSERT_TRUE(open);
    EXPECT_EQ(open->evidence, u"run `rm -rf build now"_s);
}

TEST(HardFloor, Targets)
{
    EXPECT_EQ(HardFloor::classify(std::nullopt, {u"rm -rf x"_s}, u"My App"_s)->target,
              u"my-app-delete"_s);
    EXPECT_EQ(HardFloor::classify(std::nullopt, {u"rm -rf x"_s}, u"  "_s)->target,
              u"agent-delete"_s);
    EXPECT_EQ(HardFloor::defaultTarget(u"Acme\tWeb"_s, Category::production), u"acme-web-prod"_s);
    EXPECT_EQ(HardFloor::defaultTarget(u"x"_s, Category::money), u"x-live"_s);
    EXPECT_EQ(HardFloor::defaultTarget(u"x"_s, Category::security), u"x-security"_s);
}

TEST(HardFloor, DeclaredFloor)
{
    NeedsHumanSignal::Floor declared;
    declared.isFloor = true;
    auto verdict = HardFloor::classify(declared, {u"rm -rf x"_s}, u"Shop"_s);
    ASSERT_TRUE(verdict);
    EXPECT_EQ(*verdict, (HardFloorVerdict{Category::production, u"flagged by pi"_s, u"shop-prod"_s,
                                          u"rm -rf x"_s}));

    declared.category = Category::money;
    declared.reason = u"refund"_s;
    declared.target = u"  acct-42 \n"_s;
    declared.command = u"charge.sh"_s;
    verdict = HardFloor::classify(declared, {u"hello"_s}, u"Shop"_s);
    EXPECT_EQ(*verdict,
              (HardFloorVerdict{Category::money, u"refund"_s, u"acct-42"_s, u"charge.sh"_s}));

    // A floor the agent says is none leaves the table to decide.
    declared = {};
    EXPECT_EQ(HardFloor::classify(declared, {u"rm -rf x"_s}, u""_s)->rule, u"rm -rf"_s);
    EXPECT_FALSE(HardFloor::classify(declared, {u""_s, u""_s}, u""_s));
    EXPECT_FALSE(HardFloor::classify(std::nullopt, {}, u""_s));
}

TEST(HardFloor, GathersTextsOfInteractionAndSignal)
{
    PendingInteraction interaction;
    interaction.title = u"Bash command"_s;
    interaction.contentEvidence =
        InteractionCommandEvidence{std::nullopt, std::nullopt, u"psql -c 'DROP TABLE users'"_s};
    auto verdict = HardFloor::classify(&interaction, nullptr, u"db"_s);
    ASSERT_TRUE(verdict);
    EXPECT_EQ(verdict->evidence, u"psql -c 'DROP TABLE users'"_s);

    interaction = {};
    interaction.choices.push_back(InteractionChoice{
        InteractionChoiceKind::option, u"Yes"_s, u"and vercel --prod"_s, {}, std::nullopt});
    EXPECT_EQ(HardFloor::classify(&interaction, nullptr, u""_s)->rule, u"vercel --prod"_s);

    NeedsHumanSignal signal;
    signal.q = u"May I deploy?"_s;
    signal.options = std::vector{u"Yes"_s, u"disable 2FA"_s};
    EXPECT_EQ(HardFloor::classify(nullptr, &signal, u""_s)->rule, u"MFA change"_s);

    signal.floor = NeedsHumanSignal::Floor{true, Category::destructive, std::nullopt, std::nullopt,
                                           std::nullopt};
    verdict = HardFloor::classify(nullptr, &signal, u""_s);
    EXPECT_EQ(verdict->category, Category::destructive);
    EXPECT_EQ(verdict->evidence, u"May I deploy?"_s);
}

TEST(HardFloorVerdict, CategoryTextsBelongToTheirCategory)
{
    for (const auto category :
         {Category::production, Category::money, Category::destructive, Category::security})
        EXPECT_EQ(hardFloorCategoryFromString(toString(category)), category);
    EXPECT_EQ(approveTitle(Category::money), u"Approve live charge"_s);
    EXPECT_EQ(hardFloorCategoryFromString(u"Production"), std::nullopt);
}
