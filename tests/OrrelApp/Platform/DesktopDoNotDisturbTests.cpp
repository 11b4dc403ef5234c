// Do Not Disturb against a notification server on a private session bus: ctest runs this program
// under dbus-run-session.
#include "OrrelApp/Platform/DesktopDoNotDisturb.h"

#include "HerdrClient/Commands/CommandRunning.h"
#include "tests/support/TestSupport.h"

#include <QDBusConnectionInterface>
#include <QtConcurrent>

#include <gtest/gtest.h>

#include <atomic>

using namespace Qt::StringLiterals;

namespace {

const QString serviceName = u"org.freedesktop.Notifications"_s;
const QString objectPath = u"/org/freedesktop/Notifications"_s;

// A server that reports Do Not Disturb, as KDE Plasma's and dunst do.
class InhibitingServer : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")
    Q_PROPERTY(bool Inhibited READ inhibited)
public:
    bool inhibited() const { return isInhibited; }
    std::atomic<bool> isInhibited = false;
};

// A server without the property, as GNOME Shell's.
class PlainServer : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")
    Q_PROPERTY(QString Name READ name)
public:
    QString name() const { return u"plain"_s; }
};

class ScriptedGsettings : public CommandRunning {
public:
    using CommandRunning::run;
    CommandResult run(const QString& executable, const QStringList& arguments,
                      std::optional<double> timeoutSeconds) override
    {
        EXPECT_EQ(executable, u"gsettings"_s);
        EXPECT_EQ(arguments,
                  (QStringList{u"get"_s, u"org.gnome.desktop.notifications"_s, u"show-banners"_s}));
        EXPECT_TRUE(timeoutSeconds.has_value()) << "an alert must not wait on gsettings forever";
        ++runs;
        return answer;
    }

    CommandResult answer = std::unexpected(CommandFailure::launchFailed(u"gsettings"_s, {}));
    int runs = 0;
};

class DesktopDoNotDisturbTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS"))
            GTEST_SKIP() << "no session bus: ctest runs this under dbus-run-session";
    }

    void TearDown() override { serve(nullptr); }

    void serve(QObject* server)
    {
        auto bus = QDBusConnection::sessionBus();
        bus.unregisterObject(objectPath);
        bus.unregisterService(serviceName);
        if (!server)
            return;
        ASSERT_TRUE(bus.registerObject(objectPath, server, QDBusConnection::ExportAllProperties));
        ASSERT_TRUE(bus.registerService(serviceName));
    }

    InhibitingServer inhibiting;
    PlainServer plain;
    ScriptedGsettings gsettings;
};

TEST_F(DesktopDoNotDisturbTest, TheServerDecidesWhereItCanElseGnomeBanners)
{
    auto ok = [](QByteArray out) -> CommandResult { return CommandOutput{0, std::move(out), {}}; };
    const auto notRun = std::unexpected(CommandFailure::launchFailed(u"gsettings"_s, u"no"_s));
    enum Server { none, inhibited, notInhibited, withoutProperty };
    struct Case {
        const char* name;
        Server server;
        CommandResult gsettings;
        bool enabled;
        bool asksGsettings;
    };
    const Case cases[] = {
        {"inhibited server", inhibited, ok("true\n"), true, false},
        {"a server that is not inhibited outranks GNOME", notInhibited, ok("false\n"), false,
         false},
        {"GNOME banners off", withoutProperty, ok("false\n"), true, true},
        {"GNOME banners on", withoutProperty, ok("true\n"), false, true},
        {"no server, banners off", none, ok("false\n"), true, true},
        {"no server, no gsettings", none, notRun, false, true},
        {"no schema", none, CommandOutput{1, {}, "No such schema"}, false, true},
        {"an answer of another kind", withoutProperty, ok("@mb nothing\n"), false, true},
    };
    // A connection of its own, so that the client's calls really cross the bus.
    const auto client = QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"client"_s);
    ASSERT_TRUE(client.isConnected());
    for (const auto& c : cases) {
        inhibiting.isInhibited = c.server == inhibited;
        serve(c.server == none              ? nullptr
              : c.server == withoutProperty ? static_cast<QObject*>(&plain)
                                            : &inhibiting);
        gsettings.answer = c.gsettings;
        gsettings.runs = 0;
        // The client blocks on its call, so it runs on a worker while this thread serves.
        auto enabled =
            QtConcurrent::run([&] { return DesktopDoNotDisturb(client, gsettings).isEnabled(); });
        ASSERT_TRUE(processEventsUntil([&] { return enabled.isFinished(); })) << c.name;
        EXPECT_EQ(enabled.result(), c.enabled) << c.name;
        EXPECT_EQ(gsettings.runs > 0, c.asksGsettings) << c.name;
    }
    QDBusConnection::disconnectFromBus(u"client"_s);
}

TEST(DesktopDoNotDisturb, NoBusMeansOff)
{
    ScriptedGsettings gsettings;
    const auto nowhere = QDBusConnection::connectToBus(u"unix:path=/nonexistent/bus"_s, u"none"_s);
    EXPECT_FALSE(DesktopDoNotDisturb(nowhere, gsettings).isEnabled());
    EXPECT_EQ(gsettings.runs, 1);
}

} // namespace

#include "DesktopDoNotDisturbTests.moc"
