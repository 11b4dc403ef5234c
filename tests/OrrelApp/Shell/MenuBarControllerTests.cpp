// The tray menu and icon, with widgets on the offscreen platform and a private session bus: ctest
// runs this program under dbus-run-session.
#include "OrrelApp/Platform/TrayHostWatcher.h"
#include "OrrelApp/Sessions/SessionRegistry.h"
#include "OrrelApp/Shell/MenuBarController.h"
#include "OrrelApp/Surface/OrrelViewModel.h"
#include "tests/support/TestSupport.h"

#include <QAction>
#include <QDBusConnectionInterface>
#include <QImage>
#include <QMenu>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class MenuBarControllerTest : public ::testing::Test {
protected:
    // One line per item: its text, "(off)" when disabled, "---" for a separator.
    QStringList items() const
    {
        QStringList lines;
        for (const QAction* action : controller.menu().actions()) {
            if (action->isSeparator())
                lines << u"---"_s;
            else
                // As drawn: "&&" is how a menu shows one ampersand.
                lines << action->text().replace(u"&&"_s, u"&"_s)
                             + (action->isEnabled() ? QString() : u" (off)"_s);
        }
        return lines;
    }

    QAction* item(const QString& text) const
    {
        for (QAction* action : controller.menu().actions()) {
            if (action->text() == text)
                return action;
        }
        return nullptr;
    }

    ManualClock clock;
    OrrelViewModel model{std::make_unique<SessionRegistry>(), clock.clock()};
    MenuBarController controller{
        model, {u"0123456789ab"_s, true, u"/src/orrel"_s}, QDBusConnection::sessionBus()};
};

TEST_F(MenuBarControllerTest, OpeningTheMenuFillsItAfreshInItsOrder)
{
    int toggles = 0;
    int quits = 0;
    controller.onToggleOrrel = [&] { ++toggles; };
    controller.onQuit = [&] { ++quits; };
    EXPECT_TRUE(controller.menu().actions().isEmpty());

    const QStringList expected{
        u"Show / Hide Orrel"_s,
        u"---"_s,
        u"Settings… (off)"_s,
        u"Setup & permissions… (off)"_s,
        u"---"_s,
        u"Check for Updates… (off)"_s,
        u"Update checks are off for this pi fork (no fork feed). (off)"_s,
        u"---"_s,
        u"Build 0123456789ab-dirty (off)"_s,
        u"---"_s,
        u"Quit Orrel Sentry"_s,
    };
    for (int opening = 0; opening < 2; ++opening) {
        Q_EMIT controller.menu().aboutToShow();
        EXPECT_EQ(items(), expected) << "opening " << opening;
    }
    EXPECT_EQ(item(u"Build 0123456789ab-dirty"_s)->toolTip(), u"/src/orrel"_s);

    item(u"Show / Hide Orrel"_s)->trigger();
    EXPECT_EQ(toggles, 1);
    EXPECT_EQ(quits, 0);
    item(u"Quit Orrel Sentry"_s)->trigger();
    EXPECT_EQ(quits, 1);
}

TEST(MenuBarController, ProvenanceTitles)
{
    const auto title = [](QString revision, bool dirty) {
        return MenuBarController::buildProvenanceTitle({std::move(revision), dirty, u"/src"_s});
    };
    EXPECT_EQ(title(u"abc123"_s, false), u"Build abc123"_s);
    EXPECT_EQ(title(u"abc123"_s, true), u"Build abc123-dirty"_s);
    EXPECT_EQ(title({}, false), u"Build development"_s);
    EXPECT_EQ(title({}, true), u"Build development"_s);
}

// The build writes what git says of this very tree; a broken step would leave it empty or stale.
TEST(MenuBarController, ProvenanceIsCompiledInFromThisSourceTree)
{
    const BuildProvenance provenance = BuildProvenance::compiledIn();
    EXPECT_EQ(provenance.sourcePath, QStringLiteral(ORREL_TEST_SOURCE_DIR));
    if (!provenance.gitRevision.isEmpty()) {
        EXPECT_EQ(provenance.gitRevision.size(), 12);
        EXPECT_TRUE(QByteArray::fromHex(provenance.gitRevision.toLatin1()).size() == 6)
            << provenance.gitRevision.toStdString();
    }
}

TEST(MenuBarController, EachStatusHasItsOwnIconAndBlockedIsCoral)
{
    const RollupStatus statuses[] = {RollupStatus::blocked, RollupStatus::working,
                                     RollupStatus::done, RollupStatus::idle, RollupStatus::unknown};
    std::vector<QImage> images;
    for (const RollupStatus status : statuses) {
        images.push_back(MenuBarController::statusIcon(status).pixmap(22, 22).toImage());
        EXPECT_EQ(images.back().size(), QSize(22, 22));
    }
    for (std::size_t i = 0; i < images.size(); ++i) {
        for (std::size_t j = i + 1; j < images.size(); ++j)
            EXPECT_NE(images[i], images[j]) << toString(statuses[i]).toStdString() << " and "
                                            << toString(statuses[j]).toStdString();
    }
    // Left of the centre dot, inside the capsule.
    const QColor blocked = images.front().pixelColor(6, 11);
    EXPECT_GT(blocked.red(), 200);
    EXPECT_LT(blocked.blue(), 140);
}

TEST_F(MenuBarControllerTest, ATrayThatComesUpLateIsNoticed)
{
    if (qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS"))
        GTEST_SKIP() << "no session bus: ctest runs this under dbus-run-session";
    controller.install();
    int changes = 0;
    QObject::connect(&controller, &MenuBarController::trayAvailabilityChanged, [&] { ++changes; });

    auto tray = QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"tray"_s);
    ASSERT_TRUE(tray.registerService(TrayHostWatcher::serviceName()));
    EXPECT_TRUE(processEventsUntil([&] { return changes == 1; }));
    ASSERT_TRUE(tray.unregisterService(TrayHostWatcher::serviceName()));
    EXPECT_TRUE(processEventsUntil([&] { return changes == 2; }));
    QDBusConnection::disconnectFromBus(u"tray"_s);
    controller.remove();
}

} // namespace
