// A pane's screen as herdr reads it, plain and with its colours, given to the reader of the
// agent it names (claude, codex, pi, or any other for the generic reader), then to the readers
// of summaries, recent output and modes that look at the same text.
#include "FuzzSupport.h"

#include "HerdrClient/Adapters/StandardScreenAdapters.h"
#include "HerdrClient/Interaction/CompletionSummaryExtractor.h"
#include "HerdrClient/Interaction/PromptClassifier.h"
#include "HerdrClient/Interaction/RecentOutputExtractor.h"
#include "HerdrClient/Interaction/ScreenAgentModeProvider.h"
#include "HerdrClient/Interaction/ScreenText.h"

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
