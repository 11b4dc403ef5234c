#pragma once

#include "OrrelApp/Platform/AlertSound.h"

#include <QString>

#include <memory>

class QSoundEffect;

// A WAV file played through Qt Multimedia. The file is decoded once, in the background; until
// then, or without an audio device, it plays nothing.
class SoundEffectAlertSound : public AlertSound {
public:
    // The program's own chime.
    static inline const QString chimePath = QStringLiteral(":/sounds/soft-chime.wav");

    // Absent when there is no such file, so that the caller stays silent without trying.
    static std::unique_ptr<SoundEffectAlertSound> load(const QString& path = chimePath);
    ~SoundEffectAlertSound() override;

    bool isLoaded() const override;
    void setVolume(double volume) override;
    void play() override;

private:
    explicit SoundEffectAlertSound(const QString& path);

    std::unique_ptr<QSoundEffect> m_effect;
};
