#pragma once

#include "OrrelApp/Alerts/AgentHotKey.h"
#include "OrrelApp/Platform/AgentHotKeyRegistering.h"

#include <QObject>

#include <functional>
#include <optional>
#include <vector>

class Settings;

// Decides which agent chords the desktop should hold: the settings' chords while a card waits,
// none at any other time, so that they take no keys from other programs. A set the desktop
// refused is not tried again until the wanted set changes, and while it stands nothing is held.
//
// Main thread only. The settings and the backend must outlive it; `stop()` before either goes.
class AgentHotKeys : public QObject {
    Q_OBJECT

public:
    using Action = AgentHotKey::Action;

    AgentHotKeys(Settings& settings, AgentHotKeyRegistering& backend,
                 std::function<bool()> cardWaiting, std::function<void(Action)> perform,
                 QObject* parent = nullptr);
    ~AgentHotKeys() override;

    const AgentHotKeyState& state() const { return m_state; }
    const std::optional<std::vector<AgentHotKeyChord>>& registeredChords() const
    {
        return m_registeredChords;
    }
    const std::optional<std::vector<AgentHotKeyChord>>& attemptedChords() const
    {
        return m_attemptedChords;
    }

    // Brings the held chords in line with the settings and the waiting card. Call it whenever
    // either changes; an unchanged wish changes nothing.
    void refresh();
    // Lets every chord go for good; later refreshes do nothing.
    void stop();
    // Whether the chord of "send recommended" can be held here, for the settings page: 0 when
    // it could, the desktop's status when it was refused, absent with the shortcuts off or
    // nothing to try. The chords held before are held again afterwards.
    std::optional<int> probeSendRecommended();

    // "The desktop could not register this shortcut (error 10). Choose another combination."
    static QString refusalSentence(int status);

Q_SIGNALS:
    void stateChanged();

private:
    void release();
    void setState(AgentHotKeyState state);
    void refuse(const std::vector<AgentHotKeyRegistering::Failure>& failures);
    void pressed(const AgentHotKey& key);

    AgentHotKeyState m_state;
    Settings& m_settings;
    AgentHotKeyRegistering& m_backend;
    std::function<bool()> m_cardWaiting;
    std::function<void(Action)> m_perform;
    std::optional<std::vector<AgentHotKeyChord>> m_registeredChords;
    std::optional<std::vector<AgentHotKeyChord>> m_attemptedChords;
    bool m_stopped = false;
};
