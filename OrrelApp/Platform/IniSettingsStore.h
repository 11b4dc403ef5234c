#pragma once

#include "HerdrClient/Support/Environment.h"
#include "OrrelApp/Platform/SettingsStoring.h"

#include <QSettings>

// The user's settings in an INI file. The INI text keeps bytes (as @ByteArray) and dates apart
// from strings, but writes booleans as "true"/"false", a one-element list as its element and an
// empty list as "@Invalid()"; the readers of the settings accept those forms.
class IniSettingsStore : public SettingsStoring {
public:
    // $XDG_CONFIG_HOME/orrelsentry/orrelsentry.conf, else ~/.config/orrelsentry/orrelsentry.conf.
    IniSettingsStore();
    explicit IniSettingsStore(const QString& path);

    static QString defaultPath(const Environment& environment);

    std::optional<QVariant> value(const QString& key) const override;
    void setValue(const QString& key, const QVariant& value) override;
    void remove(const QString& key) override;
    QStringList keys() const override;

    QString path() const { return m_settings.fileName(); }
    // NoError, or why the last write did not reach the disk.
    QSettings::Status status() const { return m_settings.status(); }

private:
    static QString guarded(const QString& path);

    QSettings m_settings;
};
