// The view model over real runtimes and fake herdr servers: the board, the pill, the reaction to
// alerts, and every refusal of an answer.
#include "tests/OrrelApp/Surface/OrrelViewModelFixture.h"

namespace {
std::vector<QString> refs(const std::vector<AttentionBoardRow>& rows)
{
    std::vector<QString> result;
    for (const auto& row : rows)
        result.push_back(row.item.ref.id() + u' ' + row.stateText + u' ' + toString(row.tone));
    return result;
}

TEST_F(ViewModelBoard, SectionsRowsAndPillAcrossTwoSessions)
{
    const AttentionBoard board = model->attentionBoard(clock.now());
    EXPECT_EQ(refs(board.needsYou), std::vector{key(u"w1:p3"_s) + u" needs you hot"_s});
    const AttentionBoardRow& ask = board.needsYou.front();
    EXPECT_TRUE(ask.summary.startsWith(u"Destructive · "_s)) << ask.summary.toStdString();
    EXPECT_EQ(ask.meta, u"agents · 10s"_s);

    EXPECT_EQ(refs(board.grace), std::vector{key(u"w1:p1"_s) + u" no sound yet quiet"_s});
    EXPECT_EQ(board.grace.front().summary,
              u"started by hand · blocked 0s · alerts at 30s if still blocked"_s);
    EXPECT_EQ(board.grace.front().meta, u"agents · herdr-detected"_s);

    // The rest by id: this session's orchestrator, then the other session's finished agent.
    EXPECT_EQ(refs(board.rest),
              (std::vector{key(u"w2:p1"_s) + u" waiting on 2 amber"_s,
                           key(u"w1:p1"_s, u"local:other"_s) + u" finished green"_s}));
    const AttentionBoardRow& orchestrator = board.rest.front();
    EXPECT_EQ(orchestrator.summary, u"Waiting on 2 workers ›"_s);
    EXPECT_EQ(orchestrator.meta, u"orchestrator · 2 workers"_s);
    EXPECT_EQ(orchestrator.workerCount, 2);
    EXPECT_EQ(orchestrator.item.tabTitle, u"Tab 3"_s);
    EXPECT_EQ(board.rest.back().item.tabTitle, u"Tab 7"_s);
    EXPECT_EQ(board.hiddenWorkers, 2);
    EXPECT_EQ(board.rootCount, 4);

    // Unfolded, the workers follow their orchestrator and are no longer hidden.
    model->toggleRootExpansion({u"local:default"_s, u"w2:p1"_s});
    const AttentionBoard expanded = model->attentionBoard(clock.now());
    EXPECT_EQ(expanded.hiddenWorkers, 0);
    ASSERT_EQ(expanded.rest.size(), 4u);
    EXPECT_EQ(expanded.rest[0].summary, u"Waiting on 2 workers"_s);
    EXPECT_EQ(refs({expanded.rest[1], expanded.rest[2]}),
              (std::vector{key(u"w2:p2"_s) + u" asks parent quiet"_s,
                           key(u"w2:p3"_s) + u" working amber"_s}));
    EXPECT_TRUE(expanded.rest[1].isChild);

    EXPECT_EQ(model->overallStatus(), RollupStatus::blocked);
    EXPECT_EQ(model->agentCount(), 7); // the pane without an agent is not one
    const CompactSignalSnapshot pill = model->compactSignalSnapshot();
    EXPECT_EQ(pill.status, RollupStatus::blocked);
    EXPECT_EQ(pill.count, 2); // w1:p1 and w2:p2
    EXPECT_EQ(CompactSignalStyle::resolve(pill, clock.now()).width, 46);
}

TEST_F(ViewModelBoard, AnAlertChimesOnceSelectsTheRootAndNeverOpensTheSurface)
{
    // The ask alerted at once, in the first cycle.
    EXPECT_EQ(alerts, std::vector{key(u"w1:p3"_s)});
    EXPECT_EQ(notifications.posted, std::vector{key(u"w1:p3"_s)});
    EXPECT_EQ(model->selected(), (AgentRef{u"local:default"_s, u"w1:p3"_s}));
    EXPECT_TRUE(model->presentation().isCompact());
    const qint64 revision = model->compactSignalTracker().triggerRevision;

    // A receipt of an earlier answer goes when its pane asks again.
    model->recordReceipt({u"local:default"_s, u"w1:p1"_s},
                         SentReceipt{u"Allow Once"_s, {}, {}, {}});
    advance(29s);
    EXPECT_EQ(alerts.size(), 1u);
    advance(8s);
    EXPECT_EQ(alerts, (std::vector{key(u"w1:p3"_s), key(u"w1:p1"_s)}));
    EXPECT_TRUE(model->presentation().isCompact());
    EXPECT_EQ(model->selected(), (AgentRef{u"local:default"_s, u"w1:p1"_s}));
    EXPECT_FALSE(model->selectedReceipt());
    EXPECT_EQ(model->needsYouRefs(), (std::vector<AgentRef>{{u"local:default"_s, u"w1:p3"_s},
                                                            {u"local:default"_s, u"w1:p1"_s}}));
    const AttentionBoard board = model->attentionBoard(clock.now());
    EXPECT_TRUE(board.grace.empty());
    ASSERT_EQ(board.needsYou.size(), 2u);
    EXPECT_EQ(board.needsYou[1].workerCount, 1);
    EXPECT_EQ(board.needsYou[1].meta, u"agents · 37s"_s);
    // Alerts are counted once per stay: later cycles chime no more.
    advance(8s);
    EXPECT_EQ(alerts.size(), 2u);
    EXPECT_EQ(notifications.posted.size(), 2u);
    EXPECT_GE(model->compactSignalTracker().triggerRevision, revision);
    EXPECT_EQ(notifications.lastBlocked[u"local:default"_s].size(), 2u);
}

TEST_F(ViewModelBoard, PresentationTransitions)
{
    const AgentRef done{u"local:other"_s, u"w1:p1"_s};
    // One agent needs the person: the pill opens straight onto its card.
    model->toggle();
    ASSERT_TRUE(processEventsUntil([&] { return model->presentation().isFocused(); }));
    EXPECT_EQ(model->selected(), (AgentRef{u"local:default"_s, u"w1:p3"_s}));
    EXPECT_EQ(model->presentation().focusContext()->origin, OrrelExpansionOrigin::manual);
    model->toggle();
    EXPECT_TRUE(model->presentation().isCompact());
    model->showOverview();
    EXPECT_TRUE(model->presentation().isOverview());
    runTask(model->selectPane(done));
    EXPECT_TRUE(model->presentation().isFocused());
    const auto snapshot = model->displaySnapshot(clock.now());
    ASSERT_TRUE(snapshot.selectedItem);
    EXPECT_EQ(snapshot.selectedItem->ref, done);
    EXPECT_EQ(model->cardSubtitle(done), u"docs · other"_s);
    // The same card again goes back to the overview.
    runTask(model->selectPane(done));
    EXPECT_TRUE(model->presentation().isOverview());
}

TEST_F(ViewModelBoard, OnlyTheFocusedSessionFollowsEachPane)
{
    const auto perPane = [&](int index) {
        return model->runtimes().at(index)->eventIncludesPerPaneStatus();
    };
    EXPECT_EQ(perPane(0), false);
    EXPECT_EQ(perPane(1), false);
    runTask(model->selectPane({u"local:other"_s, u"w1:p1"_s}));
    EXPECT_EQ(perPane(0), false);
    EXPECT_EQ(perPane(1), true);
    model->showOverview();
    EXPECT_EQ(perPane(1), false);
}

TEST_F(ViewModelEscalations, TheBoardAndTheCardOfAnEscalation)
{
    const AttentionBoard board = model->attentionBoard(clock.now());
    ASSERT_EQ(board.needsYou.size(), 1u);
    EXPECT_EQ(board.needsYou[0].item.ref.paneID, u"w1:o"_s);
    EXPECT_EQ(board.needsYou[0].summary,
              u"Escalated from worker \u201cmigrations\u201d: Which database?"_s);
    // The journal gives no creation time: no age is made up for it.
    EXPECT_EQ(board.needsYou[0].meta, u"orchestrator"_s);
    ASSERT_EQ(board.stale.size(), 1u);
    EXPECT_EQ(board.stale[0].id, u"local:default:q2"_s);
    EXPECT_TRUE(
        board.stale[0].summary.endsWith(u" · unknown / unanswerable · owner pane w1:gone closed"_s))
        << board.stale[0].summary.toStdString();

    // Without a recorded origin the answer has nowhere safe to go.
    runTask(model->select(AgentRef{u"local:default"_s, u"w1:o"_s}));
    ASSERT_TRUE(model->selectedEscalation());
    EXPECT_FALSE(model->selectedEscalation()->canAnswer);
    EXPECT_EQ(model->selectedEscalation()->status, u"Escalation missing recorded origin"_s);
    EXPECT_EQ(model->answerRefusal(InteractionResponseIntent::approve()),
              u"Nothing was sent to the underlying pane. Use the escalation card for its current "
              "status."_s);
    EXPECT_FALSE(answer(model->answerEscalation(u"postgres"_s)));

    writeJournal(R"("origin":{"paneId":"w1:w"},)");
    advance(8s);
    ASSERT_TRUE(model->selectedEscalation()->canAnswer);
    EXPECT_TRUE(answer(model->answerEscalation(u"postgres"_s)));
    const auto sent = a.server.requestsFor(u"pane.send_text"_s);
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].params.member(u"pane_id")->stringValue(), u"w1:o"_s);
    EXPECT_EQ(sent[0].params.member(u"text")->stringValue(),
              u"[orrel] Answer for escalated question q1 from worker agents (w1:w): postgres"_s);
    EXPECT_EQ(model->selectedEscalation()->sentAnswer, u"postgres"_s);
}

