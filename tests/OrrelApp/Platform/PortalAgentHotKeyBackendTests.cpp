// Agent hot keys through the GlobalShortcuts portal, against a portal of the test's own on a
// private session bus: it records what it is asked and answers as the desktop would.
#include "OrrelApp/Platform/PortalAgentHotKeyBackend.h"
#include "tests/support/TestSupport.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

// One shortcut as the portal receives it.
struct BoundShortcut {
    QString id;
    QVariantMap properties;
};
Q_DECLARE_METATYPE(BoundShortcut)

QDBusArgument& operator<<(QDBusArgument& argument, const BoundShortcut& shortcut)
{
    argument.beginStructure();
    argument << shortcut.id << shortcut.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, BoundShortcut& shortcut)
{
    argument.beginStructure();
    argument >> shortcut.id >> shortcut.properties;
    argument.endStructure();
    return argument;
}

namespace {

class FakePortal : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.GlobalShortcuts")
    Q_PROPERTY(uint version READ version)

public:
    explicit FakePortal(QDBusConnection bus) : m_bus(std::move(bus))
    {
        qDBusRegisterMetaType<BoundShortcut>();
        qDBusRegisterMetaType<QList<BoundShortcut>>();
    }

    bool start()
    {
        return m_bus.registerObject(PortalAgentHotKeyBackend::path, this,
                                    QDBusConnection::ExportAllSlots
                                        | QDBusConnection::ExportAllProperties)
               && m_bus.registerService(PortalAgentHotKeyBackend::service);
    }

    uint version() const { return 1; }

    void activate(const QString& session, const QString& id)
    {
        QDBusMessage signal = QDBusMessage::createSignal(
            PortalAgentHotKeyBackend::path, PortalAgentHotKeyBackend::interface, u"Activated"_s);
        signal << QVariant::fromValue(QDBusObjectPath(session)) << id << quint64(1)
               << QVariantMap();
        m_bus.send(signal);
    }

    QString session = u"/org/freedesktop/portal/desktop/session/1_1/orrel"_s;
    uint bindResponse = 0;
    std::vector<QString> calls;
    // Each bound shortcut's id and preferred trigger.
    std::map<QString, QString> bound;

public Q_SLOTS:
    QDBusObjectPath CreateSession(const QVariantMap& options, const QDBusMessage& message)
    {
        calls.push_back(u"CreateSession"_s);
        return respond(message, options, {{u"session_handle"_s, session}}, 0);
    }

    QDBusObjectPath BindShortcuts(const QDBusObjectPath& handle,
                                  const QList<BoundShortcut>& shortcuts, const QString&,
                                  const QVariantMap& options, const QDBusMessage& message)
    {
        calls.push_back(u"BindShortcuts "_s + handle.path());
        for (const BoundShortcut& shortcut : shortcuts)
            bound[shortcut.id] = shortcut.properties.value(u"preferred_trigger"_s).toString();
        return respond(message, options, {}, bindResponse);
    }

private:
    // The answer goes out on the request object the caller named by its token.
    QDBusObjectPath respond(const QDBusMessage& message, const QVariantMap& options,
                            const QVariantMap& results, uint response)
    {
        QString sender = message.service().mid(1);
        sender.replace(u'.', u'_');
        const QString request = u"/org/freedesktop/portal/desktop/request/%1/%2"_s.arg(
            sender, options.value(u"handle_token"_s).toString());
        QDBusMessage signal =
            QDBusMessage::createSignal(request, u"org.freedesktop.portal.Request"_s, u"Response"_s);
        signal << response << results;
        m_bus.send(signal);
        return QDBusObjectPath(request);
    }

    QDBusConnection m_bus;
};

// The session object the portal makes, which only needs to be closed.
class FakeSession : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Session")

public:
    int closed = 0;

public Q_SLOTS:
    void Close() { ++closed; }
};

AgentHotKeyChord chord(AppShortcutID id, std::uint32_t keysym)
{
    return {id, keysym, GlobalKeyboardShortcut::controlMask | GlobalKeyboardShortcut::altMask,
            *AgentHotKey::Action::forShortcut(id)};
}

