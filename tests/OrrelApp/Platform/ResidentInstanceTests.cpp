// The one-instance claim on a private session bus: ctest runs this program under
// dbus-run-session. Each instance has a bus connection of its own, as two processes would.
#include "OrrelApp/Platform/ResidentInstance.h"

#include "tests/support/TestSupport.h"

#include <QDBusConnectionInterface>
#include <QtConcurrent>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

using Claim = InstanceClaiming::Claim;

class ResidentInstanceTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS"))
            GTEST_SKIP() << "no session bus: ctest runs this under dbus-run-session";
    }

    void TearDown() override
    {
        for (const QString& name : opened)
            QDBusConnection::disconnectFromBus(name);
    }

    QDBusConnection connection(const QString& name)
    {
        opened << name;
        return QDBusConnection::connectToBus(QDBusConnection::SessionBus, name);
    }

    // The later instance blocks on its call to the resident one, so it claims on a worker while
    // this thread serves the resident one.
    Claim claimElsewhere(const QString& connectionName)
    {
        const QDBusConnection bus = connection(connectionName);
        auto claim = QtConcurrent::run([bus] { return ResidentInstance(bus).claim(); });
        EXPECT_TRUE(processEventsUntil([&] { return claim.isFinished(); }));
        return claim.result();
    }

    QStringList opened;
};

TEST_F(ResidentInstanceTest, TheFirstKeepsTheNameAndALaterOneShowsItsOverview)
{
    auto first = std::make_unique<ResidentInstance>(connection(u"first"_s));
    int shown = 0;
    QObject::connect(first.get(), &InstanceClaiming::showOverviewRequested, [&] { ++shown; });
    ASSERT_EQ(first->claim(), Claim::claimed);
    EXPECT_EQ(QDBusConnection::sessionBus()
                  .interface()
                  ->serviceOwner(ResidentInstance::serviceName())
                  .value(),
              QDBusConnection(u"first"_s).baseService());

    EXPECT_EQ(claimElsewhere(u"second"_s), Claim::anotherRuns);
    EXPECT_TRUE(processEventsUntil([&] { return shown == 1; }));
    EXPECT_EQ(claimElsewhere(u"third"_s), Claim::anotherRuns);
    EXPECT_TRUE(processEventsUntil([&] { return shown == 2; }));

    // Once the resident one ends, the next start becomes the resident one.
    first.reset();
    ResidentInstance next(connection(u"next"_s));
    EXPECT_EQ(next.claim(), Claim::claimed);
    EXPECT_EQ(shown, 2);
}

TEST_F(ResidentInstanceTest, ANameHolderThatDoesNotAnswerStillCountsAsRunning)
{
    auto silent = connection(u"silent"_s);
    ASSERT_TRUE(silent.registerService(ResidentInstance::serviceName()));
    EXPECT_EQ(claimElsewhere(u"later"_s), Claim::anotherRuns);
    silent.unregisterService(ResidentInstance::serviceName());
}

TEST(ResidentInstance, WithoutABusItRunsUnchecked)
{
    const auto nowhere = QDBusConnection::connectToBus(u"unix:path=/nonexistent/bus"_s, u"none"_s);
    EXPECT_EQ(ResidentInstance(nowhere).claim(), Claim::unchecked);
    QDBusConnection::disconnectFromBus(u"none"_s);
}

} // namespace
