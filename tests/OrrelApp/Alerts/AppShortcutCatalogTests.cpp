#include "OrrelApp/Alerts/AppShortcutCatalog.h"
#include "OrrelApp/Shell/Settings.h"
#include "tests/support/MemorySettingsStore.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

using ID = AppShortcutID;
using Catalog = AppShortcutCatalog;
constexpr std::uint32_t ctrlAlt =
    GlobalKeyboardShortcut::controlMask | GlobalKeyboardShortcut::altMask;
const GlobalKeyboardShortcut ctrlAltQ{'q', ctrlAlt, u"Q"_s};

ShortcutOverrideRecord custom(const GlobalKeyboardShortcut& shortcut)
{
    return {false, shortcut};
}

TEST(AppShortcutCatalog, DefaultsTakeTheModifierOfTheSettings)
{
    const auto resolved = Catalog::resolve({}, HotkeyModifier::commandControl, std::nullopt);
    ASSERT_EQ(resolved.size(), Catalog::allCases().size());
    const auto& approve = resolved.at(ID::approve);
    ASSERT_TRUE(approve.shortcut);
    EXPECT_EQ(approve.shortcut->keyCode, std::uint32_t('y'));
    EXPECT_EQ(approve.shortcut->text(), u"Super+Ctrl+Y"_s);
    EXPECT_FALSE(approve.isCustom);
    EXPECT_EQ(resolved.at(ID::pick9).shortcut->keyLabel, u"9"_s);
    EXPECT_EQ(resolved.at(ID::sendRecommended).shortcut->keyLabel, u"↩"_s);
    // No two defaults share a chord, so nothing is left out with no overrides at all.
    for (const auto& [id, shortcut] : resolved)
        EXPECT_FALSE(shortcut.issue) << toString(id).toStdString();
    // The screen saver has no key until one is recorded, and then it has that one.
    EXPECT_FALSE(resolved.at(ID::screenSaver).shortcut);
    EXPECT_EQ(Catalog::resolve({}, HotkeyModifier::control, ctrlAltQ).at(ID::screenSaver).shortcut,
              ctrlAltQ);
}

TEST(AppShortcutCatalog, TheFirstCaseInOrderKeepsADuplicatedChord)
{
    // Overridden in the reverse of catalogue order: the order of the map must not matter.
    const Catalog::Overrides overrides{{u"pick2"_s, custom(ctrlAltQ)},
                                       {u"deny"_s, custom(ctrlAltQ)}};
    const auto resolved = Catalog::resolve(overrides, HotkeyModifier::controlOption, std::nullopt);
    EXPECT_EQ(resolved.at(ID::deny).shortcut, ctrlAltQ);
    EXPECT_TRUE(resolved.at(ID::deny).isCustom);
    EXPECT_FALSE(resolved.at(ID::pick2).shortcut);
    EXPECT_EQ(resolved.at(ID::pick2).issue,
              u"Pick answer 2 matches Deny, so this one is not registered."_s);

    // A custom chord equal to a later case's default takes it from that case.
    const GlobalKeyboardShortcut ctrlAltN{'n', ctrlAlt, u"N"_s};
    const auto taken = Catalog::resolve({{u"approve"_s, custom(ctrlAltN)}},
                                        HotkeyModifier::controlOption, std::nullopt);
    EXPECT_EQ(taken.at(ID::approve).shortcut, ctrlAltN);
    EXPECT_EQ(taken.at(ID::deny).issue, u"Deny matches Approve, so this one is not registered."_s);
}

TEST(AppShortcutCatalog, DisabledCasesFreeTheirChordAndEmptyRecordsCountAsNone)
{
    const GlobalKeyboardShortcut ctrlAltY{'y', ctrlAlt, u"Y"_s};
    const Catalog::Overrides overrides{{u"approve"_s, {true, std::nullopt}},
                                       {u"pick1"_s, custom(ctrlAltY)},
                                       {u"deny"_s, {false, std::nullopt}}};
    const auto resolved = Catalog::resolve(overrides, HotkeyModifier::controlOption, std::nullopt);
    EXPECT_TRUE(resolved.at(ID::approve).isDisabled);
    EXPECT_FALSE(resolved.at(ID::approve).shortcut);
    EXPECT_EQ(resolved.at(ID::pick1).shortcut, ctrlAltY);
    EXPECT_FALSE(resolved.at(ID::pick1).issue);
    EXPECT_EQ(resolved.at(ID::deny).shortcut->keyCode, std::uint32_t('n'));
    EXPECT_FALSE(resolved.at(ID::deny).isCustom);
    EXPECT_FALSE(resolved.at(ID::deny).isDisabled);
}

TEST(AppShortcutCatalog, SettingsStoreEachChangeAndHoldOnlyTheAgentChords)
{
    MemorySettingsStore store;
    Settings settings(store);
    const auto defaults = settings.agentHotKeyChords();
    ASSERT_EQ(defaults.size(), 16U);
    EXPECT_EQ(defaults.front().id, ID::sendRecommended);
    EXPECT_EQ(defaults.back().action, AgentHotKey::Action::picking(9));

    settings.assign(ID::approve, ctrlAltQ);
    settings.disable(ID::deny);
    settings.assign(ID::screenSaver, {'s', ctrlAlt, u"S"_s});
    // What another start of the program reads back.
    Settings reread(store);
    EXPECT_EQ(reread.shortcutLabel(ID::approve), u"Ctrl+Alt+Q"_s);
    EXPECT_TRUE(reread.binding(ID::deny).isDisabled);
    EXPECT_EQ(reread.shortcutLabel(ID::deny), QString());
    EXPECT_EQ(reread.screenSaverShortcut()->keyLabel, u"S"_s);
    const auto chords = reread.agentHotKeyChords();
    EXPECT_EQ(chords.size(), 15U);
    EXPECT_TRUE(std::ranges::none_of(chords, [](const auto& c) { return c.id == ID::deny; }));

    reread.resetShortcut(ID::deny);
    reread.resetShortcut(ID::screenSaver);
    EXPECT_EQ(Settings(store).agentHotKeyChords().size(), 16U);
    EXPECT_FALSE(Settings(store).screenSaverShortcut());
    EXPECT_FALSE(store.values.contains(u"screenSaverShortcut"_s));
}

} // namespace
