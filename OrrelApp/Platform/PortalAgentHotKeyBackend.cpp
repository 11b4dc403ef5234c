#include "OrrelApp/Platform/PortalAgentHotKeyBackend.h"

#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>

using namespace Qt::StringLiterals;

namespace {

const QString requestInterface = u"org.freedesktop.portal.Request"_s;
const QString sessionInterface = u"org.freedesktop.portal.Session"_s;

// One entry of the portal's list of shortcuts: its id and its properties.
struct PortalShortcut {
    QString id;
    QVariantMap properties;
};

QDBusArgument& operator<<(QDBusArgument& argument, const PortalShortcut& shortcut)
{
    argument.beginStructure();
    argument << shortcut.id << shortcut.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, PortalShortcut& shortcut)
{
    argument.beginStructure();
    argument >> shortcut.id >> shortcut.properties;
    argument.endStructure();
    return argument;
}

// Keysym names of the keys that are not a letter or a digit, as xkb spells them.
QString keysymName(std::uint32_t keysym)
{
    if ((keysym >= 'a' && keysym <= 'z') || (keysym >= '0' && keysym <= '9'))
        return QString(QChar(char16_t(keysym)));
    static const std::map<std::uint32_t, QString> names{
        {0xff0d, u"Return"_s},    {',', u"comma"_s},   {'.', u"period"_s}, {'[', u"bracketleft"_s},
        {']', u"bracketright"_s}, {0xff51, u"Left"_s}, {0xff52, u"Up"_s},  {0xff53, u"Right"_s},
        {0xff54, u"Down"_s},      {' ', u"space"_s},   {0xff09, u"Tab"_s}, {'/', u"slash"_s},
        {';', u"semicolon"_s},    {'-', u"minus"_s},   {'=', u"equal"_s},
    };
    const auto found = names.find(keysym);
    return found == names.end() ? QString() : found->second;
}

} // namespace

Q_DECLARE_METATYPE(PortalShortcut)

PortalAgentHotKeyBackend::PortalAgentHotKeyBackend(QDBusConnection bus, QObject* parent)
    : QObject(parent), m_bus(std::move(bus)),
      m_watcher(service, m_bus, QDBusServiceWatcher::WatchForOwnerChange)
{
    qDBusRegisterMetaType<PortalShortcut>();
    qDBusRegisterMetaType<QList<PortalShortcut>>();
    // The portal can start after the program, or start again.
    connect(&m_watcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString&, const QString&, const QString& owner) {
                m_session.clear();
                m_bound.clear();
                if (owner.isEmpty())
                    setAvailable(false);
                else
                    probe();
            });
    m_bus.connect(service, path, interface, u"Activated"_s, this, SLOT(activated(QDBusMessage)));
    probe();
}

PortalAgentHotKeyBackend::~PortalAgentHotKeyBackend()
{
    unregisterAll();
}

void PortalAgentHotKeyBackend::probe()
{
    QDBusMessage get = QDBusMessage::createMethodCall(
        service, path, u"org.freedesktop.DBus.Properties"_s, u"Get"_s);
    get << interface << u"version"_s;
    auto* watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(get), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this](QDBusPendingCallWatcher* call) {
                call->deleteLater();
                setAvailable(!call->isError());
            });
}

void PortalAgentHotKeyBackend::setAvailable(bool available)
{
    if (available == m_available)
        return;
    m_available = available;
    if (onAvailabilityChanged)
        onAvailabilityChanged();
}

std::optional<QString> PortalAgentHotKeyBackend::unavailableReason() const
{
    if (m_available)
        return std::nullopt;
    return u"This desktop lets no program hold global shortcuts: there is no X11 display and no "
           "GlobalShortcuts portal."_s;
}

QString PortalAgentHotKeyBackend::preferredTrigger(const AgentHotKeyChord& chord)
{
    const QString key = keysymName(chord.keyCode);
    if (key.isEmpty())
        return {};
    QString trigger;
    if (chord.modifiers & GlobalKeyboardShortcut::controlMask)
        trigger += u"CTRL+"_s;
    if (chord.modifiers & GlobalKeyboardShortcut::altMask)
        trigger += u"ALT+"_s;
    if (chord.modifiers & GlobalKeyboardShortcut::shiftMask)
        trigger += u"SHIFT+"_s;
    if (chord.modifiers & GlobalKeyboardShortcut::superMask)
        trigger += u"LOGO+"_s;
    return trigger + key;
}

