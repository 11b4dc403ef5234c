#include "tests/HerdrClient/Responding/CoordinatorHarness.h"

#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {
QCoro::Task<> finishAtOnce()
{
    co_return;
}
} // namespace

PendingInteraction prompt(const QString& paneID, const QString& title)
{
    PendingInteraction interaction;
    interaction.paneID = paneID;
    interaction.kind = InteractionKind::approval;
    interaction.title = title;
    interaction.choices = {
        {InteractionChoiceKind::option, u"Yes"_s, std::nullopt, {}, std::nullopt},
        {InteractionChoiceKind::option, u"No"_s, std::nullopt, {}, std::nullopt}};
    interaction.presentation.mechanism = InteractionMechanism::numberedShortcut;
    interaction.evidence.agentID = u"claude"_s;
    return interaction;
}

InteractionPaneSnapshot blockedPane(const QString& paneID, std::optional<quint64> revision)
{
    return {paneID, u"claude"_s, revision, true, false};
}

InteractionPaneSnapshot workingPane(const QString& paneID)
{
    return {paneID, u"claude"_s, std::nullopt, false, true};
}

QCoro::Task<InteractionReadResult> FakeReader::interaction(QString paneID, std::optional<QString>,
                                                           std::optional<quint64>)
{
    readPanes.push_back(paneID);
    std::optional<InteractionReadResult> scripted;
    if (!script.empty()) {
        scripted = std::move(script.front());
        script.pop_front();
    }
    if (holdReads)
        co_await m_gate.sleep(Seconds(1));
    if (scripted)
        co_return std::move(*scripted);
    const auto screen = screens.find(paneID);
    if (screen == screens.end())
        co_return std::unexpected(
            InteractionReadFailure(InteractionProviderError::unreadablePane(paneID)));
    // QCoro's co_return moves from an lvalue: hand it a copy, so the screen stays as it is.
    PendingInteraction shown = screen->second;
    co_return shown;
}

QCoro::Task<InteractionResponseOutcome> FakeResponder::respond(InteractionResponseRequest request,
                                                               InteractionPhaseCallback onPhase)
{
    requests.push_back(request);
    lastOnPhase = onPhase;
    for (std::size_t i = 0; i < phases.size(); ++i) {
        if (onPhase)
            co_await onPhase(phases[i]);
        if (afterPhase)
            afterPhase(phases[i]);
        if (i == 0 && hold)
            co_await m_gate.sleep(Seconds(1));
    }
    if (outcome) {
        InteractionResponseOutcome copy = *outcome;
        co_return copy;
    }
    PendingInteraction validated;
    validated.paneID = request.paneID;
    co_return InteractionResponseResult{validated, std::nullopt, {}};
}

CoordinatorHarness::CoordinatorHarness(InteractionCoordinator::Settings settings)
{
    Clock instant{[this] { return clock.now(); },
                  [this](Seconds) {
                      ++sleeps;
                      return finishAtOnce();
                  }};
    coordinator = std::make_unique<InteractionCoordinator>(reader, responder, instant, settings);
}

InteractionReconcileResult CoordinatorHarness::cycle(std::vector<InteractionPaneSnapshot> panes,
                                                     std::vector<QString> newlyBlocked, bool counts,
                                                     bool preserveSelection)
{
    return runTask(coordinator->reconcile(std::move(panes), std::move(newlyBlocked),
                                          preserveSelection, counts));
}

void CoordinatorHarness::showPrompt(const QString& paneID, const PendingInteraction& screen)
{
    reader.screens[paneID] = screen;
    cycle({blockedPane(paneID)}, {paneID});
    ASSERT_TRUE(coordinator->state(paneID).has_value());
    ASSERT_EQ(coordinator->state(paneID)->interaction, screen);
}

PaneInteractionState CoordinatorHarness::state(const QString& paneID) const
{
    return coordinator->state(paneID).value_or(PaneInteractionState{});
}