TEST_F(ViewModelActions, AWorkersQuestionIsRefusedAndNothingReachesThePane)
{
    ASSERT_TRUE(select(u"w1:worker"_s));
    for (const auto& intent :
         {InteractionResponseIntent::approve(), InteractionResponseIntent::selectChoice(1),
          InteractionResponseIntent::submitText(u"go"_s)}) {
        EXPECT_FALSE(answer(model->respondToSelectedInteraction(intent)));
        EXPECT_EQ(model->refusalNotice(ref(u"w1:worker"_s)),
                  u"A worker's question goes to its orchestrator, not to you. Use Jump to watch "
                  "it. Nothing was sent."_s);
    }
    EXPECT_EQ(keysSent(), 0u);
}

TEST_F(ViewModelActions, AHardFloorAnswersOnlyOnceArmedForThisVeryPrompt)
{
    ASSERT_TRUE(select(u"w1:root"_s));
    const auto floor = model->selectedHardFloor();
    ASSERT_TRUE(floor);
    EXPECT_EQ(floor->target, u"api-delete"_s);
    const QString refusal = u"Type api-delete to arm this Destructive action. Nothing was sent."_s;

    EXPECT_FALSE(answer(model->approveSelected()));
    EXPECT_EQ(model->refusalNotice(ref(u"w1:root"_s)), refusal);
    model->setSelectedFloorText(u"api-delet"_s);
    EXPECT_FALSE(model->selectedFloorArmed());
    EXPECT_FALSE(answer(model->answerSelected(0)));
    EXPECT_EQ(keysSent(), 0u);
    // Saying no never needs the floor.
    EXPECT_EQ(model->answerRefusal(InteractionResponseIntent::deny()), std::nullopt);

    model->setSelectedFloorText(u"api-delete"_s);
    EXPECT_TRUE(model->selectedFloorArmed());
    // Typing toward an earlier prompt does not count for the one on show now.
    a.scenario.setScreen(u"w1:root"_s, bashPrompt(u"psql -c 'DROP TABLE orders'"_s));
    ASSERT_TRUE(select(u"w1:root"_s));
    EXPECT_FALSE(model->selectedFloorArmed());
    EXPECT_FALSE(answer(model->approveSelected()));
    model->setSelectedFloorText(u"api-delete"_s);

    ASSERT_TRUE(answer(model->approveSelected()));
    EXPECT_EQ(keysSent(), 1u);
    EXPECT_EQ(model->refusalNotice(ref(u"w1:root"_s)), std::nullopt);
    const auto receipt = model->selectedReceipt();
    ASSERT_TRUE(receipt);
    EXPECT_EQ(receipt->footnote, u"Your answer reached the pane."_s);
    EXPECT_FALSE(model->selectedFloorConfirmation()); // spent with the answer
}

