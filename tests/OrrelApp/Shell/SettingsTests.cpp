#include "OrrelApp/Shell/Settings.h"

#include "HerdrClient/Wire/SocketPath.h"
#include "tests/support/MemorySettingsStore.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>

using namespace Qt::StringLiterals;

namespace {

using MemoryStore = MemorySettingsStore;

const GlobalKeyboardShortcut shortcutS{39, 0x0c, u"S"_s};

TEST(Settings, AnEmptyStoreGivesTheDefaultsThatAreOn)
{
    MemoryStore store;
    Settings s(store);
    EXPECT_TRUE(s.soundEnabled());
    EXPECT_TRUE(s.respectDND());
    EXPECT_TRUE(s.notificationsEnabled());
    EXPECT_TRUE(s.agentGlobalHotkeysEnabled());
    EXPECT_EQ(s.screenSaveStyle(), ScreenSaveStyleID::classic);
    EXPECT_TRUE(s.automaticUpdateChecks());
    EXPECT_FALSE(s.screenSaverExtraEnabled()) << "only a recorded shortcut turns it on";
    EXPECT_TRUE(store.values.empty()) << "reading must not write";
}

TEST(Settings, StoredValuesAreReadTolerantly)
{
    struct Case {
        const char* name;
        QString key;
        QVariant stored;
        std::function<bool(const Settings&)> holds;
    };
    const QByteArray overridesJSON =
        R"({"deny":{"disabled":true},"pick1":{"disabled":false,"shortcut":{"keyCode":49,"keyLabel":"1","modifierRawValue":4}}})";
    const Case cases[] = {
        {"a boolean as INI text", u"soundEnabled"_s, u"false"_s,
         [](auto& s) { return !s.soundEnabled(); }},
        {"a number is not a boolean", u"soundEnabled"_s, 0,
         [](auto& s) { return s.soundEnabled(); }},
        {"only true and false are booleans", u"launchAtLogin"_s, u"yes"_s,
         [](auto& s) { return !s.launchAtLogin(); }},
        {"a number is not a string", u"sessionName"_s, 42,
         [](auto& s) { return !s.sessionName(); }},
        {"data is not a string", u"soundPack"_s, QByteArray("x"),
         [](auto& s) { return s.soundPack() == u"default"_s; }},
        {"an unknown modifier", u"hotkeyModifier"_s, u"hyper"_s,
         [](auto& s) { return s.hotkeyModifier() == HotkeyModifier::controlOption; }},
        {"the terminal display's stored name", u"displayPlacement"_s, u"ghosttyDisplay"_s,
         [](auto& s) { return s.displayPlacement() == DisplayPlacement::terminalDisplay; }},
        {"the terminal display's case name is not stored", u"displayPlacement"_s,
         u"terminalDisplay"_s,
         [](auto& s) { return s.displayPlacement() == DisplayPlacement::orrelDisplay; }},
        {"a Linux terminal", u"preferredTerminal"_s, u"konsole"_s,
         [](auto& s) { return s.preferredTerminal() == PreferredTerminal::konsole; }},
        {"both spellings of the wallpaper style", u"screenSaveStyle"_s, u"current-wallpaper"_s,
         [](auto& s) { return s.screenSaveStyle() == ScreenSaveStyleID::currentWallpaper; }},
        {"an unknown indicator mode", u"compactIndicatorMode"_s, u"never"_s,
         [](auto& s) { return s.compactIndicatorMode() == CompactIndicatorMode::revealOnHover; }},
        {"a list of one as INI text", u"ignoredSessionNames"_s, u"scratch"_s,
         [](auto& s) { return s.ignoredSessionNames() == QStringList{u"scratch"_s}; }},
        {"an empty list as INI text", u"ignoredSessionNames"_s, QVariant(),
         [](auto& s) { return s.ignoredSessionNames().isEmpty(); }},
        {"remote hosts as data", u"remoteHosts"_s,
         QByteArray(R"([{"target":"box"},{"sessionName":"w","target":"b"}])"),
         [](auto& s) {
             return s.remoteHosts()
                    == std::vector<RemoteHostConfiguration>{{u"box"_s, {}}, {u"b"_s, u"w"_s}};
         }},
        {"remote hosts only as data", u"remoteHosts"_s, uR"([{"target":"box"}])"_s,
         [](auto& s) { return s.remoteHosts().empty(); }},
        {"a remote host without a target", u"remoteHosts"_s, QByteArray(R"([{}])"),
         [](auto& s) { return s.remoteHosts().empty(); }},
        {"overrides as data", u"appShortcutOverrides"_s, overridesJSON,
         [](auto& s) {
             return s.shortcutOverrides().size() == 2
                    && s.shortcutOverrides().at(u"deny"_s).disabled
                    && s.shortcutOverrides().at(u"pick1"_s).shortcut
                           == GlobalKeyboardShortcut{49, 4, u"1"_s};
         }},
        {"overrides as a string", u"appShortcutOverrides"_s, QString::fromUtf8(overridesJSON),
         [](auto& s) { return s.shortcutOverrides().size() == 2; }},
        {"a shortcut without an extra switch", u"screenSaverShortcut"_s,
         QByteArray(R"({"keyCode":39,"keyLabel":"S","modifierRawValue":12})"),
         [](auto& s) {
             return s.screenSaverShortcut() == shortcutS && s.screenSaverExtraEnabled();
         }},
        {"a shortcut of another shape", u"screenSaverShortcut"_s, QByteArray("{}"),
         [](auto& s) { return !s.screenSaverShortcut(); }},
        {"a date of another type", u"lastUpdateCheckAt"_s, u"2026-01-01"_s,
         [](auto& s) { return !s.lastUpdateCheckAt(); }},
    };
    for (const auto& c : cases) {
        MemoryStore store;
        store.values[c.key] = c.stored;
        Settings s(store);
        EXPECT_TRUE(c.holds(s)) << c.name;
    }
}

TEST(Settings, CorruptJSONReadsAsDefaultAndStaysUntilTheFieldIsWritten)
{
    const QByteArray corrupt = "{\"target\": ";
    MemoryStore store;
    for (const auto* key : {"remoteHosts", "appShortcutOverrides", "screenSaverShortcut"})
        store.values[QString::fromLatin1(key)] = corrupt;
    Settings s(store);
    EXPECT_TRUE(s.remoteHosts().empty());
    EXPECT_TRUE(s.screenSaverExtraEnabled()) << "the key still holds data";

    s.setSoundEnabled(false);
    s.setRemoteHosts({{u"box"_s, {}}});
    EXPECT_EQ(store.values[u"remoteHosts"_s], QByteArray(R"([{"target":"box"}])"));
    EXPECT_EQ(store.values[u"appShortcutOverrides"_s], corrupt);
    EXPECT_EQ(store.values[u"screenSaverShortcut"_s], corrupt);
    s.setScreenSaverShortcut(std::nullopt);
    EXPECT_FALSE(store.values.contains(u"screenSaverShortcut"_s));
}

TEST(Settings, SettersStoreAtOnceAndNotifyOnlyOnChange)
{
    struct Case {
        const char* key;
        std::function<void(Settings&, bool)> set; // false: the default, true: another value
        void (Settings::*changed)();
    };
    const Case cases[] = {
        {"soundEnabled", [](Settings& s, bool v) { s.setSoundEnabled(!v); },
         &Settings::soundEnabledChanged},
        {"displayPlacement",
         [](Settings& s, bool v) {
             s.setDisplayPlacement(v ? DisplayPlacement::terminalDisplay
                                     : DisplayPlacement::orrelDisplay);
         },
         &Settings::displayPlacementChanged},
        {"appShortcutOverrides",
         [](Settings& s, bool v) {
             s.setShortcutOverrides(v ? Settings::ShortcutOverrides{{u"deny"_s, {true, {}}}}
                                      : Settings::ShortcutOverrides{});
         },
         &Settings::shortcutOverridesChanged},
        {"ignoredSessionNames",
         [](Settings& s, bool v) {
             s.setIgnoredSessionNames(v ? QStringList{u"a"_s, u"b"_s} : QStringList{});
         },
         &Settings::ignoredSessionNamesChanged},
        {"lastUpdateCheckAt",
         [](Settings& s, bool v) {
             s.setLastUpdateCheckAt(v ? std::optional(QDateTime::fromSecsSinceEpoch(5))
                                      : std::nullopt);
         },
         &Settings::lastUpdateCheckAtChanged},
    };
    for (const auto& c : cases) {
        MemoryStore store;
        Settings s(store);
        int notifications = 0;
        QObject::connect(&s, c.changed, [&] { ++notifications; });
        c.set(s, false);
        EXPECT_EQ(notifications, 0) << c.key;
        c.set(s, true);
        c.set(s, true);
        EXPECT_EQ(notifications, 1) << c.key;
        ASSERT_TRUE(store.values.contains(QString::fromLatin1(c.key))) << c.key;
        Settings reread(store);
        int rereadNotifications = 0;
        QObject::connect(&reread, c.changed, [&] { ++rereadNotifications; });
        c.set(reread, true);
        EXPECT_EQ(rereadNotifications, 0) << c.key << " was not read back as written";
    }
}

TEST(Settings, AbsentOptionalsRemoveTheirKeys)
{
    MemoryStore store;
    Settings s(store);
    s.setSessionName(u"work"_s);
    s.setSkippedUpdateVersion(u"1.2"_s);
    s.setSocketPathOverride(u"/tmp/h.sock"_s);
    EXPECT_EQ(store.values.size(), 3u);
    s.setSessionName(std::nullopt);
    s.setSkippedUpdateVersion(std::nullopt);
    s.setSocketPathOverride(std::nullopt);
    EXPECT_TRUE(store.values.empty());
}

TEST(Settings, ResolvedSessionPinsAGivenPathOrName)
{
    struct Case {
        std::optional<QString> path;
        std::optional<QString> name;
        std::optional<std::pair<QString, QString>> expected; // name, socket path
    };
    const QString defaultPath = SocketPath::defaultPath();
    const Case cases[] = {
        {{}, {}, {}},
        {u""_s, u""_s, {}},
        {u"/tmp/a.sock"_s, {}, {{u"custom"_s, u"/tmp/a.sock"_s}}},
        {u"/tmp/a.sock"_s, u""_s, {{u"custom"_s, u"/tmp/a.sock"_s}}},
        {u"/tmp/a.sock"_s, u"work"_s, {{u"work"_s, u"/tmp/a.sock"_s}}},
        {defaultPath, {}, {{u"default"_s, defaultPath}}},
        {u""_s, u"work"_s, {{u"work"_s, SocketPath::forSession(u"work"_s)}}},
        {{}, u"default"_s, {{u"default"_s, defaultPath}}},
    };
    for (const auto& c : cases) {
        MemoryStore store;
        Settings s(store);
        s.setSocketPathOverride(c.path);
        s.setSessionName(c.name);
        const auto session = s.resolvedSession();
        const auto label = c.path.value_or(u"-"_s) + u' ' + c.name.value_or(u"-"_s);
        ASSERT_EQ(session.has_value(), c.expected.has_value()) << label.toStdString();
        if (!session)
            continue;
        const auto& [name, path] = *c.expected;
        EXPECT_EQ(session->descriptor.id(), u"local:"_s + name) << label.toStdString();
        EXPECT_EQ(session->descriptor.isDefault, name == u"default"_s) << label.toStdString();
        EXPECT_TRUE(session->descriptor.isRunning);
        EXPECT_EQ(session->descriptor.serverSocketPath, path);
        EXPECT_EQ(session->endpoint, HerdrEndpoint::unixSocket(path)) << label.toStdString();
    }
}

TEST(Settings, TerminalSelectionFollowsThePreference)
{
    MemoryStore store;
    Settings s(store);
    const auto selection = s.terminalSelection();
    const auto* automatic = std::get_if<TerminalActivator::Automatic>(&selection);
    ASSERT_TRUE(automatic);
    EXPECT_EQ(automatic->profiles, TerminalProfile::supported());

    s.setPreferredTerminal(PreferredTerminal::foot);
    EXPECT_EQ(std::get<TerminalActivator::Preferred>(s.terminalSelection()).profile,
              TerminalProfile::foot);

    s.setPreferredTerminal(PreferredTerminal::custom);
    auto custom = std::get<TerminalActivator::Preferred>(s.terminalSelection()).profile;
    EXPECT_EQ(custom.id, u"custom"_s);
    EXPECT_EQ(custom.displayName, u"Custom terminal"_s);
    EXPECT_TRUE(custom.desktopIDs.isEmpty());
    s.setCustomTerminalAppName(u"Rio"_s);
    s.setCustomTerminalBundleID(u"com.raphamorim.rio"_s);
    custom = std::get<TerminalActivator::Preferred>(s.terminalSelection()).profile;
    EXPECT_EQ(custom.displayName, u"Rio"_s);
    EXPECT_EQ(custom.desktopIDs, QStringList{u"com.raphamorim.rio"_s});
    EXPECT_EQ(custom.windowClasses, QStringList{u"com.raphamorim.rio"_s});
    EXPECT_EQ(s.terminalProfiles().back(), custom);
}

} // namespace
