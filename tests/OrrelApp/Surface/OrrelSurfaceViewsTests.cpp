// The surface's views drawn offscreen over the view model's fake sessions, in each shape, with a
// window sized as the panel sizes it. Any QML warning fails; nothing may reach past the window's
// width; a grab of each shape goes to the build's screenshots folder to be looked at.
#include "OrrelApp/Surface/OrrelSurfaceModel.h"
#include "OrrelApp/Surface/OrrelSurfaceState.h"
#include "tests/OrrelApp/Surface/OrrelViewModelFixture.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>

namespace {

// Every warning, from QML or from Qt, while a window is up.
QStringList& capturedMessages()
{
    static QStringList messages;
    return messages;
}

void capture(QtMsgType type, const QMessageLogContext&, const QString& message)
{
    if (type != QtDebugMsg && type != QtInfoMsg)
        capturedMessages() << message;
}

// The root in a transparent window that follows the surface state's size, as the panel does:
// the rendered height catches up with each requested one at once.
class SurfaceWindow {
public:
    SurfaceWindow(OrrelViewModel& model, ManualClock& clock)
        : m_model(model), m_state(OrrelGeometry::withoutHousing({1600, 900}), false,
                                  CompactIndicatorMode::alwaysShow, clock.clock()),
          m_surface(model, m_state)
    {
        capturedMessages().clear();
        m_previousHandler = qInstallMessageHandler(capture);
        m_window.setColor(Qt::transparent);
        QObject::connect(
            &m_state, &OrrelSurfaceState::requestedExpandedHeightChanged, &m_state,
            [this] { m_state.setRenderedExpandedHeight(m_state.requestedExpandedHeight()); });
        QObject::connect(&m_state, &OrrelSurfaceState::visibleSizeChanged, &m_window,
                         [this] { resize(); });
        // The panel seeds a new height for each shape and for each agent's card.
        QObject::connect(&model, &OrrelViewModel::presentationChanged, &m_state,
                         [this] { followPresentation(); });
        QObject::connect(&m_surface, &OrrelSurfaceModel::focusedIdentityChanged, &m_state,
                         [this] { followPresentation(); });
        QQmlComponent component(&m_engine, QUrl(u"qrc:/OrrelSentry/OrrelSurface.qml"_s));
        m_root.reset(qobject_cast<QQuickItem*>(component.createWithInitialProperties(
            {{u"surface"_s, QVariant::fromValue(&m_surface)},
             {u"surfaceState"_s, QVariant::fromValue(&m_state)}})));
        if (!m_root)
            capturedMessages() << component.errorString();
        else
            m_root->setParentItem(m_window.contentItem());
        followPresentation();
        m_window.show();
    }

    ~SurfaceWindow()
    {
        m_root.reset();
        qInstallMessageHandler(m_previousHandler);
    }

    OrrelSurfaceModel& surface() { return m_surface; }
    OrrelSurfaceState& state() { return m_state; }
    QQuickWindow& window() { return m_window; }

    // Draws the window until its size settles, saves the picture, and checks what it holds.
    QImage grab(const QString& name)
    {
        QSize size;
        for (int round = 0; round < 8 && (round < 2 || size != m_window.size()); ++round) {
            size = m_window.size();
            QCoreApplication::processEvents();
            m_window.grabWindow();
        }
        const QImage image = m_window.grabWindow();
        const QDir folder(QStringLiteral(ORREL_SCREENSHOT_DIR));
        folder.mkpath(u"."_s);
        image.save(folder.filePath(u"qml-%1.png"_s.arg(name)));
        EXPECT_EQ(capturedMessages(), QStringList()) << name.toStdString();
        expectWithinWidth(m_window.contentItem());
        return image;
    }

    // Items that are drawn stay inside the window's width.
    void expectWithinWidth(QQuickItem* item)
    {
        if (!item->isVisible() || item->opacity() == 0)
            return;
        const QRectF box = item->mapRectToScene(QRectF(0, 0, item->width(), item->height()));
        if (item->width() > 0 && item != m_window.contentItem()) {
            EXPECT_TRUE(box.left() >= -0.5 && box.right() <= m_window.width() + 0.5)
                << item->metaObject()->className() << " spans " << box.left() << " to "
                << box.right() << " in a window " << m_window.width() << " wide";
        }
        for (QQuickItem* child : item->childItems())
            expectWithinWidth(child);
    }

