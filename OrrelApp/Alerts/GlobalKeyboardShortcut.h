#pragma once

#include "HerdrClient/Wire/JSONDecoding.h"

#include <QString>

#include <cstdint>

// A key combination a person chose. On X11 the key code is a keysym and the modifiers are the
// X modifier mask; the label is what the settings show for the key.
struct GlobalKeyboardShortcut {
    // The X core modifier masks a shortcut's modifiers are stored in.
    static constexpr std::uint32_t shiftMask = 1;
    static constexpr std::uint32_t controlMask = 4;
    static constexpr std::uint32_t altMask = 8;
    static constexpr std::uint32_t superMask = 64;

    std::uint32_t keyCode = 0;
    std::uint32_t modifierRawValue = 0;
    QString keyLabel;

    // The modifiers as this desktop writes them before a key: "Ctrl+Alt+".
    static QString symbols(std::uint32_t flags);
    // The whole chord as the settings show it: "Ctrl+Alt+Y".
    QString text() const { return symbols(modifierRawValue) + keyLabel; }

    // {"keyCode": ..., "modifierRawValue": ..., "keyLabel": ...}
    JSONValue asJSONValue() const;
    static Decoded<GlobalKeyboardShortcut> decode(const JSONValue& value);

    bool operator==(const GlobalKeyboardShortcut&) const = default;
};
