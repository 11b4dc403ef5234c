#pragma once

#include "OrrelApp/Platform/ReduceMotionWatching.h"

#include <QDBusConnection>
#include <QFutureWatcher>
#include <QProcessEnvironment>

#include <optional>

class CommandRunning;
class QDBusMessage;
class QDBusPendingCallWatcher;

// The desktop's wish for less motion. `ORRELSENTRY_REDUCE_MOTION` set to 1 or 0 decides alone.
// Otherwise the settings portal answers for GNOME (`enable-animations`) and KDE (an animation
// factor of 0), and tells of later changes. Without the portal, KDE's own settings file or
// `gsettings` are read once. With nothing to go by, motion stays on.
//
// Motion counts as on until the first answer arrives; nothing here blocks the main thread.
class DesktopReduceMotion : public ReduceMotionWatching {
    Q_OBJECT

public:
    static constexpr auto overrideVariable = "ORRELSENTRY_REDUCE_MOTION";

    DesktopReduceMotion(QDBusConnection bus, CommandRunning& commands,
                        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment(),
                        QObject* parent = nullptr);
    ~DesktopReduceMotion() override;

    bool reduceMotion() const override { return m_reduce; }

private Q_SLOTS:
    // The whole message: a slot with typed parameters is matched by type names at run time and
    // silently never connects while QDBusVariant is not yet registered.
    void portalSettingChanged(const QDBusMessage& message);

private:
    enum class Source { gnome, kde };

    void readPortal(Source source);
    void portalAnswered(QDBusPendingCallWatcher* call, Source source);
    void readWithoutPortal();
    std::optional<bool> kdeGlobalsReduce() const;
    void setReduce(bool reduce);
    void update();

    QDBusConnection m_bus;
    CommandRunning& m_commands;
    QProcessEnvironment m_environment;
    std::optional<bool> m_gnomeReduces;
    std::optional<bool> m_kdeReduces;
    int m_portalReadsPending = 0;
    bool m_portalAnswered = false;
    QFutureWatcher<std::optional<bool>> m_gsettings;
    bool m_reduce = false;
};
