#include "HerdrClient/Responding/TerminalPresenting.h"

using namespace Qt::StringLiterals;

// The first seven keep the ids and names people know from other desktops; their Linux builds
// (where one exists) are found by window class and desktop entry.
const TerminalProfile TerminalProfile::ghostty{u"ghostty"_s,
                                               u"Ghostty"_s,
                                               u"Ghostty"_s,
                                               {u"com.mitchellh.ghostty"_s},
                                               {u"com.mitchellh.ghostty"_s, u"ghostty"_s},
                                               {u"ghostty"_s}};
const TerminalProfile TerminalProfile::terminal{
    u"terminal"_s, u"Terminal"_s, u"Terminal"_s, {}, {}, {u"x-terminal-emulator"_s}};
const TerminalProfile TerminalProfile::iTerm2{u"iterm2"_s, u"iTerm2"_s, u"iTerm"_s, {}, {}, {}};
const TerminalProfile TerminalProfile::kitty{u"kitty"_s,   u"kitty"_s,   u"kitty"_s,
                                             {u"kitty"_s}, {u"kitty"_s}, {u"kitty"_s}};
const TerminalProfile TerminalProfile::wezTerm{u"wezterm"_s,
                                               u"WezTerm"_s,
                                               u"WezTerm"_s,
                                               {u"org.wezfurlong.wezterm"_s},
                                               {u"org.wezfurlong.wezterm"_s},
                                               {u"wezterm"_s}};
const TerminalProfile TerminalProfile::alacritty{u"alacritty"_s,   u"Alacritty"_s,
                                                 u"Alacritty"_s,   {u"Alacritty"_s},
                                                 {u"Alacritty"_s}, {u"alacritty"_s}};
const TerminalProfile TerminalProfile::warp{
    u"warp"_s,           u"Warp"_s, u"Warp"_s, {u"dev.warp.Warp"_s}, {u"dev.warp.Warp"_s},
    {u"warp-terminal"_s}};
const TerminalProfile TerminalProfile::gnomeTerminal{
    u"gnome-terminal"_s,
    u"GNOME Terminal"_s,
    u"Terminal"_s,
    {u"org.gnome.Terminal"_s},
    {u"gnome-terminal-server"_s, u"Gnome-terminal"_s},
    {u"gnome-terminal"_s}};
const TerminalProfile TerminalProfile::konsole{u"konsole"_s,   u"Konsole"_s,
                                               u"Konsole"_s,   {u"org.kde.konsole"_s},
                                               {u"konsole"_s}, {u"konsole"_s}};
const TerminalProfile TerminalProfile::foot{u"foot"_s,   u"foot"_s,   u"foot"_s,
                                            {u"foot"_s}, {u"foot"_s}, {u"foot"_s}};
const TerminalProfile TerminalProfile::xterm{u"xterm"_s,   u"XTerm"_s,
                                             u"xterm"_s,   {u"debian-xterm"_s, u"xterm"_s},
                                             {u"XTerm"_s}, {u"xterm"_s}};
const TerminalProfile TerminalProfile::tilix{
    u"tilix"_s,  u"Tilix"_s, u"Tilix"_s, {u"com.gexperts.Tilix"_s}, {u"tilix"_s, u"Tilix"_s},
    {u"tilix"_s}};
const TerminalProfile TerminalProfile::ptyxis{
    u"ptyxis"_s,  u"Ptyxis"_s, u"Ptyxis"_s, {u"org.gnome.Ptyxis"_s}, {u"org.gnome.Ptyxis"_s},
    {u"ptyxis"_s}};

const std::vector<TerminalProfile>& TerminalProfile::supported()
{
    static const std::vector<TerminalProfile> profiles{
        ghostty,       terminal, iTerm2, kitty, wezTerm, alacritty, warp,
        gnomeTerminal, konsole,  foot,   xterm, tilix,   ptyxis};
    return profiles;
}

std::optional<TerminalProfile> TerminalProfile::withID(const QString& id)
{
    for (const auto& profile : supported()) {
        if (profile.id == id)
            return profile;
    }
    return std::nullopt;
}

QString jumpFailureMessage(const TerminalPresentationFailure& failure)
{
    switch (failure.kind) {
    case TerminalPresentationFailure::Kind::ambiguous:
        return u"Agent focused in Herdr, but multiple terminals are running ("_s
               + failure.appNames.join(u", "_s) + u"). Choose one in Settings."_s;
    case TerminalPresentationFailure::Kind::applicationUnavailable:
        return u"Agent focused in Herdr, but "_s + failure.appName
               + u" could not be opened. Check the terminal setting."_s;
    case TerminalPresentationFailure::Kind::noSupportedTerminalRunning: break;
    }
    return u"Agent focused in Herdr, but no supported terminal is running. Choose a terminal in Settings."_s;
}
