#include "HerdrClient/Responding/InteractionDraftStore.h"
#include "tests/HerdrClient/Responding/CoordinatorHarness.h"
#include "tests/support/TestSupport.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QString p1 = u"w1:p1"_s;
const QString olderMessage = u"This saved draft belongs to an older interaction."_s;

TEST(PaneDraftTest, DraftTurnsStaleWithANewPromptUntilReuseIsConfirmed)
{
    CoordinatorHarness h;
    h.showPrompt(p1, prompt(p1, u"Which database?"_s));
    ASSERT_TRUE(h.coordinator->setDraftText(u"postgres"_s, p1));

    h.reader.screens[p1] = prompt(p1, u"Which region?"_s);
    h.cycle({blockedPane(p1, 2)});
    runTask(h.coordinator->select(p1));
    EXPECT_EQ(h.state(p1).draft.state, InteractionDraftState::stale);
    EXPECT_FALSE(h.coordinator->draftText(p1).has_value());

    EXPECT_FALSE(h.coordinator->setDraftText(u"eu-west"_s, p1));
    EXPECT_EQ(h.state(p1).error, olderMessage);
    EXPECT_EQ(h.state(p1).draft.text, u"postgres"_s);

    EXPECT_TRUE(h.coordinator->confirmDraftReuse(p1));
    EXPECT_FALSE(h.state(p1).error.has_value());
    EXPECT_EQ(h.coordinator->draftText(p1), u"postgres"_s);
    EXPECT_EQ(h.state(p1).draft.fingerprint, prompt(p1, u"Which region?"_s).fingerprint());
    EXPECT_TRUE(h.coordinator->setDraftText(u"eu-west"_s, p1));
    EXPECT_FALSE(h.coordinator->confirmDraftReuse(p1));
}

TEST(PaneDraftTest, DraftOfAPaneThatLeftComesBackStale)
{
    struct Case {
        const char* name;
        QString text;
        bool archived;
    };
    const Case cases[] = {{"with text", u"half an answer"_s, true}, {"empty", u""_s, false}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        CoordinatorHarness h;
        h.showPrompt(p1, prompt(p1, u"Which database?"_s));
        ASSERT_TRUE(h.coordinator->setDraftText(c.text, p1));
        h.cycle({workingPane(p1)});
        EXPECT_EQ(h.coordinator->archivedDrafts().contains(p1), c.archived);
        if (!c.archived)
            continue;
        EXPECT_EQ(h.coordinator->archivedDrafts().at(p1).state, InteractionDraftState::stale);

        // Even the very same prompt needs a confirmation after the pane was away.
        h.cycle({blockedPane(p1)}, {p1});
        EXPECT_TRUE(h.coordinator->archivedDrafts().empty());
        EXPECT_EQ(h.state(p1).draft.text, c.text);
        EXPECT_FALSE(h.coordinator->draftText(p1).has_value());
        EXPECT_TRUE(h.coordinator->confirmDraftReuse(p1));
    }
}

TEST(PaneDraftTest, DiscardEmptiesTheArchiveEvenWithoutARecord)
{
    CoordinatorHarness h;
    h.showPrompt(p1, prompt(p1, u"Which database?"_s));
    ASSERT_TRUE(h.coordinator->setDraftText(u"postgres"_s, p1));
    h.cycle({workingPane(p1)});
    ASSERT_TRUE(h.coordinator->archivedDrafts().contains(p1));
    h.coordinator->discardDraft(p1);
    EXPECT_TRUE(h.coordinator->archivedDrafts().empty());
    EXPECT_FALSE(h.coordinator->setDraftText(u"x"_s, u"w1:p9"_s));
}

