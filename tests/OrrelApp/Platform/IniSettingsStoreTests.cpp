#include "OrrelApp/Platform/IniSettingsStore.h"
#include "OrrelApp/Shell/Settings.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

TEST(IniSettingsStore, LivesUnderTheConfigurationHome)
{
    EXPECT_EQ(IniSettingsStore::defaultPath({{u"XDG_CONFIG_HOME"_s, u"/x/cfg"_s}}),
              u"/x/cfg/orrelsentry/orrelsentry.conf"_s);
    EXPECT_EQ(IniSettingsStore::defaultPath({{u"HOME"_s, u"/home/u"_s}}),
              u"/home/u/.config/orrelsentry/orrelsentry.conf"_s);
}

TEST(IniSettingsStore, TellsAbsentFromEmptyAndWritesAtOnce)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(u"sub/orrelsentry.conf"_s);
    IniSettingsStore store(path);
    EXPECT_EQ(store.value(u"sessionName"_s), std::nullopt);
    store.setValue(u"sessionName"_s, QString());
    store.setValue(u"blob"_s, QByteArray("\0\xff", 2));
    ASSERT_TRUE(store.value(u"sessionName"_s).has_value());
    EXPECT_EQ(store.value(u"sessionName"_s)->toString(), QString());
    EXPECT_EQ(store.keys(), (QStringList{u"blob"_s, u"sessionName"_s}));

    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << "a write reaches the disk without a sync";
    EXPECT_TRUE(file.readAll().contains("blob=@ByteArray("));
    store.remove(u"sessionName"_s);
    EXPECT_EQ(store.value(u"sessionName"_s), std::nullopt);
    EXPECT_EQ(store.status(), QSettings::NoError);
}

// The INI text loses the kinds of booleans and short lists; the settings must read back what
// they wrote. The file is copied so that the second store reads it from the disk, not from the
// cache QSettings keeps for a path in this process.
TEST(IniSettingsStore, SettingsSurviveTheFile)
{
    QTemporaryDir dir;
    const QString first = dir.filePath(u"a.conf"_s);
    const auto when = QDateTime::fromSecsSinceEpoch(1'800'000'000, Qt::UTC);
    const GlobalKeyboardShortcut shortcut{0x73, 0x0c, u"S"_s};
    {
        IniSettingsStore store(first);
        Settings s(store);
        s.setSocketPathOverride(u"/run/h, with comma.sock"_s);
        s.setSessionName(u"work"_s);
        s.setRemoteHosts({{u"box"_s, u"main"_s}, {u"other"_s, {}}});
        s.setSoundEnabled(false);
        s.setAutoExpandOnDone(true);
        s.setHotkeyModifier(HotkeyModifier::commandControl);
        s.setShortcutOverrides({{u"deny"_s, {true, {}}}, {u"pick2"_s, {false, shortcut}}});
        s.setDisplayPlacement(DisplayPlacement::terminalDisplay);
        s.setCompactIndicatorMode(CompactIndicatorMode::alwaysShow);
        s.setScreenSaverShortcut(shortcut);
        s.setScreenSaverExtraEnabled(false);
        s.setScreenSaveStyle(ScreenSaveStyleID::currentWallpaper);
        s.setIgnoredSessionNames({u"solo"_s});
        s.setLastUpdateCheckAt(when);
    }
    const QString second = dir.filePath(u"b.conf"_s);
    ASSERT_TRUE(QFile::copy(first, second));
    IniSettingsStore store(second);
    Settings s(store);
    EXPECT_EQ(s.socketPathOverride(), u"/run/h, with comma.sock"_s);
    EXPECT_EQ(s.sessionName(), u"work"_s);
    EXPECT_EQ(s.remoteHosts(),
              (std::vector<RemoteHostConfiguration>{{u"box"_s, u"main"_s}, {u"other"_s, {}}}));
    EXPECT_FALSE(s.soundEnabled());
    EXPECT_TRUE(s.autoExpandOnDone());
    EXPECT_EQ(s.hotkeyModifier(), HotkeyModifier::commandControl);
    EXPECT_EQ(
        s.shortcutOverrides(),
        (Settings::ShortcutOverrides{{u"deny"_s, {true, {}}}, {u"pick2"_s, {false, shortcut}}}));
    EXPECT_EQ(s.displayPlacement(), DisplayPlacement::terminalDisplay);
    EXPECT_EQ(s.compactIndicatorMode(), CompactIndicatorMode::alwaysShow);
    EXPECT_EQ(s.screenSaverShortcut(), shortcut);
    EXPECT_FALSE(s.screenSaverExtraEnabled());
    EXPECT_EQ(s.screenSaveStyle(), ScreenSaveStyleID::currentWallpaper);
    EXPECT_EQ(s.ignoredSessionNames(), QStringList{u"solo"_s});
    EXPECT_EQ(s.lastUpdateCheckAt(), when);
}

} // namespace
