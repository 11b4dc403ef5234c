#include "OrrelApp/Platform/IniSettingsStore.h"

#include "OrrelApp/Platform/IniSettingsGuard.h"

#include <QDebug>

using namespace Qt::StringLiterals;

IniSettingsStore::IniSettingsStore() : IniSettingsStore(defaultPath(processEnvironment())) {}

IniSettingsStore::IniSettingsStore(const QString& path)
    : m_settings(guarded(path), QSettings::IniFormat)
{
}

QString IniSettingsStore::guarded(const QString& path)
{
    if (const auto done = IniSettingsGuard::guard(path))
        qWarning().noquote() << u"Settings file %1: %2"_s.arg(path, *done);
    return path;
}

QString IniSettingsStore::defaultPath(const Environment& environment)
{
    QString base = environmentValue(environment, u"XDG_CONFIG_HOME"_s);
    if (base.isEmpty())
        base = u"~/.config"_s;
    return expandTilde(base, environment) + u"/orrelsentry/orrelsentry.conf"_s;
}

std::optional<QVariant> IniSettingsStore::value(const QString& key) const
{
    if (!m_settings.contains(key))
        return std::nullopt;
    return m_settings.value(key);
}

// QSettings writes the file through QSaveFile, so a crash mid-write leaves the old file whole;
// syncing at once makes every setter's value survive a crash of the program itself.
void IniSettingsStore::setValue(const QString& key, const QVariant& value)
{
    m_settings.setValue(key, value);
    m_settings.sync();
}

void IniSettingsStore::remove(const QString& key)
{
    m_settings.remove(key);
    m_settings.sync();
}

QStringList IniSettingsStore::keys() const
{
    return m_settings.allKeys();
}
