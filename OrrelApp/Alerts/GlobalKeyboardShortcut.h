#pragma once

#include "HerdrClient/Wire/JSONDecoding.h"

#include <QString>

#include <cstdint>

// A key combination a person chose. On X11 the key code is a keysym and the modifiers are the
// X modifier mask; the label is what the settings show for the key.
struct GlobalKeyboardShortcut {
    std::uint32_t keyCode = 0;
    std::uint32_t modifierRawValue = 0;
    QString keyLabel;

    // {"keyCode": ..., "modifierRawValue": ..., "keyLabel": ...}
    JSONValue asJSONValue() const;
    static Decoded<GlobalKeyboardShortcut> decode(const JSONValue& value);

    bool operator==(const GlobalKeyboardShortcut&) const = default;
};
