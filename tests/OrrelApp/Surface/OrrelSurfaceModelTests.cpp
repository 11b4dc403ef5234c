// The surface model over the view model's fake sessions: what the views and scripts read, and
// the sentences the actions end with.
#include "OrrelApp/Surface/OrrelSurfaceModel.h"
#include "OrrelApp/Surface/OrrelSurfaceState.h"
#include "tests/OrrelApp/Surface/OrrelViewModelFixture.h"

namespace {

// A surface model on top of the fixture's view model, and the state of a display without a
// camera housing.
template <class Base>
class Surface : public Base {
protected:
    void makeSurface()
    {
        state = std::make_unique<OrrelSurfaceState>(OrrelGeometry::withoutHousing({1600, 900}),
                                                    false, CompactIndicatorMode::alwaysShow,
                                                    this->clock.clock());
        surface = std::make_unique<OrrelSurfaceModel>(*this->model, *state);
    }

    void TearDown() override
    {
        surface.reset();
        Base::TearDown();
    }

    // As a script reads it: everything projected afresh.
    QVariantMap card() const
    {
        surface->refresh();
        return surface->card();
    }

    std::unique_ptr<OrrelSurfaceState> state;
    std::unique_ptr<OrrelSurfaceModel> surface;
};

class SurfaceBoard : public Surface<ViewModelBoard> {
protected:
    void SetUp() override
    {
        ViewModelBoard::SetUp();
        makeSurface();
    }
};

class SurfaceActions : public Surface<ViewModelActions> {
protected:
    void SetUp() override
    {
        ViewModelActions::SetUp();
        makeSurface();
    }

