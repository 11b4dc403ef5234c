#include "OrrelApp/Surface/ShortcutRecorder.h"

#include "OrrelApp/Shell/Settings.h"
#include "OrrelApp/Surface/SurfaceProjection.h"

#include <map>

using namespace Qt::StringLiterals;

namespace {

// Keys that are no character, as X names them, with what the settings show for each.
struct NamedKey {
    std::uint32_t keysym;
    QStringView label;
};
const std::map<int, NamedKey>& namedKeys()
{
    static const std::map<int, NamedKey> keys{
        {Qt::Key_Return, {0xff0d, u"↩"}},       {Qt::Key_Enter, {0xff8d, u"Enter"}},
        {Qt::Key_Tab, {0xff09, u"Tab"}},        {Qt::Key_Backspace, {0xff08, u"⌫"}},
        {Qt::Key_Delete, {0xffff, u"Delete"}},  {Qt::Key_Insert, {0xff63, u"Insert"}},
        {Qt::Key_Home, {0xff50, u"Home"}},      {Qt::Key_End, {0xff57, u"End"}},
        {Qt::Key_PageUp, {0xff55, u"Page Up"}}, {Qt::Key_PageDown, {0xff56, u"Page Down"}},
        {Qt::Key_Left, {0xff51, u"←"}},         {Qt::Key_Up, {0xff52, u"↑"}},
        {Qt::Key_Right, {0xff53, u"→"}},        {Qt::Key_Down, {0xff54, u"↓"}},
        {Qt::Key_Space, {0x20, u"Space"}},
    };
    return keys;
}

std::uint32_t modifierMask(Qt::KeyboardModifiers modifiers)
{
    std::uint32_t mask = 0;
    if (modifiers & Qt::ShiftModifier)
        mask |= GlobalKeyboardShortcut::shiftMask;
    if (modifiers & Qt::ControlModifier)
        mask |= GlobalKeyboardShortcut::controlMask;
    if (modifiers & Qt::AltModifier)
        mask |= GlobalKeyboardShortcut::altMask;
    if (modifiers & Qt::MetaModifier)
        mask |= GlobalKeyboardShortcut::superMask;
    return mask;
}

} // namespace

ShortcutRecorder::ShortcutRecorder(Settings& settings, AppShortcutID id, Check check,
                                   QObject* parent)
    : QObject(parent), m_settings(settings), m_id(id), m_check(std::move(check))
{
    for (const auto signal : {&Settings::shortcutOverridesChanged, &Settings::hotkeyModifierChanged,
                              &Settings::screenSaverShortcutChanged})
        connect(&m_settings, signal, this, &ShortcutRecorder::changed);
}

ShortcutRecorder::~ShortcutRecorder()
{
    cancel();
}

QString ShortcutRecorder::text() const
{
    if (m_recording)
        return u"Press shortcut…"_s;
    const QString label = m_settings.shortcutLabel(m_id);
    return label.isEmpty() ? u"Set Shortcut"_s : label;
}

void ShortcutRecorder::begin()
{
    setFeedback({});
    setRecording(true);
}

void ShortcutRecorder::cancel()
{
    setRecording(false);
}

bool ShortcutRecorder::keyPressed(int key, int modifiers)
{
    if (!m_recording)
        return false;
    const auto qtModifiers = Qt::KeyboardModifiers::fromInt(modifiers);
    if (key == Qt::Key_Escape && !(qtModifiers & (Qt::ControlModifier | Qt::MetaModifier))) {
        cancel();
        return true;
    }
    const auto shortcut = shortcutFor(key, qtModifiers);
    // A modifier on its own, or a key no shortcut can use: keep listening for the chord.
    if (!shortcut)
        return true;
    if (!(shortcut->modifierRawValue
          & (GlobalKeyboardShortcut::controlMask | GlobalKeyboardShortcut::superMask))) {
        setFeedback(SurfaceProjection::forThisDesktop(
            u"Use a key with Command or Control, such as ⌃⌥S."_s));
        return true;
    }
    setRecording(false);
    if (m_check && m_check(*shortcut) != 0) {
        setFeedback(u"Another application has reserved this shortcut. Record a different "
                    "combination."_s);
        return true;
    }
    setFeedback({});
    m_settings.assign(m_id, *shortcut);
    return true;
}

std::optional<GlobalKeyboardShortcut> ShortcutRecorder::shortcutFor(int key,
                                                                    Qt::KeyboardModifiers modifiers)
{
    const std::uint32_t mask = modifierMask(modifiers);
    if (const auto named = namedKeys().find(key); named != namedKeys().end())
        return GlobalKeyboardShortcut{named->second.keysym, mask, named->second.label.toString()};
    if (key >= Qt::Key_F1 && key <= Qt::Key_F35) {
        const int number = key - Qt::Key_F1 + 1;
        return GlobalKeyboardShortcut{std::uint32_t(0xffbe + number - 1), mask,
                                      u"F%1"_s.arg(number)};
    }
    // Letters are lower-case keysyms shown in capitals; other printable characters are their
    // own keysym, as Shift made them.
    if (key >= Qt::Key_A && key <= Qt::Key_Z)
        return GlobalKeyboardShortcut{std::uint32_t(key - Qt::Key_A + 'a'), mask,
                                      QString(QChar(char16_t(key)))};
    if (key > 0x20 && key < 0x7f)
        return GlobalKeyboardShortcut{std::uint32_t(key), mask, QString(QChar(char16_t(key)))};
    return std::nullopt;
}

void ShortcutRecorder::setRecording(bool recording)
{
    if (recording == m_recording)
        return;
    m_recording = recording;
    m_settings.setIsCapturingShortcut(recording);
    Q_EMIT changed();
}

void ShortcutRecorder::setFeedback(QString feedback)
{
    if (feedback == m_feedback)
        return;
    m_feedback = std::move(feedback);
    m_settings.setShortcutFeedback(m_feedback.isEmpty() ? std::nullopt : std::optional(m_feedback));
    Q_EMIT changed();
}
