#include "OrrelApp/Platform/IniSettingsStore.h"
#include "OrrelApp/Shell/Settings.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QByteArray contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing)");
}

void put(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    ASSERT_EQ(file.write(bytes), bytes.size());
}

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

namespace {

// QDataStream in Qt 6.4 trusts the lengths inside a streamed value: these would ask for gigabytes
// or build types the settings never hold, before the program could refuse them.
TEST(IniSettingsStore, ValuesThatWouldDecodeForeignStreamsAreDroppedAndTheFileKept)
{
    const QByteArray keep = "[General]\nignoredSessionNames=a, b\nsetupCompleted=true\n";
    const QByteArray found[] = {
        // A date whose stream asks for a 3 GB string (found by the fuzzer, bytes and all).
        QByteArray::fromBase64(
            "bGFzdFVwZGF0ZUNoZWNrQXQ9QERhdGVUaW1lKFwwXDBcMFxbMTAIgTcAIGEAAFwwXDBcMFwwXDBc"
            "MCVceGY0XHg4MFx4MikK"),
        "lastUpdateCheckAt=@DateTime(\\0\\0\\0\\x10\\0\\0\\0\\0\\0\\0%"
        "\\x8c\\x9b\\x3\\xa4\\xf4\\x80\\x4\\xff\\xff\\xff\\xff)\n",
        "sessionName=@Variant(\\0\\0\\0\\n\\xff\\xff\\xff\\xfe)\n",
        "sessionName=\"x, @Variant(\\0\\0\\0\\x7f)\"\n",
        "sessionName=\\x40Variant(\\0)\n",
        "sessionName=\\100Variant(\\0)\n",
    };
    for (const QByteArray& line : found) {
        SCOPED_TRACE(line.toStdString());
        QTemporaryDir dir;
        const QString path = dir.filePath(u"orrelsentry.conf"_s);
        put(path, keep + line);
        IniSettingsStore store(path);
        Settings settings(store);
        EXPECT_EQ(store.keys(), (QStringList{u"ignoredSessionNames"_s, u"setupCompleted"_s}));
        EXPECT_EQ(settings.ignoredSessionNames(), (QStringList{u"a"_s, u"b"_s}));
        EXPECT_EQ(contents(path), keep);
        EXPECT_EQ(contents(path + u".damaged"_s), keep + line);
    }
}

TEST(IniSettingsStore, ItsOwnDatesStayAndAFileTooLargeIsSetAside)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(u"orrelsentry.conf"_s);
    // Local time, UTC and an offset from it: what the program's own writes can hold.
    for (const QDateTime& when :
         {QDateTime::fromSecsSinceEpoch(1'800'000'000),
          QDateTime::fromSecsSinceEpoch(1'800'000'000, Qt::UTC),
          QDateTime::fromSecsSinceEpoch(1'800'000'000, Qt::OffsetFromUTC, 3600)}) {
        QFile::remove(path);
        IniSettingsStore(path).setValue(u"lastUpdateCheckAt"_s, when);
        const QByteArray written = contents(path);
        const QString copy = dir.filePath(u"copy.conf"_s);
        QFile::remove(copy);
        ASSERT_TRUE(QFile::copy(path, copy));
        EXPECT_EQ(IniSettingsStore(copy).value(u"lastUpdateCheckAt"_s), QVariant(when));
        EXPECT_EQ(contents(copy), written);
        EXPECT_FALSE(QFile::exists(copy + u".damaged"_s));
    }

    const QByteArray huge = "[General]\nsessionName=" + QByteArray(2 * 1024 * 1024, 'x') + '\n';
    put(path, huge);
    EXPECT_TRUE(IniSettingsStore(path).keys().isEmpty());
    EXPECT_EQ(contents(path + u".damaged"_s), huge);
}

} // namespace
