// The responder against a herdr whose screen moves: every case reads through the real screen
// reader, and the server's request log shows exactly what reached the pane.
#include "HerdrClient/Adapters/StandardScreenAdapters.h"
#include "HerdrClient/Interaction/ScreenInteractionProvider.h"
#include "HerdrClient/Responding/InteractionResponder.h"
#include "tests/HerdrClient/Responding/ResponderHarness.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

using Sends = std::vector<std::pair<QString, JSONValue>>;

QString approvalScreen(const QString& command, int cursor = 1)
{
    // As claude draws it: the rule above the box puts the command inside the live prompt.
    QString screen =
        u"● I will run the migration command.\n\n"_s + QString(80, u'─')
        + u"\n Bash command\n\n   %1\n   Run staging migrations\n\n Do you want to proceed?\n"_s
              .arg(command);
    const QStringList choices{u"Yes"_s, u"Yes, and don't ask again for this command"_s,
                              u"No, and tell Claude what to do differently (esc)"_s};
    for (int i = 0; i < choices.size(); ++i)
        screen +=
            u" %1 %2. %3\n"_s.arg(i + 1 == cursor ? u"❯"_s : u" "_s).arg(i + 1).arg(choices[i]);
    return screen + u"\n Esc to cancel\n"_s;
}

FakeScreen plain(const QString& visible)
{
    FakeScreen screen;
    screen.visible = visible;
    return screen;
}

const QString migrate = u"npm run migrate -- --env staging"_s;

class ResponderRaceTest : public ::testing::Test {
protected:
    explicit ResponderRaceTest(std::optional<double> timeout = 5.0)
        : herdr(approvalScreen(migrate), timeout),
          provider(*herdr.client, PromptClassifier(standardScreenAdapters()))
    {
    }

    // What the person saw: one read, as the card shows it.
    PendingInteraction shown()
    {
        auto read = runTask(provider.interaction(u"w1:p1"_s, u"claude"_s, 4));
        EXPECT_TRUE(read);
        herdr.server.clearRequests();
        return *read;
    }

    InteractionResponseRequest request(const PendingInteraction& seen,
                                       InteractionResponseIntent intent)
    {
        return {u"w1:p1"_s, u"claude"_s, 4, seen.fingerprint(), std::move(intent)};
    }

    InteractionResponseOutcome respond(const PendingInteraction& seen,
                                       InteractionResponseIntent intent)
    {
        InteractionResponder responder(provider, Actions(*herdr.client), sleeper.clock());
        return runTask(responder.respond(request(seen, std::move(intent))));
    }

    FakeHerdrPane herdr;
    ScreenInteractionProvider provider;
    InstantSleeper sleeper;
};

TEST_F(ResponderRaceTest, APromptThatChangedAfterThePersonReadItGetsNothing)
{
    const auto seen = shown();
    const QStringList changes{u"npm run migrate -- --env production"_s, u"DROP TABLE users"_s};
    for (const auto& command : changes) {
        herdr.scenario.setScreen(u"w1:p1"_s, plain(approvalScreen(command)));
        const auto outcome = respond(seen, InteractionResponseIntent::approve());
        ASSERT_FALSE(outcome);
        EXPECT_TRUE(outcome.error().isStale());
        EXPECT_EQ(outcome.error().refusalSentence(),
                  u"This interaction changed before the response was sent. Nothing was sent."_s);
        ASSERT_TRUE(outcome.error().responderError()->actual);
        EXPECT_EQ(outcome.error().responderError()->actual->fingerprint(),
                  runTask(provider.interaction(u"w1:p1"_s, u"claude"_s, 4))->fingerprint());
    }
    EXPECT_TRUE(herdr.sends().empty());
}

TEST_F(ResponderRaceTest, APaneThatWentAwayGetsNothingAndOneThatGoesAfterTheKeysKeepsThem)
{
    const auto seen = shown();
    herdr.scenario.removePane(u"w1:p1"_s);
    const auto gone = respond(seen, InteractionResponseIntent::approve());
    ASSERT_FALSE(gone);
    EXPECT_EQ(
        gone.error().refusalSentence(),
        u"herdr refused the request (pane_not_found): pane w1:p1 not found. Nothing was sent."_s);
    EXPECT_TRUE(herdr.sends().empty());

    herdr.scenario.addPane(
        JSONValue::object({{u"pane_id"_s, u"w1:p1"_s}, {u"agent"_s, u"claude"_s}}),
        plain(approvalScreen(migrate)));
    sleeper.beforeWake = [this] { herdr.scenario.removePane(u"w1:p1"_s); };
    const auto closed = respond(seen, InteractionResponseIntent::approve());
    ASSERT_TRUE(closed);
    EXPECT_FALSE(closed->settledInteraction);
    EXPECT_EQ(herdr.sends(), (Sends{{u"pane.send_keys"_s, keysParams({u"1"_s, u"enter"_s})}}));
}

// The person's own keys skip the plan, never the fingerprint.
TEST_F(ResponderRaceTest, ThePersonsOwnKeysWaitForTheSameFingerprintAndEndWhereHerdrRejectsOne)
{
    const auto seen = shown();
    InteractionResponder responder(provider, Actions(*herdr.client), sleeper.clock());
    const auto rejected = runTask(responder.respondWithKeys(request(seen, {}), {u"10"_s}));
    ASSERT_FALSE(rejected);
    EXPECT_EQ(rejected.error().reason(), u"keysRejected"_s);
    EXPECT_EQ(rejected.error().refusalSentence(),
              u"herdr rejected the keys: unsupported key 10. Nothing was sent."_s);
    EXPECT_EQ(herdr.sends(), (Sends{{u"pane.send_keys"_s, keysParams({u"10"_s})}}));
    EXPECT_TRUE(sleeper.requested.empty());

    herdr.server.clearRequests();
    herdr.scenario.setScreen(u"w1:p1"_s, plain(approvalScreen(u"rm -rf build"_s)));
    const auto stale = runTask(responder.respondWithKeys(request(seen, {}), {u"2"_s, u"enter"_s}));
    ASSERT_FALSE(stale);
    EXPECT_TRUE(stale.error().isStale());
    EXPECT_TRUE(herdr.sends().empty());
}

class SlowHerdrTest : public ResponderRaceTest {
protected:
    SlowHerdrTest() : ResponderRaceTest(0.3) {}
};

TEST_F(SlowHerdrTest, AReadThatHerdrNeverAnswersSendsNothing)
{
    const auto seen = shown();
    herdr.server.setHandler(u"pane.read"_s, [](const FakeRequest&) { return FakeReply::silent(); });
    const auto outcome = respond(seen, InteractionResponseIntent::approve());
    ASSERT_FALSE(outcome);
    EXPECT_EQ(outcome.error().refusalSentence(),
              u"herdr did not answer in time. Nothing was sent."_s);
    EXPECT_TRUE(herdr.sends().empty());
}

TEST_F(SlowHerdrTest, AKeyHerdrNeverConfirmsIsNotCalledUnsent)
{
    const auto seen = shown();
    herdr.server.setHandler(u"pane.send_keys"_s,
                            [](const FakeRequest&) { return FakeReply::silent(); });
    const auto outcome = respond(seen, InteractionResponseIntent::approve());
    ASSERT_FALSE(outcome);
    EXPECT_EQ(outcome.error().refusalSentence(),
              u"herdr did not answer in time. herdr did not confirm the last send, so it may have "
              u"reached the pane. "
              "Nothing more was sent."_s);
    EXPECT_EQ(herdr.sends().size(), 1u);
    EXPECT_TRUE(sleeper.requested.empty());
}

} // namespace
