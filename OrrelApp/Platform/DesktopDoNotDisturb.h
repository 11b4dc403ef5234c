#pragma once

#include <QDBusConnection>

#include <optional>

class CommandRunning;

// Whether the desktop holds back notifications. Notification servers that can say so (KDE
// Plasma, dunst, swaync) have the `Inhibited` property; GNOME Shell has none, and keeps its
// switch in the `show-banners` setting. With neither, Do Not Disturb is off.
class DesktopDoNotDisturb {
public:
    DesktopDoNotDisturb(QDBusConnection bus, CommandRunning& commands);

    // Blocks for at most a short D-Bus round trip and a short `gsettings` run.
    bool isEnabled() const;

    // The server's `Inhibited`, absent without a server or without the property.
    std::optional<bool> notificationsInhibited() const;
    // GNOME's banners switched off; absent without gsettings or its schema.
    std::optional<bool> gnomeBannersHidden() const;

private:
    QDBusConnection m_bus;
    CommandRunning& m_commands;
};
