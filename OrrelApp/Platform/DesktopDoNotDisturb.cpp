#include "OrrelApp/Platform/DesktopDoNotDisturb.h"

#include "HerdrClient/Commands/CommandRunning.h"

#include <QDBusMessage>
#include <QDBusVariant>

using namespace Qt::StringLiterals;

namespace {
constexpr int busTimeoutMilliseconds = 500;
constexpr double gsettingsTimeoutSeconds = 1.0;
} // namespace

DesktopDoNotDisturb::DesktopDoNotDisturb(QDBusConnection bus, CommandRunning& commands)
    : m_bus(std::move(bus)), m_commands(commands)
{
}

bool DesktopDoNotDisturb::isEnabled() const
{
    if (const auto inhibited = notificationsInhibited())
        return *inhibited;
    return gnomeBannersHidden().value_or(false);
}

std::optional<bool> DesktopDoNotDisturb::notificationsInhibited() const
{
    if (!m_bus.isConnected())
        return std::nullopt;
    // A plain Get, not a QDBusInterface, which would introspect the server synchronously first.
    auto call = QDBusMessage::createMethodCall(u"org.freedesktop.Notifications"_s,
                                               u"/org/freedesktop/Notifications"_s,
                                               u"org.freedesktop.DBus.Properties"_s, u"Get"_s);
    call << u"org.freedesktop.Notifications"_s << u"Inhibited"_s;
    const auto reply = m_bus.call(call, QDBus::Block, busTimeoutMilliseconds);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return std::nullopt;
    const QVariant value = reply.arguments().constFirst().value<QDBusVariant>().variant();
    if (value.typeId() != QMetaType::Bool)
        return std::nullopt;
    return value.toBool();
}

std::optional<bool> DesktopDoNotDisturb::gnomeBannersHidden() const
{
    const auto result = m_commands.run(
        u"gsettings"_s, {u"get"_s, u"org.gnome.desktop.notifications"_s, u"show-banners"_s},
        gsettingsTimeoutSeconds);
    if (!result || result->status != 0)
        return std::nullopt;
    const QByteArray answer = result->standardOutput.trimmed();
    if (answer == "false")
        return true;
    if (answer == "true")
        return false;
    return std::nullopt;
}
