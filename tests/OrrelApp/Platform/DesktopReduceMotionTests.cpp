// Reduce motion against a settings portal on a private session bus: ctest runs this program
// under dbus-run-session.
#include "OrrelApp/Platform/DesktopReduceMotion.h"

#include "HerdrClient/Commands/CommandRunning.h"
#include "tests/support/TestSupport.h"

#include <QDBusConnectionInterface>
#include <QDBusContext>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <atomic>
#include <map>

using namespace Qt::StringLiterals;

namespace {

const QString portalService = u"org.freedesktop.portal.Desktop"_s;
const QString portalPath = u"/org/freedesktop/portal/desktop"_s;
const QString gnome = u"org.gnome.desktop.interface"_s;
const QString kde = u"org.kde.kdeglobals.KDE"_s;

// The settings portal as xdg-desktop-portal serves it: Read wraps the value in a second variant,
// and an unknown key is an error of its own.
class SettingsPortal : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Settings")

public:
    std::map<std::pair<QString, QString>, QVariant> values;

    void change(const QDBusConnection& bus, const QString& group, const QString& key,
                const QVariant& value)
    {
        values[{group, key}] = value;
        auto signal = QDBusMessage::createSignal(portalPath, u"org.freedesktop.portal.Settings"_s,
                                                 u"SettingChanged"_s);
        signal << group << key << QVariant::fromValue(QDBusVariant(value));
        bus.send(signal);
    }

public Q_SLOTS:
    QDBusVariant Read(const QString& group, const QString& key)
    {
        const auto found = values.find({group, key});
        if (found == values.end()) {
            sendErrorReply(u"org.freedesktop.portal.Error.NotFound"_s,
                           u"Requested setting not found"_s);
            return {};
        }
        return QDBusVariant(QVariant::fromValue(QDBusVariant(found->second)));
    }
};

class ScriptedGsettings : public CommandRunning {
public:
    using CommandRunning::run;
    CommandResult run(const QString& executable, const QStringList& arguments,
                      std::optional<double> timeoutSeconds) override
    {
        EXPECT_EQ(executable, u"gsettings"_s);
        EXPECT_EQ(arguments, (QStringList{u"get"_s, gnome, u"enable-animations"_s}));
        EXPECT_TRUE(timeoutSeconds.has_value());
        ++runs;
        return answer;
    }

    CommandResult answer = std::unexpected(CommandFailure::launchFailed(u"gsettings"_s, {}));
    std::atomic<int> runs = 0;
};

class DesktopReduceMotionTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS"))
            GTEST_SKIP() << "no session bus: ctest runs this under dbus-run-session";
        environment.insert(u"HOME"_s, home.path());
    }

    void TearDown() override
    {
        auto bus = QDBusConnection::sessionBus();
        bus.unregisterObject(portalPath);
        bus.unregisterService(portalService);
        QDBusConnection::disconnectFromBus(u"client"_s);
    }

    void servePortal()
    {
        auto bus = QDBusConnection::sessionBus();
        ASSERT_TRUE(bus.registerObject(portalPath, &portal, QDBusConnection::ExportAllSlots));
        ASSERT_TRUE(bus.registerService(portalService));
    }

    // On a connection of its own, so that its calls really cross the bus.
    std::unique_ptr<DesktopReduceMotion> watch()
    {
        return std::make_unique<DesktopReduceMotion>(
            QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"client"_s), gsettings,
            environment);
    }

    // Waits until the watcher has settled on `reduce`, by its signal when that differs from the
    // start.
    static bool settlesOn(DesktopReduceMotion& watcher, bool reduce, const int& signals)
    {
        return processEventsUntil([&] { return signals > 0 && watcher.reduceMotion() == reduce; });
    }

    QTemporaryDir home;
    QProcessEnvironment environment;
    SettingsPortal portal;
    ScriptedGsettings gsettings;
};

TEST_F(DesktopReduceMotionTest, TheEnvironmentDecidesAlone)
{
    servePortal();
    portal.values[{gnome, u"enable-animations"_s}] = false;
    // Without the variable, the desktop's answer arrives; the overridden watchers asked nothing.
    const auto reference = watch();
    int signals = 0;
    QObject::connect(reference.get(), &ReduceMotionWatching::reduceMotionChanged,
                     [&] { ++signals; });

    environment.insert(u"ORRELSENTRY_REDUCE_MOTION"_s, u"0"_s);
    DesktopReduceMotion motionOn(QDBusConnection::sessionBus(), gsettings, environment);
    environment.insert(u"ORRELSENTRY_REDUCE_MOTION"_s, u"1"_s);
    DesktopReduceMotion motionOff(QDBusConnection::sessionBus(), gsettings, environment);
    ASSERT_TRUE(settlesOn(*reference, true, signals));
    EXPECT_FALSE(motionOn.reduceMotion());
    EXPECT_TRUE(motionOff.reduceMotion());

    portal.change(QDBusConnection::sessionBus(), gnome, u"enable-animations"_s, true);
    ASSERT_TRUE(processEventsUntil([&] { return signals == 2; }));
    EXPECT_TRUE(motionOff.reduceMotion());
    EXPECT_EQ(gsettings.runs, 0);
}

