#include "OrrelApp/Alerts/AppShortcutCatalog.h"

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace {

struct CaseRow {
    AppShortcutID id;
    QStringView name;
    QStringView title;
};

using ID = AppShortcutID;
constexpr std::array<CaseRow, 20> caseRows{{
    {ID::sendRecommended, u"sendRecommended", u"Send recommended"},
    {ID::previousStep, u"previousStep", u"Previous step"},
    {ID::nextStep, u"nextStep", u"Next step"},
    {ID::arrowDown, u"arrowDown", u"Move down"},
    {ID::arrowUp, u"arrowUp", u"Move up"},
    {ID::approve, u"approve", u"Approve"},
    {ID::deny, u"deny", u"Deny"},
    {ID::pick1, u"pick1", u"Pick answer 1"},
    {ID::pick2, u"pick2", u"Pick answer 2"},
    {ID::pick3, u"pick3", u"Pick answer 3"},
    {ID::pick4, u"pick4", u"Pick answer 4"},
    {ID::pick5, u"pick5", u"Pick answer 5"},
    {ID::pick6, u"pick6", u"Pick answer 6"},
    {ID::pick7, u"pick7", u"Pick answer 7"},
    {ID::pick8, u"pick8", u"Pick answer 8"},
    {ID::pick9, u"pick9", u"Pick answer 9"},
    {ID::previousAgent, u"previousAgent", u"Previous agent"},
    {ID::nextAgent, u"nextAgent", u"Next agent"},
    {ID::sendTask, u"sendTask", u"Send new task"},
    {ID::screenSaver, u"screenSaver", u"Screen saver"},
}};

const CaseRow& row(AppShortcutID id)
{
    return caseRows[std::size_t(id)];
}

// X keysyms of the default keys.
constexpr std::uint32_t keysymReturn = 0xff0d;

} // namespace

QString toString(AppShortcutID id)
{
    return row(id).name.toString();
}

std::optional<AppShortcutID> appShortcutIDFromString(const QString& text)
{
    for (const CaseRow& candidate : caseRows) {
        if (candidate.name == text)
            return candidate.id;
    }
    return std::nullopt;
}

const std::vector<AppShortcutID>& AppShortcutCatalog::allCases()
{
    static const std::vector<AppShortcutID> cases = [] {
        std::vector<AppShortcutID> all;
        for (const CaseRow& candidate : caseRows)
            all.push_back(candidate.id);
        return all;
    }();
    return cases;
}

bool AppShortcutCatalog::isAgentChord(AppShortcutID id)
{
    return int(id) <= int(AppShortcutID::pick9);
}

QString AppShortcutCatalog::title(AppShortcutID id)
{
    return row(id).title.toString();
}

std::optional<AppShortcutCatalog::DefaultKey> AppShortcutCatalog::defaultKey(AppShortcutID id)
{
    // Letters and punctuation are their own keysyms (lower case for letters). The step and
    // cursor keys stay off the arrows: window managers take Ctrl+Alt+arrows for workspaces.
    switch (id) {
    case ID::sendRecommended: return DefaultKey{keysymReturn, u"↩"_s};
    case ID::previousStep: return DefaultKey{',', u","_s};
    case ID::nextStep: return DefaultKey{'.', u"."_s};
    case ID::arrowDown: return DefaultKey{'j', u"J"_s};
    case ID::arrowUp: return DefaultKey{'k', u"K"_s};
    case ID::approve: return DefaultKey{'y', u"Y"_s};
    case ID::deny: return DefaultKey{'n', u"N"_s};
    case ID::previousAgent: return DefaultKey{'[', u"["_s};
    case ID::nextAgent: return DefaultKey{']', u"]"_s};
    case ID::sendTask: return DefaultKey{'t', u"T"_s};
    case ID::screenSaver: return std::nullopt;
    default: break;
    }
    const int pick = int(id) - int(ID::pick1) + 1;
    return DefaultKey{std::uint32_t('0' + pick), QString::number(pick)};
}

std::uint32_t AppShortcutCatalog::modifierMask(HotkeyModifier modifier)
{
    using M = GlobalKeyboardShortcut;
    switch (modifier) {
    case HotkeyModifier::controlOption: return M::controlMask | M::altMask;
    case HotkeyModifier::control: return M::controlMask;
    case HotkeyModifier::option: return M::altMask;
    case HotkeyModifier::commandOption: return M::superMask | M::altMask;
    case HotkeyModifier::commandControl: return M::superMask | M::controlMask;
    case HotkeyModifier::command: return M::superMask;
    case HotkeyModifier::controlOptionShift: return M::controlMask | M::altMask | M::shiftMask;
    }
    return M::controlMask | M::altMask;
}

std::map<AppShortcutID, ResolvedShortcut> AppShortcutCatalog::resolve(
    const Overrides& overrides, HotkeyModifier modifier,
    const std::optional<GlobalKeyboardShortcut>& screenSaver)
{
    std::map<AppShortcutID, ResolvedShortcut> result;
    std::map<ShortcutChord, AppShortcutID> firstUse;
    for (const AppShortcutID id : allCases()) {
        ResolvedShortcut resolved;
        const auto record = overrides.find(toString(id));
        if (record != overrides.end() && record->second.disabled) {
            resolved.isDisabled = true;
        } else if (record != overrides.end() && record->second.shortcut) {
            resolved.shortcut = record->second.shortcut;
            resolved.isCustom = true;
        } else if (id == ID::screenSaver) {
            resolved.shortcut = screenSaver;
        } else if (const auto key = defaultKey(id)) {
            resolved.shortcut =
                GlobalKeyboardShortcut{key->keyCode, modifierMask(modifier), key->label};
        }
        if (resolved.shortcut) {
            const auto [first, inserted] =
                firstUse.try_emplace(ShortcutChord::of(*resolved.shortcut), id);
            if (!inserted) {
                resolved.shortcut.reset();
                resolved.issue = title(id) + u" matches "_s + title(first->second)
                                 + u", so this one is not registered."_s;
            }
        }
        result.emplace(id, std::move(resolved));
    }
    return result;
}
