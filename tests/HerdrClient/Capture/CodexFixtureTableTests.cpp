// The codex table: every codex screen of the corpus, with what it approves, and the keys its
// annotations recorded from the real agent, which the planner must produce for its reading.
#include "HerdrClient/Adapters/StandardScreenAdapters.h"
#include "HerdrClient/Capture/InteractionFixtureInspector.h"
#include "HerdrClient/Capture/PaneFixtureExtractor.h"
#include "HerdrClient/Responding/InteractionResponsePlanner.h"

#include <QDir>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <map>

using namespace Qt::StringLiterals;

namespace {

const QDir corpus(QStringLiteral(ORREL_FIXTURE_DIRECTORY));

// What an approval would do, written "$ command", "diff PATH: 3- 3+" (line numbers and signs),
// or "-" for no content evidence.
const std::map<QString, QString> codexScreens{
    {u"codex-approval-120"_s, u"$ git push origin main"_s},
    {u"codex-approval-80"_s, u"$ git push origin main"_s},
    {u"codex-approval-lost-keys-80"_s, u"$ rm -rf build"_s},
    {u"codex-approval-wrapped-prefix-120"_s,
     u"$ docker compose -f deploy/staging/docker-compose.yml up --build --remove-orphans api"_s},
    // The command's line is cut by the pane; the evidence is what stands there.
    {u"codex-approval-wrapped-prefix-80"_s,
     u"$ docker compose -f deploy/staging/docker-compose.yml up --build --remove-orph"_s},
    {u"codex-nearmiss-approval-four-rows-80"_s, u"-"_s},
    {u"codex-nearmiss-approval-no-footer-120"_s, u"-"_s},
    {u"codex-nearmiss-approval-rows-1-2-4-120"_s, u"-"_s},
    {u"codex-nearmiss-question-footer-words-80"_s, u"-"_s},
    {u"codex-nearmiss-question-no-rows-120"_s, u"-"_s},
    {u"codex-nearmiss-review-numbered-scrollback-120"_s, u"-"_s},
    {u"codex-nearmiss-working-80"_s, u"-"_s},
    {u"codex-question-120"_s, u"-"_s},
    {u"codex-question-80"_s, u"-"_s},
    {u"codex-question-last-submit-all-120"_s, u"-"_s},
    {u"codex-question-notes-open-120"_s, u"-"_s},
    {u"codex-question-unanswered-submit-all-80"_s, u"-"_s},
    {u"codex-real-approval-git-push"_s, u"$ git push origin main"_s},
    {u"codex-real-edit-update"_s, u"diff /home/ana/src/demo-codex/src/greeting.js: 3- 3+"_s},
    {u"codex-real-edit-new-file"_s, u"diff /home/ana/src/demo-codex/notes/TODO.md: 1+ 2+ 3+"_s},
    {u"codex-real-edit-long-diff"_s, u"diff /home/ana/src/demo-codex/src/config.js: 2- 2+ 5-"_s},
    {u"codex-real-edit-long-diff-80"_s, u"diff /home/ana/src/demo-codex/src/config.js: 2- 2+ 5-"_s},
    // The block's heading scrolled away: its lines are not known to be this edit's.
    {u"codex-real-edit-long-diff-cut-80x18"_s, u"-"_s},
    {u"codex-real-folder-trust"_s, u"-"_s},
    {u"codex-real-folder-trust-cursor-back"_s, u"-"_s},
    {u"codex-real-idle-after-edit"_s, u"-"_s},
    {u"codex-real-idle-interrupted"_s, u"-"_s},
    {u"codex-real-model-notice"_s, u"-"_s},
    {u"codex-real-plan-prompt"_s, u"-"_s},
    {u"codex-real-question-multi-1of2"_s, u"-"_s},
    {u"codex-real-question-notes-closed"_s, u"-"_s},
    {u"codex-real-question-notes-empty"_s, u"-"_s},
    {u"codex-real-question-notes-typed"_s, u"-"_s},
    {u"codex-real-question-review-unanswered"_s, u"-"_s},
    {u"codex-real-thinking"_s, u"-"_s},
    {u"codex-real-working"_s, u"-"_s},
    {u"codex-review-120"_s, u"-"_s},
    {u"codex-review-80"_s, u"-"_s},
    {u"codex-review-cursor-go-back-120"_s, u"-"_s},
};

QString evidenceText(const std::optional<InteractionContentEvidence>& evidence)
{
    if (!evidence)
        return u"-"_s;
    if (const auto* command = evidence->command())
        return u"$ "_s + command->command;
    const auto* diff = evidence->diff();
    QString text = u"diff "_s + diff->filePath + u':';
    for (const auto& line : diff->lines) {
        const QChar sign = line.kind == InteractionDiffLineKind::removal    ? u'-'
                           : line.kind == InteractionDiffLineKind::addition ? u'+'
                                                                            : u' ';
        text += u' ' + (line.lineNumber ? QString::number(*line.lineNumber) : u"?"_s) + sign;
    }
    return text;
}

// The intents an annotation can name, by their diagnostic names.
std::vector<InteractionResponseIntent> namedIntents(const PendingInteraction& reading)
{
    std::vector<InteractionResponseIntent> intents{
        InteractionResponseIntent::approve(),        InteractionResponseIntent::deny(),
        InteractionResponseIntent::cancel(),         InteractionResponseIntent::submit(),
        InteractionResponseIntent::beginTextEntry(), InteractionResponseIntent::clearTextEntry(),
    };
    for (qint64 i = 0; i < qint64(reading.choices.size()); ++i)
        intents.push_back(InteractionResponseIntent::selectChoice(i));
    return intents;
}

TEST(CodexFixtureTable, EveryCodexScreenIsInTheTableWithWhatItApproves)
{
    const InteractionFixtureInspector inspector{PromptClassifier(standardScreenAdapters())};
    const QStringList fixtures = corpus.entryList({u"codex-*.fixture"_s}, QDir::Dirs);
    ASSERT_EQ(fixtures.size(), qsizetype(codexScreens.size()))
        << "a codex fixture is missing from the table, or a row from the corpus";
    for (const QString& directory : fixtures) {
        const QString path = corpus.filePath(directory);
        const auto metadata = PaneFixtureExtractor::verifyFixture(path);
        ASSERT_TRUE(metadata) << directory.toStdString();
        const QString& name = metadata->annotations.name;
        const auto row = codexScreens.find(name);
        ASSERT_NE(row, codexScreens.end()) << name.toStdString() << " is not in the table";
        const auto reading = inspector.inspect(path);
        ASSERT_TRUE(reading) << name.toStdString();
        EXPECT_EQ(evidenceText(reading->contentEvidence), row->second) << name.toStdString();
    }
}

TEST(CodexFixtureTable, TheKeysTriedOnTheRealAgentAreTheKeysPlanned)
{
    const InteractionFixtureInspector inspector{PromptClassifier(standardScreenAdapters())};
    const InteractionResponsePlanner planner;
    qsizetype checked = 0;
    for (const QString& directory : corpus.entryList({u"codex-*.fixture"_s}, QDir::Dirs)) {
        const QString path = corpus.filePath(directory);
        const auto metadata = PaneFixtureExtractor::verifyFixture(path);
        ASSERT_TRUE(metadata) << directory.toStdString();
        const auto reading = inspector.inspect(path);
        ASSERT_TRUE(reading) << directory.toStdString();
        const auto intents = namedIntents(*reading);
        for (const auto& [intentName, keys] : metadata->annotations.expectedResponsePlans) {
            const std::string what = directory.toStdString() + " " + intentName.toStdString();
            const auto intent = std::find_if(intents.begin(), intents.end(), [&](const auto& i) {
                return i.description() == intentName;
            });
            ASSERT_NE(intent, intents.end()) << what << ": no such intent";
            const auto plan = planner.plan(*intent, *reading);
            ASSERT_TRUE(plan) << what;
            EXPECT_EQ(plan->flattenedKeys(), keys) << what;
            ++checked;
        }
    }
    // The real captures carry the keys tried on codex itself.
    EXPECT_GE(checked, 40);
}

} // namespace