    void click(QPointF at, Qt::MouseButton button)
    {
        for (const auto type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease}) {
            QMouseEvent event(type, at, m_window.mapToGlobal(at), button,
                              type == QEvent::MouseButtonPress ? button : Qt::NoButton,
                              Qt::NoModifier);
            QCoreApplication::sendEvent(&m_window, &event);
        }
    }

private:
    // What the panel does on a change of shape: seed the height, then size to content.
    void followPresentation()
    {
        const OrrelPresentation& presentation = m_model.presentation();
        m_state.setPresentation(presentation);
        const OrrelGeometry& geometry = m_state.geometry();
        if (presentation.isOverview())
            m_state.prepareOverview(geometry.overviewHeight(m_model.agentCount(), 0, false));
        else if (!m_surface.focusedIdentity().isEmpty())
            m_state.prepareFocused(m_surface.focusedIdentity(),
                                   geometry.focusedHeight(2, false, true));
        resize();
    }

    void resize()
    {
        const QSize size = m_state.visibleSize().toSize();
        m_window.resize(size);
        if (m_root)
            m_root->setSize(size);
    }

    OrrelViewModel& m_model;
    OrrelSurfaceState m_state;
    OrrelSurfaceModel m_surface;
    QQmlEngine m_engine;
    QQuickWindow m_window;
    std::unique_ptr<QQuickItem> m_root;
    QtMessageHandler m_previousHandler = nullptr;
};

// How many pixels of the image are drawn in the pill's coral.
int coralPixels(const QImage& image)
{
    int count = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            const QColor colour = image.pixelColor(x, y);
            count += colour.alpha() > 200 && colour.red() > 220 && colour.green() < 150;
        }
    return count;
}

class SurfaceViewsBoard : public ViewModelBoard {};

TEST_F(SurfaceViewsBoard, ThePillAndTheOverview)
{
    SurfaceWindow window(*model, clock);
    const QImage pill = window.grab(u"compact"_s);
    EXPECT_EQ(window.window().size(), QSize(190, 12));
    EXPECT_GT(coralPixels(pill), 40); // a blocked agent turns the capsule coral

    // A right click asks for the tray's menu where it happened; a left click opens the surface.
    std::optional<QPoint> menuAt;
    QObject::connect(&window.surface(), &OrrelSurfaceModel::contextMenuRequested,
                     [&](QPoint at) { menuAt = at; });
    window.click({95, 6}, Qt::RightButton);
    ASSERT_TRUE(menuAt);
    EXPECT_EQ(*menuAt, window.window().mapToGlobal(QPoint(95, 6)));
    EXPECT_TRUE(model->presentation().isCompact());
    window.click({95, 6}, Qt::LeftButton);
    ASSERT_TRUE(processEventsUntil([&] { return model->presentation().isFocused(); }));

    model->showOverview();
    window.grab(u"overview"_s);
    EXPECT_EQ(window.window().width(), 520);
    // The board's height came back from the view and was taken.
    EXPECT_GT(window.state().renderedExpandedHeight(), window.state().minimumOverviewHeight());

    model->toggleRootExpansion({u"local:default"_s, u"w2:p1"_s});
    window.grab(u"overview-workers"_s);
}

class SurfaceViewsActions : public ViewModelActions {};

TEST_F(SurfaceViewsActions, AHardFloorCard)
{
    SurfaceWindow window(*model, clock);
    runTask(model->selectPane(ref(u"w1:root"_s)));
    window.grab(u"hard-floor"_s);
    runTask(window.surface().armFloor(u"api-delete"_s));
    window.grab(u"hard-floor-armed"_s);
    runTask(model->selectPane(ref(u"w1:idle"_s)));
    window.grab(u"idle"_s);
}

TEST_F(SurfaceViewsActions, TheOverviewOfOneSessionAndARefusal)
{
    SurfaceWindow window(*model, clock);
    runTask(model->selectPane(ref(u"w1:worker"_s)));
    answer(window.surface().approve());
    window.grab(u"refusal"_s);
}

// A pi question with forty long choices in scripts of every width.
class SurfaceViewsManyChoices : public ViewModelTest {
protected:
    void SetUp() override
    {
        ViewModelTest::SetUp();
        const QString rule(60, u'─');
        QString screen = u"Checked both regions; every cluster is healthy.\n\n"_s + rule
                         + u"\n デプロイ先 🚀\n\n どのクラスタに先に展開しますか？ Which cluster "
                           "should the rollout reach first?\n\n"_s;
        for (int number = 1; number <= 40; ++number)
            screen += u"%1 %2. 東京リージョンの本番クラスタ %2 へ段階的に展開する 🚀🔥 rolling "
                      "deploy to tokyo-prod-%2 with canary checks first\n"
                      "     先にカナリアを流してから残りを展開します ✅ canary, then the rest\n"_s
                          .arg(number == 1 ? u"❯"_s : u" "_s)
                          .arg(number);
        screen += u"  41. Type something.\n"_s + rule
                  + u"\n Enter to select · ↑↓ navigate · Esc cancel\n"_s;
        JSONValue::Object pane{
            {u"pane_id"_s, JSONValue(u"w1:p1"_s)},
            {u"agent"_s, JSONValue(u"pi"_s)},
            {u"agent_status"_s, JSONValue(u"blocked"_s)},
            {u"title"_s, JSONValue(u"本番リリース 🚀 rollout of the payments "
                                   "service across every region"_s)},
            {u"screen"_s, JSONValue(JSONValue::Object{{u"visible"_s, JSONValue(screen)}})}};
        startModel(R"({"workspaces":[{"workspace_id":"w1","label":"api"}],
            "tabs":[{"tab_id":"w1:t1","workspace_id":"w1","label":"agents"}],
            "panes":[)"
                   + JSONValue(pane).serialized() + "]}");
    }
};

