#include "OrrelApp/Alerts/SoundEngine.h"

#include "OrrelApp/Shell/Settings.h"

#include <QFile>

using namespace Qt::StringLiterals;

SoundEngine::SoundEngine(std::unique_ptr<AlertSound> sound, Playback playback,
                         std::function<bool()> doNotDisturbEnabled, const Settings* settings)
    : m_sound(std::move(sound)), m_playback(std::move(playback)),
      m_doNotDisturbEnabled(std::move(doNotDisturbEnabled)), m_settings(settings)
{
}

std::optional<QUrl> SoundEngine::soundURL(const QString& resource)
{
    if (!QFile::exists(resource))
        return std::nullopt;
    return QUrl(u"qrc"_s + resource);
}

bool SoundEngine::playAlert()
{
    if (!m_settings->soundEnabled())
        return false;
    // Asked only when it matters: the desktop's answer may take a round trip.
    if (m_settings->respectDND() && m_doNotDisturbEnabled && m_doNotDisturbEnabled())
        return false;
    if (!m_sound || !m_sound->isLoaded())
        return false;
    m_sound->setVolume(alertVolume);
    m_playback(*m_sound);
    return true;
}
