#pragma once

#include <QString>
#include <QStringList>
#include <QVariant>

#include <optional>

// The key-value store under the user's settings. An absent key and a stored value, even an empty
// or invalid one, stay distinguishable: `value` is nullopt only for a key that is not stored.
class SettingsStoring {
public:
    virtual ~SettingsStoring() = default;

    virtual std::optional<QVariant> value(const QString& key) const = 0;
    virtual void setValue(const QString& key, const QVariant& value) = 0;
    virtual void remove(const QString& key) = 0;
    // Every stored key; read before the settings are built, these are the existing keys.
    virtual QStringList keys() const = 0;
};
