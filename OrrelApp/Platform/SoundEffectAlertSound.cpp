#include "OrrelApp/Platform/SoundEffectAlertSound.h"

#include <QAudioDevice>
#include <QMediaDevices>
#include <QSoundEffect>

SoundEffectAlertSound::SoundEffectAlertSound(const QUrl& source)
    : m_effect(std::make_unique<QSoundEffect>())
{
    m_effect->setSource(source);
}

SoundEffectAlertSound::~SoundEffectAlertSound() = default;

bool SoundEffectAlertSound::isLoaded() const
{
    return m_effect->status() == QSoundEffect::Ready;
}

void SoundEffectAlertSound::setVolume(double volume)
{
    m_effect->setVolume(float(volume));
}

void SoundEffectAlertSound::play()
{
    if (!isLoaded())
        return;
    // The effect keeps the output it was made with; follow the desktop's choice since then, such
    // as headphones plugged in. With no output at all, playing is silence.
    const QAudioDevice output = QMediaDevices::defaultAudioOutput();
    if (!output.isNull() && output != m_effect->audioDevice())
        m_effect->setAudioDevice(output);
    m_effect->play();
}
