#pragma once

#include <QString>

#include <optional>

// The choices of the settings that are stored as strings. Each case is stored under its own
// name, except where its `toString` says otherwise; an unknown stored string has no case, and the
// setting falls back to its default.

// The modifiers of the agent hot keys (control, alt as "option", super as "command", shift).
enum class HotkeyModifier {
    controlOption,
    control,
    option,
    commandOption,
    commandControl,
    command,
    controlOptionShift,
};
QString toString(HotkeyModifier modifier);
std::optional<HotkeyModifier> hotkeyModifierFromString(const QString& text);

// The display the panel stands on.
enum class DisplayPlacement { orrelDisplay, activeDisplay, terminalDisplay };
// terminalDisplay is stored as "ghosttyDisplay", the value existing preferences hold.
QString toString(DisplayPlacement placement);
std::optional<DisplayPlacement> displayPlacementFromString(const QString& text);

// The terminal a jump brings forward: found automatically, one of the known profiles, or the
// user's own.
enum class PreferredTerminal {
    automatic,
    ghostty,
    terminal,
    iTerm2,
    kitty,
    wezTerm,
    alacritty,
    warp,
    custom,
    gnomeTerminal,
    konsole,
    foot,
    xterm,
    tilix,
    ptyxis,
};
QString toString(PreferredTerminal terminal);
std::optional<PreferredTerminal> preferredTerminalFromString(const QString& text);

// The look of the screen saver's dashboard.
enum class ScreenSaveStyleID { classic, aurora, currentWallpaper };
QString toString(ScreenSaveStyleID style);
// Also reads "current-wallpaper", the spelling some stored settings hold.
std::optional<ScreenSaveStyleID> screenSaveStyleIDFromString(const QString& text);
