// How long the readers take over one screen: every fixture of the corpus, classified as a live
// read would be (highlighted tab, then the agent's reader). Each screen is its own benchmark,
// repeated so that the median per screen is reported; "all" gives the mean over the corpus.
#include "HerdrClient/Adapters/StandardScreenAdapters.h"
#include "HerdrClient/Capture/PaneFixtureExtractor.h"
#include "HerdrClient/Interaction/PromptClassifier.h"
#include "HerdrClient/Interaction/ScreenInteractionProvider.h"

#include <QDir>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

struct Screen {
    QString name;
    ScreenAdapterInput input;
};

std::vector<Screen> loadCorpus()
{
    const QDir corpus(QStringLiteral(ORREL_FIXTURE_DIRECTORY));
    std::vector<Screen> screens;
    for (const QString& directory : corpus.entryList({u"*.fixture"_s}, QDir::Dirs)) {
        auto fixture = PaneFixtureExtractor::loadFixture(corpus.filePath(directory));
        if (!fixture) {
            std::fprintf(stderr, "%s: %s\n", qPrintable(directory),
                         qPrintable(fixture.error().errorDescription()));
            continue;
        }
        ScreenAdapterInput input;
        input.paneID = fixture->metadata.sourceCapture.paneID;
        input.agentID = fixture->metadata.sourceCapture.agent;
        input.detectionText = fixture->detectionText;
        input.visibleANSIText = fixture->visibleANSIText;
        input.paneRevision = fixture->metadata.sourceCapture.paneRevisionAfter;
        screens.push_back({fixture->metadata.annotations.name, std::move(input)});
    }
    return screens;
}

PendingInteraction classify(const PromptClassifier& classifier, ScreenAdapterInput input)
{
    input.currentTabLabel = ScreenInteractionProvider::currentTabLabel(*input.visibleANSIText);
    return classifier.registry().parse(input);
}

// Microseconds of CPU per screen, for `screens` screens classified in each iteration.
benchmark::Counter perScreen(std::size_t screens)
{
    return benchmark::Counter(double(screens) / 1e6, benchmark::Counter::kIsIterationInvariantRate
                                                         | benchmark::Counter::kInvert);
}

} // namespace

int main(int argc, char** argv)
{
    static const std::vector<Screen> screens = loadCorpus();
    static const PromptClassifier classifier(standardScreenAdapters());
    if (screens.empty()) {
        std::fprintf(stderr, "no fixtures in %s\n", ORREL_FIXTURE_DIRECTORY);
        return 1;
    }
    for (const Screen& screen : screens) {
        benchmark::RegisterBenchmark(("classify/" + screen.name.toStdString()).c_str(),
                                     [&screen](benchmark::State& state) {
                                         for (auto _ : state)
                                             benchmark::DoNotOptimize(
                                                 classify(classifier, screen.input));
                                         state.counters["per_screen_us"] = perScreen(1);
                                     })
            ->Unit(benchmark::kMicrosecond)
            ->Repetitions(7)
            ->ReportAggregatesOnly(true);
    }
    benchmark::RegisterBenchmark("classify/all",
                                 [](benchmark::State& state) {
                                     for (auto _ : state) {
                                         for (const Screen& screen : screens)
                                             benchmark::DoNotOptimize(
                                                 classify(classifier, screen.input));
                                     }
                                     state.counters["per_screen_us"] = perScreen(screens.size());
                                 })
        ->Unit(benchmark::kMillisecond)
        ->Repetitions(7)
        ->ReportAggregatesOnly(true);

    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
