#pragma once

#include "OrrelApp/Platform/AgentHotKeyRegistering.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QObject>

#include <map>

// Agent hot keys where there is no X server: the desktop's GlobalShortcuts portal. The portal
// binds shortcuts to a session of ours and picks the actual keys itself (the chords go as
// preferred triggers); closing the session lets them go. It answers later, so a refusal comes
// through `onLateFailure`. Without the portal the backend is unavailable, and it looks again
// whenever the portal's service appears.
class PortalAgentHotKeyBackend final : public QObject, public AgentHotKeyRegistering {
    Q_OBJECT

public:
    static inline const QString service = QStringLiteral("org.freedesktop.portal.Desktop");
    static inline const QString path = QStringLiteral("/org/freedesktop/portal/desktop");
    static inline const QString interface =
        QStringLiteral("org.freedesktop.portal.GlobalShortcuts");

    explicit PortalAgentHotKeyBackend(QDBusConnection bus, QObject* parent = nullptr);
    ~PortalAgentHotKeyBackend() override;

    std::optional<QString> unavailableReason() const override;
    std::vector<Failure> registerChords(const std::vector<AgentHotKeyChord>& chords) override;
    void unregisterAll() override;

    // The trigger in the portal's own notation, "CTRL+ALT+y"; empty for a keysym
    // without a name here, which leaves the choice to the desktop.
    static QString preferredTrigger(const AgentHotKeyChord& chord);

private Q_SLOTS:
    void sessionCreated(uint response, const QVariantMap& results);
    void shortcutsBound(uint response, const QVariantMap& results);
    void activated(const QDBusMessage& message);

private:
    void probe();
    void setAvailable(bool available);
    // Asks the portal for `method` with a request of our own and routes its answer to `slot`.
    bool request(const QString& method, QVariantList arguments, QVariantMap options,
                 const char* slot);
    void bind();
    void closeSession();

    QDBusConnection m_bus;
    QDBusServiceWatcher m_watcher;
    bool m_available = false;
    QString m_session;
    bool m_creating = false;
    std::vector<AgentHotKeyChord> m_wanted;
    std::map<QString, AgentHotKeyChord> m_bound;
    QString m_pendingRequest;
    int m_tokens = 0;
};