std::vector<AgentHotKeyRegistering::Failure> PortalAgentHotKeyBackend::registerChords(
    const std::vector<AgentHotKeyChord>& chords)
{
    m_wanted = chords;
    if (chords.empty() || !m_available)
        return {};
    if (!m_session.isEmpty())
        bind();
    else if (!m_creating) {
        m_creating = request(u"CreateSession"_s, {},
                             {{u"session_handle_token"_s, u"orrelsentry%1"_s.arg(++m_tokens)}},
                             SLOT(sessionCreated(uint, QVariantMap)));
    }
    return {};
}

bool PortalAgentHotKeyBackend::request(const QString& method, QVariantList arguments,
                                       QVariantMap options, const char* slot)
{
    // The answer comes on a request object whose path follows from our name and the token;
    // listening before asking leaves no gap for a quick portal.
    const QString token = u"orrelsentry%1"_s.arg(++m_tokens);
    QString sender = m_bus.baseService().mid(1);
    sender.replace(u'.', u'_');
    const QString requestPath =
        u"/org/freedesktop/portal/desktop/request/%1/%2"_s.arg(sender, token);
    if (!m_pendingRequest.isEmpty())
        m_bus.disconnect(service, m_pendingRequest, requestInterface, u"Response"_s, this, nullptr);
    m_pendingRequest = requestPath;
    m_bus.connect(service, requestPath, requestInterface, u"Response"_s, this, slot);
    options.insert(u"handle_token"_s, token);
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, interface, method);
    arguments << options;
    call.setArguments(arguments);
    return m_bus.send(call);
}

void PortalAgentHotKeyBackend::sessionCreated(uint response, const QVariantMap& results)
{
    m_creating = false;
    // Older portals give the handle as a string, newer ones as an object path.
    const QVariant handle = results.value(u"session_handle"_s);
    m_session = response != 0                          ? QString()
                : handle.canConvert<QDBusObjectPath>() ? handle.value<QDBusObjectPath>().path()
                                                       : handle.toString();
    if (m_session.isEmpty()) {
        std::vector<Failure> failures;
        for (const AgentHotKeyChord& chord : m_wanted)
            failures.push_back({chord, int(response)});
        if (onLateFailure && !failures.empty())
            onLateFailure(failures);
        return;
    }
    if (m_wanted.empty())
        closeSession();
    else
        bind();
}

void PortalAgentHotKeyBackend::bind()
{
    QList<PortalShortcut> shortcuts;
    m_bound.clear();
    for (const AgentHotKeyChord& chord : m_wanted) {
        const QString id = toString(chord.id);
        QVariantMap properties{{u"description"_s, AppShortcutCatalog::title(chord.id)}};
        if (const QString trigger = preferredTrigger(chord); !trigger.isEmpty())
            properties.insert(u"preferred_trigger"_s, trigger);
        shortcuts.append({id, properties});
        m_bound.emplace(id, chord);
    }
    request(u"BindShortcuts"_s,
            {QVariant::fromValue(QDBusObjectPath(m_session)), QVariant::fromValue(shortcuts),
             QString()},
            {}, SLOT(shortcutsBound(uint, QVariantMap)));
}

void PortalAgentHotKeyBackend::shortcutsBound(uint response, const QVariantMap& results)
{
    Q_UNUSED(results);
    if (response == 0)
        return;
    std::vector<Failure> failures;
    for (const auto& [id, chord] : m_bound)
        failures.push_back({chord, int(response)});
    closeSession();
    if (onLateFailure && !failures.empty())
        onLateFailure(failures);
}

void PortalAgentHotKeyBackend::closeSession()
{
    m_bound.clear();
    if (m_session.isEmpty())
        return;
    m_bus.send(QDBusMessage::createMethodCall(service, m_session, sessionInterface, u"Close"_s));
    m_session.clear();
}

void PortalAgentHotKeyBackend::unregisterAll()
{
    m_wanted.clear();
    closeSession();
}

void PortalAgentHotKeyBackend::activated(const QDBusMessage& message)
{
    const QVariantList arguments = message.arguments();
    if (arguments.size() < 2 || m_session.isEmpty())
        return;
    // Every session's shortcuts are announced to all; ours carry our session's handle.
    if (arguments.at(0).value<QDBusObjectPath>().path() != m_session)
        return;
    const auto found = m_bound.find(arguments.at(1).toString());
    if (found != m_bound.end() && onPressed)
        onPressed(AgentHotKey{found->second.keyCode, found->second.action});
}
