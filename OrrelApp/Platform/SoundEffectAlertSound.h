#pragma once

#include "OrrelApp/Platform/AlertSound.h"

#include <QUrl>

#include <memory>

class QSoundEffect;

// A WAV file played through Qt Multimedia. The file is decoded once, in the background; until
// then, or without an audio device, it plays nothing.
class SoundEffectAlertSound : public AlertSound {
public:
    // A file, or a resource as "qrc:/...".
    explicit SoundEffectAlertSound(const QUrl& source);
    ~SoundEffectAlertSound() override;

    bool isLoaded() const override;
    void setVolume(double volume) override;
    void play() override;

private:
    std::unique_ptr<QSoundEffect> m_effect;
};
