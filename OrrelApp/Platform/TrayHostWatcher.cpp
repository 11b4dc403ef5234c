#include "OrrelApp/Platform/TrayHostWatcher.h"

#include <QDBusServiceWatcher>

TrayHostWatcher::TrayHostWatcher(QDBusConnection bus, QObject* parent)
    : QObject(parent),
      m_watcher(new QDBusServiceWatcher(serviceName(), std::move(bus),
                                        QDBusServiceWatcher::WatchForRegistration
                                            | QDBusServiceWatcher::WatchForUnregistration,
                                        this))
{
    connect(m_watcher, &QDBusServiceWatcher::serviceRegistered, this,
            &TrayHostWatcher::hostAppeared);
    connect(m_watcher, &QDBusServiceWatcher::serviceUnregistered, this,
            &TrayHostWatcher::hostVanished);
}

QString TrayHostWatcher::serviceName()
{
    return QStringLiteral("org.kde.StatusNotifierWatcher");
}