TEST_F(SurfaceViewsManyChoices, FortyLongChoicesScrollWithinTheCard)
{
    SurfaceWindow window(*model, clock);
    runTask(model->selectPane({u"local:default"_s, u"w1:p1"_s}));
    ASSERT_EQ(window.surface().card()[u"choices"_s].toList().size(), 41);
    window.grab(u"many-choices"_s);
    // The card is as tall as the panel may be, and its choices scroll inside it.
    EXPECT_EQ(window.window().height(), int(window.state().geometry().maximumExpandedHeight));
}

// An edit approval with its diff and a command approval with its command, as recorded screens.
class SurfaceViewsEvidence : public ViewModelTest {
protected:
    static QString recorded(const QString& fixture)
    {
        QFile file(QStringLiteral(ORREL_FIXTURE_DIRECTORY) + u'/' + fixture + u"/visible.ansi"_s);
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }

    static QByteArray pane(const QString& paneID, const QString& agent, const QString& screen)
    {
        return JSONValue(JSONValue::Object{{u"pane_id"_s, JSONValue(paneID)},
                                           {u"agent"_s, JSONValue(agent)},
                                           {u"agent_status"_s, JSONValue(u"blocked"_s)},
                                           {u"screen"_s, JSONValue(JSONValue::Object{
                                                             {u"visible"_s, JSONValue(screen)}})}})
            .serialized();
    }

    void SetUp() override
    {
        ViewModelTest::SetUp();
        const QString diff = recorded(u"claude-edit-approval-diff-526733bdd076.fixture"_s);
        const QString command = recorded(u"codex-approval-120-5b3e972a4f11.fixture"_s);
        ASSERT_FALSE(diff.isEmpty());
        ASSERT_FALSE(command.isEmpty());
        startModel(R"({"workspaces":[{"workspace_id":"w1","label":"web"}],
            "tabs":[{"tab_id":"w1:t1","workspace_id":"w1","label":"agents"}],
            "panes":[)"
                   + pane(u"w1:edit"_s, u"claude"_s, diff) + ','
                   + pane(u"w1:run"_s, u"codex"_s, command) + "]}");
    }
};

TEST_F(SurfaceViewsEvidence, AnEditWithItsDiffAndACommand)
{
    SurfaceWindow window(*model, clock);
    runTask(model->selectPane({u"local:default"_s, u"w1:edit"_s}));
    const QVariantMap diff = window.surface().card()[u"diff"_s].toMap();
    EXPECT_EQ(diff[u"title"_s], u"Proposed changes to src/greeting.js"_s);
    EXPECT_EQ(diff[u"lines"_s].toList().size(), 5);
    window.grab(u"diff"_s);

    runTask(model->selectPane({u"local:default"_s, u"w1:run"_s}));
    EXPECT_FALSE(window.surface().card()[u"command"_s].isNull());
    window.grab(u"command"_s);
}

// A session without agents, and then without its server.
class SurfaceViewsStates : public ViewModelTest {
protected:
    void SetUp() override
    {
        ViewModelTest::SetUp();
        startModel(R"({"workspaces":[],"tabs":[],"panes":[]})");
    }
};

TEST_F(SurfaceViewsStates, NoAgentsAndThenNoHerdr)
{
    SurfaceWindow window(*model, clock);
    model->showOverview();
    EXPECT_EQ(window.surface().overview()[u"state"_s], u"empty"_s);
    window.grab(u"overview-empty"_s);

    a.server.stop();
    advance(8s);
    ASSERT_EQ(window.surface().overview()[u"state"_s], u"unreachable"_s);
    window.grab(u"overview-unreachable"_s);
}

class SurfaceViewsEscalation : public ViewModelEscalations {};

TEST_F(SurfaceViewsEscalation, AnEscalatedQuestion)
{
    writeJournal(R"("origin":{"paneId":"w1:w"},)");
    advance(8s);
    SurfaceWindow window(*model, clock);
    runTask(model->selectPane({u"local:default"_s, u"w1:o"_s}));
    ASSERT_FALSE(window.surface().card()[u"escalation"_s].isNull());
    window.grab(u"escalation"_s);
}

} // namespace

int main(int argc, char* argv[])
{
    // Drawn offscreen and without a GPU, so that a grab works on any machine, also when the
    // test runner lists the tests without the tests' environment.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QGuiApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
