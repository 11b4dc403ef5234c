#pragma once

#include "OrrelApp/Alerts/AppShortcutCatalog.h"

#include <QObject>
#include <QString>

#include <functional>
#include <optional>

class Settings;

// What the shortcut recorder shows and does for one catalogue case: a press starts recording,
// the next chord with Control or Super is stored as the user's override, and anything that
// takes the focus away cancels. Texts are final; the view only binds and forwards keys.
//
// Main thread only. The settings must outlive it.
class ShortcutRecorder : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString text READ text NOTIFY changed)
    Q_PROPERTY(bool recording READ isRecording NOTIFY changed)
    Q_PROPERTY(QString feedback READ feedback NOTIFY changed)

public:
    // The desktop's status for holding `shortcut` (0 when it can), asked of an accepted chord
    // before it is stored; absent, every accepted chord is stored.
    using Check = std::function<int(const GlobalKeyboardShortcut& shortcut)>;

    ShortcutRecorder(Settings& settings, AppShortcutID id, Check check = {},
                     QObject* parent = nullptr);
    ~ShortcutRecorder() override;

    // "Press shortcut…" while recording, the chord when there is one, else "Set Shortcut".
    QString text() const;
    bool isRecording() const { return m_recording; }
    // Why the last chord was not taken; empty when it was.
    QString feedback() const { return m_feedback; }

    // The mouse went down on the recorder.
    Q_INVOKABLE void begin();
    // The recorder lost the focus, or its window was left.
    Q_INVOKABLE void cancel();
    // A key went down while the recorder has the focus; true when the recorder took it.
    Q_INVOKABLE bool keyPressed(int key, int modifiers);

    // The chord of a Qt key with its modifiers: an X keysym, the X modifier mask and the label
    // the settings show. Absent for a key no shortcut can use, and for a modifier alone.
    static std::optional<GlobalKeyboardShortcut> shortcutFor(int key,
                                                             Qt::KeyboardModifiers modifiers);

Q_SIGNALS:
    void changed();

private:
    void setRecording(bool recording);
    void setFeedback(QString feedback);

    Settings& m_settings;
    AppShortcutID m_id;
    Check m_check;
    bool m_recording = false;
    QString m_feedback;
};
