#pragma once

#include "OrrelApp/Platform/AlertSound.h"

#include <QString>
#include <QUrl>

#include <functional>
#include <memory>
#include <optional>

class Settings;

// Plays the chime when an agent newly needs the person, unless the settings or the desktop's
// Do Not Disturb say otherwise. Alerts of one refresh share the one sound, so they do not pile up.
class SoundEngine {
public:
    using Playback = std::function<void(AlertSound&)>;

    static constexpr double alertVolume = 0.35;
    static inline const QString chimeResource = QStringLiteral(":/sounds/soft-chime.wav");

    // The chime's address, absent when the program was built without it.
    static std::optional<QUrl> soundURL(const QString& resource = chimeResource);

    // `sound` may be absent; `settings` must outlive the engine.
    SoundEngine(std::unique_ptr<AlertSound> sound, Playback playback,
                std::function<bool()> doNotDisturbEnabled, const Settings* settings);

    // The playback that plays the sound itself.
    static void play(AlertSound& sound) { sound.play(); }

    // Whether the chime was handed to `playback`.
    bool playAlert();

    const AlertSound* sound() const { return m_sound.get(); }

private:
    std::unique_ptr<AlertSound> m_sound;
    Playback m_playback;
    std::function<bool()> m_doNotDisturbEnabled;
    const Settings* m_settings;
};