    std::optional<QString> selectAgent(const QString& paneID)
    {
        return runTask(surface->select(ref(paneID)));
    }
};

QStringList rowsOf(const QVariantMap& section)
{
    QStringList rows;
    for (const QVariant& row : section[u"rows"_s].toList()) {
        const QVariantMap map = row.toMap();
        rows << map[u"ref"_s].toString() + u' ' + map[u"tone"_s].toString();
    }
    return rows;
}

TEST_F(SurfaceBoard, TheBoardsSectionsRowsAndPill)
{
    const QVariantMap overview = surface->overview();
    EXPECT_EQ(overview[u"state"_s], u"board"_s);
    EXPECT_TRUE(overview[u"discoveryError"_s].isNull());
    EXPECT_EQ(overview[u"sessions"_s].toList().size(), 2);

    const QVariantMap board = overview[u"board"_s].toMap();
    const QVariantList sections = board[u"sections"_s].toList();
    ASSERT_EQ(sections.size(), 3);
    EXPECT_EQ(sections[0].toMap()[u"title"_s], u"● Needs you · 1"_s);
    EXPECT_EQ(rowsOf(sections[0].toMap()), QStringList{key(u"w1:p3"_s) + u" hot"_s});
    EXPECT_EQ(sections[1].toMap()[u"title"_s], u"Blocked, waiting out the grace"_s);
    EXPECT_EQ(sections[2].toMap()[u"title"_s], u"Working · waiting · finished"_s);
    EXPECT_EQ(rowsOf(sections[2].toMap()),
              (QStringList{key(u"w2:p1"_s) + u" amber"_s,
                           key(u"w1:p1"_s, u"local:other"_s) + u" green"_s}));
    const QVariantMap ask = sections[0].toMap()[u"rows"_s].toList()[0].toMap();
    EXPECT_EQ(ask[u"meta"_s], u"agents · 10s"_s);
    EXPECT_EQ(ask[u"stateText"_s], u"needs you"_s);
    EXPECT_TRUE(sections[2].toMap()[u"rows"_s].toList()[1].toMap()[u"meta"_s].isNull());
    EXPECT_EQ(board[u"hiddenLine"_s], u"2 workers hidden behind their roots"_s);
    EXPECT_EQ(board[u"workersNote"_s], u"Workers' questions to their root never alert you"_s);

    const QVariantMap pill = surface->pill();
    EXPECT_EQ(pill[u"status"_s], u"blocked"_s);
    EXPECT_EQ(pill[u"width"_s].toDouble(), 46);
    EXPECT_EQ(pill[u"colour"_s], u"#FF6F61"_s);
    EXPECT_EQ(pill[u"pulses"_s], true);
    EXPECT_EQ(pill[u"revealed"_s], true);
    EXPECT_EQ(pill[u"accessibleName"_s], u"herdr agents — OrrelSentry blocked"_s);
    state->setReduceMotion(true);
    EXPECT_EQ(surface->pill()[u"pulses"_s], false);

    // Unfolding the orchestrator shows its workers and hides nothing.
    runTask(surface->toggleWorkers({u"local:default"_s, u"w2:p1"_s}));
    // Behind the folded panel only the pill is kept current...
    EXPECT_FALSE(surface->overview()[u"board"_s].toMap()[u"hiddenLine"_s].isNull());
    // ...the board is projected again when it shows, or when asked for.
    runTask(surface->showOverview());
    const QVariantMap unfolded = surface->overview()[u"board"_s].toMap();
    EXPECT_TRUE(unfolded[u"hiddenLine"_s].isNull());
    EXPECT_EQ(rowsOf(unfolded[u"sections"_s].toList()[2].toMap()).size(), 4);
}

TEST_F(SurfaceBoard, SelectAndToggleMoveThePresentationAndTellOnlyOfChanges)
{
    int presentations = 0;
    int others = 0;
    QObject::connect(surface.get(), &OrrelSurfaceModel::presentationChanged,
                     [&] { ++presentations; });
    for (auto signal : {&OrrelSurfaceModel::overviewChanged, &OrrelSurfaceModel::cardChanged,
                        &OrrelSurfaceModel::pillChanged, &OrrelSurfaceModel::selectedChanged})
        QObject::connect(surface.get(), signal, [&] { ++others; });
    surface->refresh();
    model->toggleRootExpansion({u"local:default"_s, u"w9:none"_s});
    EXPECT_EQ(presentations, 0);
    EXPECT_EQ(others, 0);

    // The one agent that needs the person opens at once.
    EXPECT_EQ(runTask(surface->toggle()), std::nullopt);
    EXPECT_EQ(surface->presentation(), u"focused"_s);
    EXPECT_EQ(surface->selected(), key(u"w1:p3"_s));
    EXPECT_EQ(surface->focusedIdentity(), key(u"w1:p3"_s));
    EXPECT_EQ(presentations, 1);
    runTask(surface->toggle());
    EXPECT_EQ(surface->presentation(), u"compact"_s);
    EXPECT_EQ(surface->focusedIdentity(), QString());

    runTask(surface->showOverview());
    EXPECT_EQ(surface->presentation(), u"overview"_s);
    const AgentRef done{u"local:other"_s, u"w1:p1"_s};
    EXPECT_EQ(runTask(surface->select(done)), std::nullopt);
    EXPECT_EQ(surface->presentation(), u"focused"_s);
    EXPECT_EQ(surface->card()[u"content"_s], u"idle"_s);
    EXPECT_EQ(surface->card()[u"subtitle"_s], u"docs · other"_s);
    EXPECT_EQ(surface->card()[u"idleShelf"_s].toMap()[u"title"_s], u"Ready for a new task"_s);
    // The same card again goes back to the overview.
    runTask(surface->select(done));
    EXPECT_EQ(surface->presentation(), u"overview"_s);
    EXPECT_EQ(runTask(surface->select({u"local:other"_s, u"w9:p9"_s})),
              u"No agent local:other/w9:p9 is watched."_s);
    EXPECT_EQ(surface->presentation(), u"overview"_s);
}

TEST_F(SurfaceActions, AnApprovalsCardItsAnswerAndReceipt)
{
    EXPECT_EQ(selectAgent(u"w1:calm"_s), std::nullopt);
    const QVariantMap shown = card();
    EXPECT_EQ(shown[u"content"_s], u"prompt"_s);
    EXPECT_EQ(shown[u"kind"_s], u"approval"_s);
    const QVariantList choices = shown[u"choices"_s].toList();
    ASSERT_EQ(choices.size(), 2);
    EXPECT_EQ(choices[0].toMap()[u"label"_s], u"Yes"_s);
    EXPECT_EQ(choices[0].toMap()[u"isSelected"_s], true);
    EXPECT_TRUE(choices[0].toMap()[u"isChecked"_s].isNull());
    EXPECT_EQ(shown[u"choicesAreActionable"_s], true);
    EXPECT_TRUE(shown[u"body"_s].toString().contains(u"npm test"_s))
        << shown[u"body"_s].toString().toStdString();
    EXPECT_TRUE(shown[u"command"_s].isNull()); // claude's screen names no separate command
    EXPECT_TRUE(shown[u"hardFloor"_s].isNull());
    EXPECT_TRUE(shown[u"receipt"_s].isNull());
    EXPECT_EQ(shown[u"liveStatus"_s], u"Live checked before sending"_s);
    EXPECT_EQ(shown[u"supportMessage"_s],
              u"Responses are revalidated against the live prompt before sending."_s);

    EXPECT_EQ(answer(surface->answer(0)), std::nullopt);
    const QVariantMap receipt = card()[u"receipt"_s].toMap();
    EXPECT_EQ(receipt[u"headline"_s], u"Yes"_s);
    EXPECT_EQ(receipt[u"footnote"_s], u"Your answer reached the pane."_s);
    EXPECT_EQ(keysSent(), 1u);
    runTask(surface->dismissReceipt());
    EXPECT_EQ(surface->presentation(), u"compact"_s);
    EXPECT_TRUE(card()[u"receipt"_s].isNull());
}

TEST_F(SurfaceActions, AHardFloorLocksUntilItsTargetIsTyped)
{
    selectAgent(u"w1:root"_s);
    QVariantMap floor = card()[u"hardFloor"_s].toMap();
    EXPECT_EQ(floor[u"category"_s], u"destructive"_s);
    EXPECT_EQ(floor[u"target"_s], u"api-delete"_s);
    EXPECT_EQ(floor[u"armed"_s], false);
    EXPECT_EQ(floor[u"instruction"_s],
              u"No one-tap and no Enter shortcut. Type api-delete to arm Approve."_s);

    EXPECT_EQ(answer(surface->approve()),
              u"Type api-delete to arm this Destructive action. Nothing was sent."_s);
    EXPECT_EQ(card()[u"refusalNotice"_s],
              u"Type api-delete to arm this Destructive action. Nothing was sent."_s);
    EXPECT_EQ(runTask(surface->armFloor(u"api-delet"_s)),
              u"The floor stays locked until api-delete is typed exactly."_s);
    EXPECT_EQ(card()[u"hardFloor"_s].toMap()[u"typed"_s], u"api-delet"_s);
    EXPECT_EQ(keysSent(), 0u);

    EXPECT_EQ(runTask(surface->armFloor(u"api-delete"_s)), std::nullopt);
    floor = card()[u"hardFloor"_s].toMap();
    EXPECT_EQ(floor[u"armed"_s], true);
    EXPECT_EQ(floor[u"approveLabel"_s], approveTitle(HardFloorVerdict::Category::destructive));
    EXPECT_EQ(answer(surface->approve()), std::nullopt);
    EXPECT_EQ(keysSent(), 1u);
    EXPECT_TRUE(card()[u"refusalNotice"_s].isNull());
}

TEST_F(SurfaceActions, RefusalsComeBackAsTheirSentences)
{
    selectAgent(u"w1:worker"_s);
    const QString worker = u"A worker's question goes to its orchestrator, not to you. Use Jump to "
                           "watch it. Nothing was sent."_s;
    EXPECT_EQ(answer(surface->answer(0)), worker);
    EXPECT_EQ(card()[u"refusalNotice"_s], worker);
    EXPECT_EQ(answer(surface->typeText(u"y"_s)), worker);
    EXPECT_EQ(answer(surface->answerRecommended()),
              u"This prompt has no recommended choice. Nothing was sent."_s);

    // The prompt changed under the person: nothing goes out, and the card says so.
    selectAgent(u"w1:calm"_s);
    a.scenario.setScreen(u"w1:calm"_s, bashPrompt(u"rm -rf build"_s));
    EXPECT_EQ(answer(surface->approve()),
              u"This interaction changed before the response was sent. Nothing was sent."_s);
    EXPECT_EQ(card()[u"changingNotice"_s],
              u"The pane now shows a different prompt. Your draft is kept."_s);

    EXPECT_EQ(answer(surface->interrupt(ref(u"w1:idle"_s))),
              u"This agent is now idle. Nothing was sent."_s);
    EXPECT_EQ(runTask(surface->sendTask(u"  "_s)), u"The task is empty. Nothing was sent."_s);
    EXPECT_EQ(runTask(surface->copyAttachCommand()), u"There is no attach command to copy."_s);
    EXPECT_EQ(keysSent(), 0u);
}

TEST(SurfaceRefs, AgentRefsParseFromTheirText)
{
    EXPECT_EQ(OrrelSurfaceModel::parseRef(u"ssh:box/default/w1:p1"_s),
              (AgentRef{u"ssh:box/default"_s, u"w1:p1"_s}));
    EXPECT_EQ(OrrelSurfaceModel::parseRef(u"w1:p1"_s), std::nullopt);
    EXPECT_EQ(OrrelSurfaceModel::parseRef(u"local:default/"_s), std::nullopt);
}

} // namespace