TEST(PortalHotKeys, UnavailableUntilThePortalAppearsThenBindsAndReportsPresses)
{
    QDBusConnection client = QDBusConnection::sessionBus();
    ASSERT_TRUE(client.isConnected()) << "run under dbus-run-session";
    PortalAgentHotKeyBackend backend(client);
    int availabilityChanges = 0;
    backend.onAvailabilityChanged = [&] { ++availabilityChanges; };
    std::vector<AgentHotKey> pressed;
    backend.onPressed = [&](const AgentHotKey& key) { pressed.push_back(key); };
    ASSERT_TRUE(backend.unavailableReason());
    EXPECT_TRUE(backend.unavailableReason()->contains(u"GlobalShortcuts portal"_s));

    QDBusConnection portalBus =
        QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"fake-portal"_s);
    FakePortal portal(portalBus);
    FakeSession session;
    ASSERT_TRUE(
        portalBus.registerObject(portal.session, &session, QDBusConnection::ExportAllSlots));
    ASSERT_TRUE(portal.start());
    ASSERT_TRUE(processEventsUntil([&] { return !backend.unavailableReason(); }));
    EXPECT_EQ(availabilityChanges, 1);

    EXPECT_TRUE(backend
                    .registerChords({chord(AppShortcutID::approve, 'y'),
                                     chord(AppShortcutID::sendRecommended, 0xff0d)})
                    .empty());
    ASSERT_TRUE(processEventsUntil([&] { return portal.bound.size() == 2; }))
        << QStringList(portal.calls.begin(), portal.calls.end()).join(u", "_s).toStdString();
    EXPECT_EQ(portal.calls,
              (std::vector{u"CreateSession"_s, u"BindShortcuts "_s + portal.session}));
    EXPECT_EQ(portal.bound[u"approve"_s], u"CTRL+ALT+y"_s);
    EXPECT_EQ(portal.bound[u"sendRecommended"_s], u"CTRL+ALT+Return"_s);

    // Another program's session shares the signal; only ours counts.
    portal.activate(u"/org/freedesktop/portal/desktop/session/1_1/other"_s, u"approve"_s);
    portal.activate(portal.session, u"approve"_s);
    ASSERT_TRUE(processEventsUntil([&] { return !pressed.empty(); }));
    EXPECT_EQ(pressed.size(), 1U);
    EXPECT_EQ(pressed.front().action, AgentHotKey::Action{AgentHotKey::Action::Kind::approve});

    backend.unregisterAll();
    ASSERT_TRUE(processEventsUntil([&] { return session.closed == 1; }));
    // A press the portal sends after the session closed is nobody's.
    portal.activate(portal.session, u"approve"_s);
    QCoreApplication::processEvents();
    EXPECT_EQ(pressed.size(), 1U);
    portalBus.unregisterService(PortalAgentHotKeyBackend::service);
}

TEST(PortalHotKeys, ARefusedBindingComesBackAsALateFailure)
{
    QDBusConnection portalBus =
        QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"refusing-portal"_s);
    FakePortal portal(portalBus);
    portal.bindResponse = 2;
    FakeSession session;
    ASSERT_TRUE(
        portalBus.registerObject(portal.session, &session, QDBusConnection::ExportAllSlots));
    ASSERT_TRUE(portal.start());

    PortalAgentHotKeyBackend backend(QDBusConnection::sessionBus());
    ASSERT_TRUE(processEventsUntil([&] { return !backend.unavailableReason(); }));
    std::vector<AgentHotKeyRegistering::Failure> failures;
    backend.onLateFailure = [&](std::vector<AgentHotKeyRegistering::Failure> late) {
        failures = std::move(late);
    };
    backend.registerChords({chord(AppShortcutID::deny, 'n')});
    ASSERT_TRUE(processEventsUntil([&] { return !failures.empty(); }));
    EXPECT_EQ(failures.front().chord.id, AppShortcutID::deny);
    EXPECT_EQ(failures.front().status, 2);
    EXPECT_TRUE(processEventsUntil([&] { return session.closed == 1; }));
    portalBus.unregisterService(PortalAgentHotKeyBackend::service);
}

} // namespace

#include "PortalAgentHotKeyBackendTests.moc"
