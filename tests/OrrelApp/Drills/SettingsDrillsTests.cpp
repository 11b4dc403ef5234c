// The settings file, shortcut overrides among its keys, written while the disk is full (a
// file-size limit, which binds root too): the file on disk keeps every byte it had, the changes
// stay in force, and they all reach the file with the next write after there is room again.
#include "OrrelApp/Platform/IniSettingsStore.h"
#include "OrrelApp/Shell/Settings.h"
#include "tests/support/FileSizeLimit.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QByteArray contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

TEST(SettingsDrills, SettingsChangedWhileTheDiskIsFullAreWrittenOnceThereIsRoom)
{
    QTemporaryDir home;
    const QString folder = home.filePath(u"orrelsentry"_s);
    const QString path = folder + u"/orrelsentry.conf"_s;
    const Settings::ShortcutOverrides overrides = {
        {u"deny"_s, {true, std::nullopt}},
        {u"pick1"_s,
         {false, GlobalKeyboardShortcut{49, GlobalKeyboardShortcut::controlMask, u"1"_s}}}};
    const auto store = std::make_unique<IniSettingsStore>(path);
    const auto settings = std::make_unique<Settings>(*store);
    settings->setSoundPack(u"chimes"_s);
    ASSERT_EQ(store->status(), QSettings::NoError);
    const QByteArray before = contents(path);
    ASSERT_TRUE(before.contains("chimes"));

    {
        FileSizeLimit disk(8);
        ASSERT_TRUE(disk.isApplied());
        settings->setSoundPack(u"bells"_s);
        settings->setShortcutOverrides(overrides);
        EXPECT_EQ(store->status(), QSettings::AccessError);
    }
    EXPECT_EQ(contents(path), before);
    EXPECT_EQ(QDir(folder).entryList(QDir::Files | QDir::Hidden),
              QStringList{u"orrelsentry.conf"_s})
        << "no half-written file is left beside it";
    EXPECT_EQ(settings->soundPack(), u"bells"_s);
    EXPECT_EQ(settings->shortcutOverrides(), overrides);

    // The next write, whatever its key, takes them all to the disk.
    settings->setSoundEnabled(false);
    IniSettingsStore reread(path);
    const Settings again(reread);
    EXPECT_EQ(again.soundPack(), u"bells"_s);
    EXPECT_EQ(again.shortcutOverrides(), overrides);
    EXPECT_FALSE(again.soundEnabled());
}

} // namespace