TEST(InteractionDraftStoreTest, ChangedPromptLeavesTheOldDraftStaleAndStartsANewOne)
{
    const PendingInteraction first = prompt(p1, u"Which database?"_s);
    const PendingInteraction second = prompt(p1, u"Which region?"_s);
    InteractionDraftStore store;
    ASSERT_TRUE(store.setText(u"postgres"_s, first));
    ASSERT_TRUE(store.setText(u"eu-west"_s, second));
    EXPECT_EQ(store.draft(first)->state, InteractionDraftState::stale);
    EXPECT_EQ(store.draft(first)->text, u"postgres"_s);
    EXPECT_EQ(store.draft(second)->state, InteractionDraftState::attached);

    EXPECT_FALSE(store.confirmReuse(first)); // not the prompt on show
    EXPECT_FALSE(
        store.setText(u"mysql"_s, first)); // showing it again makes the second stale, not it fresh
    EXPECT_TRUE(store.confirmReuse(first));
    EXPECT_TRUE(store.setText(u"mysql"_s, first));

    store.interactionDisappeared(p1);
    EXPECT_EQ(store.draft(first)->state, InteractionDraftState::stale);
    EXPECT_FALSE(store.confirmReuse(first));
}

TEST(InteractionDraftStoreTest, DraftsSurviveARoundTripToDisk)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(u"drafts.json"_s);
    const PendingInteraction first = prompt(p1, u"Which database?"_s);
    const PendingInteraction second = prompt(p1, u"Which region? \u00e9\u00e8"_s);
    InteractionDraftStore store;
    ASSERT_TRUE(store.setText(u"postgres \"quoted\"\nline two"_s, first));
    ASSERT_TRUE(store.setText(u"eu-west"_s, second));
    ASSERT_TRUE(store.save(path).has_value());

    const auto loaded = InteractionDraftStore::load(path);
    ASSERT_TRUE(loaded.has_value());
    EXPECT_EQ(loaded->drafts(), store.drafts());
    EXPECT_TRUE(InteractionDraftStore::load(dir.filePath(u"missing.json"_s))->drafts().empty());
}

TEST(InteractionDraftStoreTest, DraftFileThatFailsAnyCheckIsIgnoredAsAWhole)
{
    const QString fingerprint = prompt(p1, u"Q"_s).fingerprint().rawValue;
    const auto entry = [&](const QString& pane, const QString& print, const QString& state) {
        return u"{\"paneID\":\"%1\",\"fingerprint\":\"%2\",\"text\":\"t\",\"state\":\"%3\"}"_s.arg(
            pane, print, state);
    };
    const QString good = entry(p1, fingerprint, u"attached"_s);
    const std::pair<const char*, QByteArray> files[] = {
        {"not JSON", "{\"version\":1,\"drafts\":["},
        {"unknown version", u"{\"version\":2,\"drafts\":[%1]}"_s.arg(good).toUtf8()},
        {"no list", "{\"version\":1,\"drafts\":{}}"},
        {"short fingerprint", u"{\"version\":1,\"drafts\":[%1,%2]}"_s
                                  .arg(good, entry(u"w1:p2"_s, u"abc"_s, u"attached"_s))
                                  .toUtf8()},
        {"unknown state",
         u"{\"version\":1,\"drafts\":[%1]}"_s.arg(entry(p1, fingerprint, u"fresh"_s)).toUtf8()},
        {"empty pane",
         u"{\"version\":1,\"drafts\":[%1]}"_s.arg(entry(u""_s, fingerprint, u"stale"_s)).toUtf8()},
        {"duplicate key", u"{\"version\":1,\"drafts\":[%1,%1]}"_s.arg(good).toUtf8()},
        {"too large", QByteArray(InteractionDraftStore::maximumFileBytes + 1, ' ')},
    };
    QTemporaryDir dir;
    const QString path = dir.filePath(u"drafts.json"_s);
    const auto load = [&](const QByteArray& bytes) {
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(bytes);
        file.close();
        return InteractionDraftStore::load(path);
    };
    for (const auto& [name, bytes] : files) {
        const auto loaded = load(bytes);
        ASSERT_FALSE(loaded.has_value()) << name;
        EXPECT_EQ(loaded.error().kind, InteractionDraftFileError::Kind::malformed) << name;
    }
    EXPECT_EQ(load(u"{\"version\":1,\"drafts\":[%1]}"_s.arg(good).toUtf8())->drafts().size(), 1u);
}

} // namespace
