#pragma once

#include "OrrelApp/Platform/SettingsStoring.h"

#include <map>

// A settings store in memory, whose values a test can read and plant directly.
class MemorySettingsStore : public SettingsStoring {
public:
    std::optional<QVariant> value(const QString& key) const override
    {
        const auto it = values.find(key);
        return it == values.end() ? std::nullopt : std::optional(it->second);
    }
    void setValue(const QString& key, const QVariant& value) override { values[key] = value; }
    void remove(const QString& key) override { values.erase(key); }
    QStringList keys() const override
    {
        QStringList names;
        for (const auto& [key, _] : values)
            names << key;
        return names;
    }

    std::map<QString, QVariant> values;
};
