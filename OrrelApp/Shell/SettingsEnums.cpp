#include "OrrelApp/Shell/SettingsEnums.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace {

template <class E>
using Names = std::pair<E, const char*>;

template <class E, std::size_t N>
QString nameOf(const Names<E> (&names)[N], E value)
{
    const auto* found = std::find_if(std::begin(names), std::end(names),
                                     [&](const auto& n) { return n.first == value; });
    return QString::fromLatin1(found->second);
}

template <class E, std::size_t N>
std::optional<E> caseNamed(const Names<E> (&names)[N], const QString& text)
{
    for (const auto& [value, name] : names) {
        if (text == QLatin1String(name))
            return value;
    }
    return std::nullopt;
}

using HM = HotkeyModifier;
const Names<HM> hotkeyModifiers[] = {
    {HM::controlOption, "controlOption"},
    {HM::control, "control"},
    {HM::option, "option"},
    {HM::commandOption, "commandOption"},
    {HM::commandControl, "commandControl"},
    {HM::command, "command"},
    {HM::controlOptionShift, "controlOptionShift"},
};

using DP = DisplayPlacement;
const Names<DP> displayPlacements[] = {
    {DP::orrelDisplay, "orrelDisplay"},
    {DP::activeDisplay, "activeDisplay"},
    {DP::terminalDisplay, "ghosttyDisplay"},
};

using PT = PreferredTerminal;
const Names<PT> preferredTerminals[] = {
    {PT::automatic, "automatic"}, {PT::ghostty, "ghostty"},
    {PT::terminal, "terminal"},   {PT::iTerm2, "iTerm2"},
    {PT::kitty, "kitty"},         {PT::wezTerm, "wezTerm"},
    {PT::alacritty, "alacritty"}, {PT::warp, "warp"},
    {PT::custom, "custom"},       {PT::gnomeTerminal, "gnomeTerminal"},
    {PT::konsole, "konsole"},     {PT::foot, "foot"},
    {PT::xterm, "xterm"},         {PT::tilix, "tilix"},
    {PT::ptyxis, "ptyxis"},
};

using SS = ScreenSaveStyleID;
const Names<SS> screenSaveStyles[] = {
    {SS::classic, "classic"},
    {SS::aurora, "aurora"},
    {SS::currentWallpaper, "currentWallpaper"},
};

} // namespace

QString toString(HotkeyModifier modifier)
{
    return nameOf(hotkeyModifiers, modifier);
}

std::optional<HotkeyModifier> hotkeyModifierFromString(const QString& text)
{
    return caseNamed(hotkeyModifiers, text);
}

QString toString(DisplayPlacement placement)
{
    return nameOf(displayPlacements, placement);
}

std::optional<DisplayPlacement> displayPlacementFromString(const QString& text)
{
    return caseNamed(displayPlacements, text);
}

QString toString(PreferredTerminal terminal)
{
    return nameOf(preferredTerminals, terminal);
}

std::optional<PreferredTerminal> preferredTerminalFromString(const QString& text)
{
    return caseNamed(preferredTerminals, text);
}

QString toString(ScreenSaveStyleID style)
{
    return nameOf(screenSaveStyles, style);
}

std::optional<ScreenSaveStyleID> screenSaveStyleIDFromString(const QString& text)
{
    if (text == QLatin1String("current-wallpaper"))
        return ScreenSaveStyleID::currentWallpaper;
    return caseNamed(screenSaveStyles, text);
}
