#pragma once

#include <QDBusConnection>
#include <QObject>

class QDBusServiceWatcher;

// Tells when a StatusNotifierItem host comes up or goes away on the session bus: Plasma's panel,
// or GNOME Shell with the AppIndicator extension. At login the tray often starts after the
// program, and an icon shown before it is never picked up.
class TrayHostWatcher : public QObject {
    Q_OBJECT

public:
    explicit TrayHostWatcher(QDBusConnection bus, QObject* parent = nullptr);

    static QString serviceName();

Q_SIGNALS:
    void hostAppeared();
    void hostVanished();

private:
    QDBusServiceWatcher* m_watcher;
};
