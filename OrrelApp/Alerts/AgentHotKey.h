#pragma once

#include "OrrelApp/Alerts/AppShortcutCatalog.h"

#include <QString>

#include <cstdint>
#include <optional>

// A global key that answers the waiting card, and what it does.
struct AgentHotKey {
    struct Action {
        enum class Kind {
            pick,
            sendRecommended,
            previousStep,
            nextStep,
            arrowUp,
            arrowDown,
            approve,
            deny
        };

        Kind kind = Kind::sendRecommended;
        // For `pick`: the answer's number as the card shows it, 1 to 9.
        int pick = 0;

        static Action picking(int number) { return {Kind::pick, number}; }
        // The action of an agent chord; absent for the other cases of the catalogue.
        static std::optional<Action> forShortcut(AppShortcutID id);
        // The name messages use: "approve", "pick3".
        QString name() const;

        bool operator==(const Action&) const = default;
    };

    std::uint32_t keyCode = 0;
    Action action;

    bool operator==(const AgentHotKey&) const = default;
};

// One agent chord to hold: which catalogue case, its key and modifiers, and its action.
struct AgentHotKeyChord {
    AppShortcutID id = AppShortcutID::sendRecommended;
    std::uint32_t keyCode = 0;
    std::uint32_t modifiers = 0;
    AgentHotKey::Action action;

    bool operator==(const AgentHotKeyChord&) const = default;
};

// Whether the agent chords are held, and if not, why not.
struct AgentHotKeyState {
    // `unavailable`: the desktop offers global keys in no way this program can use.
    enum class Kind { conflict, disabled, idle, active, unavailable };

    Kind kind = Kind::idle;
    // The sentence of a conflict or of an unavailable desktop.
    QString message;

    static AgentHotKeyState conflict(QString message)
    {
        return {Kind::conflict, std::move(message)};
    }
    static AgentHotKeyState disabled() { return {Kind::disabled, {}}; }
    static AgentHotKeyState idle() { return {Kind::idle, {}}; }
    static AgentHotKeyState active() { return {Kind::active, {}}; }
    static AgentHotKeyState unavailable(QString message)
    {
        return {Kind::unavailable, std::move(message)};
    }

    // What the settings say under the switch, where the state has a word of its own.
    std::optional<QString> explanation() const;

    bool operator==(const AgentHotKeyState&) const = default;
};

// "conflict", "disabled", "idle", "active", "unavailable".
QString toString(AgentHotKeyState::Kind kind);
