// The shortcut operations of the settings: the catalogue resolved against the stored overrides.
#include "OrrelApp/Shell/Settings.h"

std::map<AppShortcutID, ResolvedShortcut> Settings::resolvedShortcuts() const
{
    return AppShortcutCatalog::resolve(m_shortcutOverrides, m_hotkeyModifier,
                                       m_screenSaverShortcut);
}

ResolvedShortcut Settings::binding(AppShortcutID id) const
{
    return resolvedShortcuts().at(id);
}

std::vector<AgentHotKeyChord> Settings::agentHotKeyChords() const
{
    std::vector<AgentHotKeyChord> chords;
    for (const auto& [id, resolved] : resolvedShortcuts()) {
        const auto action = AgentHotKey::Action::forShortcut(id);
        if (!action || !resolved.shortcut)
            continue;
        chords.push_back(
            {id, resolved.shortcut->keyCode, resolved.shortcut->modifierRawValue, *action});
    }
    return chords;
}

void Settings::assign(AppShortcutID id, const GlobalKeyboardShortcut& shortcut)
{
    if (id == AppShortcutID::screenSaver) {
        setScreenSaverShortcut(shortcut);
        return;
    }
    auto overrides = m_shortcutOverrides;
    overrides[toString(id)] = ShortcutOverrideRecord{false, shortcut};
    setShortcutOverrides(overrides);
}

void Settings::disable(AppShortcutID id)
{
    if (id == AppShortcutID::screenSaver) {
        setScreenSaverShortcut(std::nullopt);
        return;
    }
    auto overrides = m_shortcutOverrides;
    overrides[toString(id)] = ShortcutOverrideRecord{true, std::nullopt};
    setShortcutOverrides(overrides);
}

void Settings::resetShortcut(AppShortcutID id)
{
    if (id == AppShortcutID::screenSaver) {
        setScreenSaverShortcut(std::nullopt);
        return;
    }
    auto overrides = m_shortcutOverrides;
    overrides.erase(toString(id));
    setShortcutOverrides(overrides);
}

QString Settings::shortcutLabel(AppShortcutID id) const
{
    const ResolvedShortcut resolved = binding(id);
    return resolved.shortcut ? resolved.shortcut->text() : QString();
}
