#include "OrrelApp/Surface/ShortcutRecorder.h"

#include "OrrelApp/Shell/Settings.h"
#include "tests/support/MemorySettingsStore.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int ctrlAlt = int(Qt::ControlModifier | Qt::AltModifier);
constexpr std::uint32_t ctrlAltMask =
    GlobalKeyboardShortcut::controlMask | GlobalKeyboardShortcut::altMask;

class ShortcutRecorderTest : public ::testing::Test {
protected:
    MemorySettingsStore store;
    Settings settings{store};
};

TEST_F(ShortcutRecorderTest, RecordsAChordWithControlAndStoresIt)
{
    ShortcutRecorder recorder(settings, AppShortcutID::approve);
    EXPECT_EQ(recorder.text(), u"Ctrl+Alt+Y"_s);
    EXPECT_FALSE(recorder.keyPressed(Qt::Key_S, ctrlAlt)) << "not recording yet";

    recorder.begin();
    EXPECT_EQ(recorder.text(), u"Press shortcut…"_s);
    EXPECT_TRUE(settings.isCapturingShortcut());
    // The modifiers go down before the key; alone they are no chord.
    EXPECT_TRUE(recorder.keyPressed(Qt::Key_Control, int(Qt::ControlModifier)));
    EXPECT_TRUE(recorder.isRecording());
    EXPECT_TRUE(recorder.keyPressed(Qt::Key_S, ctrlAlt));

    EXPECT_FALSE(recorder.isRecording());
    EXPECT_FALSE(settings.isCapturingShortcut());
    EXPECT_EQ(recorder.text(), u"Ctrl+Alt+S"_s);
    EXPECT_EQ(recorder.feedback(), QString());
    const ResolvedShortcut stored = Settings(store).binding(AppShortcutID::approve);
    EXPECT_TRUE(stored.isCustom);
    EXPECT_EQ(stored.shortcut, (GlobalKeyboardShortcut{'s', ctrlAltMask, u"S"_s}));
}

TEST_F(ShortcutRecorderTest, AKeyWithoutControlOrSuperIsRefusedAndRecordingGoesOn)
{
    ShortcutRecorder recorder(settings, AppShortcutID::deny);
    recorder.begin();
    EXPECT_TRUE(recorder.keyPressed(Qt::Key_S, int(Qt::AltModifier | Qt::ShiftModifier)));
    EXPECT_EQ(recorder.feedback(), u"Use a key with Super or Control, such as Ctrl+Alt+S."_s);
    EXPECT_EQ(settings.shortcutFeedback(), recorder.feedback());
    EXPECT_TRUE(recorder.isRecording());
    EXPECT_TRUE(settings.shortcutOverrides().empty());

    // Super counts as Control does.
    EXPECT_TRUE(recorder.keyPressed(Qt::Key_D, int(Qt::MetaModifier)));
    EXPECT_EQ(recorder.text(), u"Super+D"_s);
    EXPECT_EQ(recorder.feedback(), QString());
}

TEST_F(ShortcutRecorderTest, ADesktopRefusalKeepsTheOldKey)
{
    int asked = 0;
    ShortcutRecorder recorder(settings, AppShortcutID::pick1, [&](const GlobalKeyboardShortcut& s) {
        ++asked;
        return s.keyCode == 'q' ? 10 : 0;
    });
    recorder.begin();
    recorder.keyPressed(Qt::Key_Q, ctrlAlt);
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(recorder.feedback(),
              u"Another application has reserved this shortcut. Record a different combination."_s);
    EXPECT_EQ(recorder.text(), u"Ctrl+Alt+1"_s);
    EXPECT_TRUE(settings.shortcutOverrides().empty());
}

TEST_F(ShortcutRecorderTest, CancellingStoresNothing)
{
    ShortcutRecorder recorder(settings, AppShortcutID::screenSaver);
    EXPECT_EQ(recorder.text(), u"Set Shortcut"_s);
    recorder.begin();
    recorder.cancel();
    EXPECT_FALSE(recorder.keyPressed(Qt::Key_S, ctrlAlt));
    recorder.begin();
    EXPECT_TRUE(recorder.keyPressed(Qt::Key_Escape, 0));
    EXPECT_FALSE(recorder.isRecording());
    EXPECT_EQ(recorder.text(), u"Set Shortcut"_s);
    EXPECT_FALSE(settings.screenSaverShortcut());
    EXPECT_FALSE(settings.isCapturingShortcut());
}

TEST(ShortcutRecorderKeys, QtKeysBecomeTheKeysymsTheDesktopGrabs)
{
    struct Case {
        int key;
        std::uint32_t keysym;
        QString label;
    };
    const Case cases[] = {
        {Qt::Key_Return, 0xff0d, u"↩"_s},   {Qt::Key_F5, 0xffc2, u"F5"_s},
        {Qt::Key_BracketLeft, '[', u"["_s}, {Qt::Key_Exclam, '!', u"!"_s},
        {Qt::Key_Z, 'z', u"Z"_s},           {Qt::Key_7, '7', u"7"_s},
        {Qt::Key_Down, 0xff54, u"↓"_s},
    };
    for (const Case& c : cases) {
        const auto shortcut = ShortcutRecorder::shortcutFor(c.key, Qt::ControlModifier);
        ASSERT_TRUE(shortcut) << c.label.toStdString();
        EXPECT_EQ(shortcut->keyCode, c.keysym) << c.label.toStdString();
        EXPECT_EQ(shortcut->keyLabel, c.label);
        EXPECT_EQ(shortcut->modifierRawValue, GlobalKeyboardShortcut::controlMask);
    }
    for (const int key : {int(Qt::Key_Control), int(Qt::Key_Alt), int(Qt::Key_Meta),
                          int(Qt::Key_Shift), int(Qt::Key_CapsLock)})
        EXPECT_FALSE(ShortcutRecorder::shortcutFor(key, Qt::ControlModifier)) << key;
}

} // namespace
