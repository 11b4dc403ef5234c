#pragma once

#include "OrrelApp/Alerts/GlobalKeyboardShortcut.h"
#include "OrrelApp/Alerts/ShortcutOverrideRecord.h"
#include "OrrelApp/Shell/SettingsEnums.h"

#include <QString>

#include <compare>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

// Every action that can have a key, in the catalogue's order. The raw value is the case's name.
// The first sixteen are the agent chords, held globally only while a card waits; the rest work
// inside the program, except the screen saver's, which has a registrar of its own.
enum class AppShortcutID {
    sendRecommended,
    previousStep,
    nextStep,
    arrowDown,
    arrowUp,
    approve,
    deny,
    pick1,
    pick2,
    pick3,
    pick4,
    pick5,
    pick6,
    pick7,
    pick8,
    pick9,
    previousAgent,
    nextAgent,
    sendTask,
    screenSaver,
};
QString toString(AppShortcutID id);
std::optional<AppShortcutID> appShortcutIDFromString(const QString& text);

// What duplicate detection compares; the label plays no part.
struct ShortcutChord {
    std::uint32_t keyCode = 0;
    std::uint32_t modifierRawValue = 0;

    static ShortcutChord of(const GlobalKeyboardShortcut& shortcut)
    {
        return {shortcut.keyCode, shortcut.modifierRawValue};
    }
    auto operator<=>(const ShortcutChord&) const = default;
};

// One action's key after the user's overrides: its shortcut, or why it has none.
struct ResolvedShortcut {
    std::optional<GlobalKeyboardShortcut> shortcut;
    std::optional<QString> issue;
    bool isCustom = false;
    bool isDisabled = false;

    bool operator==(const ResolvedShortcut&) const = default;
};

struct AppShortcutCatalog {
    using Overrides = std::map<QString, ShortcutOverrideRecord>;

    // A key a case has unless the user says otherwise: an X keysym and how the settings show it.
    struct DefaultKey {
        std::uint32_t keyCode = 0;
        QString label;
    };

    static const std::vector<AppShortcutID>& allCases();
    // The agent chords: the first sixteen cases.
    static bool isAgentChord(AppShortcutID id);
    static QString title(AppShortcutID id);
    // Absent for the screen saver, whose chord is recorded apart.
    static std::optional<DefaultKey> defaultKey(AppShortcutID id);
    // The X modifier mask of the settings' hot-key modifier.
    static std::uint32_t modifierMask(HotkeyModifier modifier);

    // Every case's shortcut, in catalogue order: a disabled record, a custom shortcut, or the
    // default key with `modifier` (the screen saver takes `screenSaver`). A chord already used
    // by an earlier case is left unregistered, with a sentence that names both.
    static std::map<AppShortcutID, ResolvedShortcut> resolve(
        const Overrides& overrides, HotkeyModifier modifier,
        const std::optional<GlobalKeyboardShortcut>& screenSaver);
};