TEST_F(DesktopReduceMotionTest, ThePortalAnswersAndTellsOfChanges)
{
    servePortal();
    portal.values[{gnome, u"enable-animations"_s}] = false;
    const auto watcher = watch();
    int signals = 0;
    bool last = false;
    QObject::connect(watcher.get(), &ReduceMotionWatching::reduceMotionChanged, [&](bool reduce) {
        ++signals;
        last = reduce;
    });
    EXPECT_FALSE(watcher->reduceMotion()) << "motion stays on until the desktop has answered";
    ASSERT_TRUE(settlesOn(*watcher, true, signals));
    EXPECT_TRUE(last);

    portal.change(QDBusConnection::sessionBus(), gnome, u"enable-animations"_s, true);
    ASSERT_TRUE(processEventsUntil([&] { return signals == 2; }));
    EXPECT_FALSE(watcher->reduceMotion());

    // KDE's factor, as text the way its file keeps it; other keys change nothing.
    portal.change(QDBusConnection::sessionBus(), u"org.gnome.desktop.interface"_s, u"font-name"_s,
                  u"Sans 0"_s);
    portal.change(QDBusConnection::sessionBus(), kde, u"AnimationDurationFactor"_s, u"0"_s);
    ASSERT_TRUE(processEventsUntil([&] { return signals == 3; }));
    EXPECT_TRUE(watcher->reduceMotion());
    portal.change(QDBusConnection::sessionBus(), kde, u"AnimationDurationFactor"_s, 0.5);
    ASSERT_TRUE(processEventsUntil([&] { return signals == 4; }));
    EXPECT_FALSE(watcher->reduceMotion());
    EXPECT_EQ(gsettings.runs, 0) << "the portal answered, so gsettings is not asked";
}

TEST_F(DesktopReduceMotionTest, WithoutAPortalGsettingsThenNothing)
{
    auto ok = [](QByteArray out) -> CommandResult { return CommandOutput{0, std::move(out), {}}; };
    gsettings.answer = ok("false\n");
    auto watcher = watch();
    int signals = 0;
    QObject::connect(watcher.get(), &ReduceMotionWatching::reduceMotionChanged, [&] { ++signals; });
    ASSERT_TRUE(settlesOn(*watcher, true, signals));
    EXPECT_EQ(gsettings.runs, 1);
    watcher.reset();
    QDBusConnection::disconnectFromBus(u"client"_s);

    gsettings.answer = std::unexpected(CommandFailure::launchFailed(u"gsettings"_s, {}));
    watcher = watch();
    ASSERT_TRUE(processEventsUntil([&] { return gsettings.runs == 2; }));
    QCoreApplication::processEvents();
    EXPECT_FALSE(watcher->reduceMotion());
}

TEST_F(DesktopReduceMotionTest, OnKdeWithoutAPortalItsOwnFileDecides)
{
    QFile globals(QDir(home.path()).filePath(u".config/kdeglobals"_s));
    ASSERT_TRUE(QDir(home.path()).mkpath(u".config"_s));
    ASSERT_TRUE(globals.open(QIODevice::WriteOnly));
    globals.write("[KDE]\nAnimationDurationFactor=0\nSingleClick=false\n");
    globals.close();

    // Another desktop ignores a file that KDE programs left behind.
    environment.insert(u"XDG_CURRENT_DESKTOP"_s, u"GNOME"_s);
    auto watcher = watch();
    ASSERT_TRUE(processEventsUntil([&] { return gsettings.runs == 1; }));
    QCoreApplication::processEvents();
    EXPECT_FALSE(watcher->reduceMotion());
    watcher.reset();
    QDBusConnection::disconnectFromBus(u"client"_s);

    environment.insert(u"XDG_CURRENT_DESKTOP"_s, u"KDE"_s);
    watcher = watch();
    int signals = 0;
    QObject::connect(watcher.get(), &ReduceMotionWatching::reduceMotionChanged, [&] { ++signals; });
    ASSERT_TRUE(settlesOn(*watcher, true, signals));
    EXPECT_EQ(gsettings.runs, 1);
}

} // namespace

#include "DesktopReduceMotionTests.moc"
