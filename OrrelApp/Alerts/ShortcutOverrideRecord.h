#pragma once

#include "OrrelApp/Alerts/GlobalKeyboardShortcut.h"

#include <optional>

// The user's change to one shortcut: switched off, or moved to a combination of their own. A
// record that is neither leaves the default in place.
struct ShortcutOverrideRecord {
    bool disabled = false;
    std::optional<GlobalKeyboardShortcut> shortcut;

    // {"disabled": ..., "shortcut": ...}; the shortcut is left out when absent.
    JSONValue asJSONValue() const;
    static Decoded<ShortcutOverrideRecord> decode(const JSONValue& value);

    bool operator==(const ShortcutOverrideRecord&) const = default;
};
