// A pane's screen as herdr reads it, plain and with its colours, given to the reader of the
// agent it names (claude, codex, pi, or any other for the generic reader), then to the readers
// of summaries, recent output and modes that look at the same text. The prompt read is planned
// for with every kind of answer: what a screen says must never make the plan go astray.
#include "FuzzSupport.h"

#include "HerdrClient/Adapters/StandardScreenAdapters.h"
#include "HerdrClient/Interaction/CompletionSummaryExtractor.h"
#include "HerdrClient/Interaction/PromptClassifier.h"
#include "HerdrClient/Interaction/RecentOutputExtractor.h"
#include "HerdrClient/Interaction/ScreenAgentModeProvider.h"
#include "HerdrClient/Interaction/ScreenText.h"
#include "HerdrClient/Responding/InteractionResponsePlanner.h"

namespace {

void planAnswers(const PendingInteraction& interaction)
{
    using Intent = InteractionResponseIntent;
    const qint64 last = qint64(interaction.choices.size()) - 1;
    const qint64 lastStep = qint64(interaction.steps.size()) - 1;
    const Intent intents[] = {
        Intent::previewChoice(0),
        Intent::selectChoice(0),
        Intent::selectChoice(last),
        Intent::setChoice(last, true),
        Intent::setChoice(0, false),
        Intent::enterText(QStringLiteral("yes")),
        Intent::submitText(QStringLiteral("go")),
        Intent::submitChoiceText(last, QStringLiteral("note")),
        Intent::navigateToStep(lastStep),
        Intent::navigateToStep(0),
        Intent::beginTextEntry(),
        Intent::clearTextEntry(),
        Intent::navigatePrevious(),
        Intent::navigateNext(),
        Intent::submit(),
        Intent::approve(),
        Intent::deny(),
        Intent::cancel(),
    };
    // Every key moves over a row or a step the screen showed, or is one of a few of its own.
    const std::size_t keyBound = 4 * (interaction.choices.size() + interaction.steps.size()) + 32;
    const InteractionResponsePlanner planner;
    for (const Intent& intent : intents) {
        const auto plan = planner.plan(intent, interaction);
        if (!plan)
            continue;
        if (const auto keys = plan->flattenedKeys())
            FUZZ_CHECK(keys->size() <= keyBound);
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    FuzzSupport::makeDeterministic();
    return 0;
}

// Pieces: agent id, detection text, visible ANSI text (absent when empty), current tab label.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const PromptClassifier classifier(standardScreenAdapters());
    const auto pieces = FuzzSupport::split(data, size, 4);
    const QString agent = FuzzSupport::text(pieces[0]);
    const QString detection = FuzzSupport::text(pieces[1]);
    const std::optional<QString> ansi =
        pieces[2].isEmpty() ? std::nullopt : std::optional(FuzzSupport::text(pieces[2]));
    const std::optional<QString> tabLabel =
        pieces[3].isEmpty() ? std::nullopt : std::optional(FuzzSupport::text(pieces[3]));

    const PendingInteraction interaction = classifier.classifyInteraction(
        QStringLiteral("w1:p1"), agent.isEmpty() ? std::nullopt : std::optional(agent), detection,
        ansi, 7, tabLabel);
    (void)interaction.fingerprint();
    (void)interaction.asJSONValue().serialized();
    planAnswers(interaction);

    (void)PromptClassifier::latestInteractionRegion(detection);
    (void)PromptClassifier::selectedChoicePreview(detection);
    if (ansi) {
        (void)PromptClassifier::stripAnsi(*ansi);
        for (const QString& line : ScreenText::lines(*ansi))
            (void)PromptClassifier::highlightedTabLabel(line);
    }
    (void)CompletionSummaryExtractor::extract(detection, 280);
    (void)RecentOutputExtractor::extract(detection, 12, 600);
    (void)ScreenAgentModeProvider::detectMode(agent, detection);
    return 0;
}