TEST_F(ViewModelActions, APromptThatChangedIsNotAnswered)
{
    ASSERT_TRUE(select(u"w1:calm"_s));
    a.scenario.setScreen(u"w1:calm"_s, bashPrompt(u"rm -rf build"_s));
    EXPECT_FALSE(answer(model->approveSelected()));
    EXPECT_EQ(model->changedUnderYou(ref(u"w1:calm"_s)),
              u"This interaction changed before the response was sent. Nothing was sent."_s);
    EXPECT_EQ(keysSent(), 0u);
}

TEST_F(ViewModelActions, ManualControlsKeepTheRefusalsOfAnAnswer)
{
    ASSERT_TRUE(select(u"w1:worker"_s));
    EXPECT_FALSE(answer(model->sendRawKeysSelected({u"y"_s})));
    EXPECT_TRUE(model->refusalNotice(ref(u"w1:worker"_s))->startsWith(u"A worker's question"_s));
    // Keys typed by hand do not get around an unarmed floor.
    ASSERT_TRUE(select(u"w1:root"_s));
    EXPECT_FALSE(answer(model->sendManualTextSelected(u"1"_s)));
    EXPECT_EQ(model->refusalNotice(ref(u"w1:root"_s)),
              u"Type api-delete to arm this Destructive action. Nothing was sent."_s);
    EXPECT_EQ(keysSent(), 0u);
    EXPECT_TRUE(a.server.requestsFor(u"pane.send_text"_s).empty());

    ASSERT_TRUE(select(u"w1:calm"_s));
    EXPECT_TRUE(answer(model->sendRawKeysSelected({u"2"_s})));
    EXPECT_EQ(keysSent(), 1u);
    // The overview's order, wrapping at the ends.
    runTask(model->selectAdjacentPane(1));
    EXPECT_NE(model->selected(), ref(u"w1:calm"_s));
    runTask(model->selectAdjacentPane(-1));
    EXPECT_EQ(model->selected(), ref(u"w1:calm"_s));
}

TEST_F(ViewModelActions, InterruptAndJumpRefusals)
{
    EXPECT_FALSE(answer(model->interrupt(ref(u"w1:idle"_s))));
    EXPECT_EQ(model->interruptError(ref(u"w1:idle"_s)),
              u"This agent is now idle. Nothing was sent."_s);
    EXPECT_FALSE(answer(model->interrupt(ref(u"w1:gone"_s))));
    EXPECT_EQ(model->interruptError(ref(u"w1:gone"_s)),
              u"This agent is no longer available. Nothing was sent."_s);
    runTask(model->handleNotificationJump(ref(u"w1:gone"_s)));
    EXPECT_EQ(model->jumpNotice()->text,
              u"This notification refers to an agent that is no longer available."_s);
    // herdr focuses the pane; no terminal of this desktop can be brought forward.
    EXPECT_FALSE(answer(model->jump(ref(u"w1:idle"_s))));
    EXPECT_EQ(model->jumpNotice()->text,
              u"Agent focused in Herdr, but no supported terminal is running. Choose a terminal "
              "in Settings."_s);
    EXPECT_EQ(keysSent(), 0u);
}

} // namespace
