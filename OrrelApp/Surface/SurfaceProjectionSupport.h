#pragma once

#include <QString>
#include <QVariant>
#include <QVariantList>

#include <optional>
#include <vector>

// Small conversions shared by the projections: an absent value is a null, which QML reads as
// null and the automation channel writes as JSON null.
namespace SurfaceProjection {

inline QVariant null()
{
    return QVariant::fromValue(nullptr);
}

template <class T>
QVariant optional(const std::optional<T>& value)
{
    return value ? QVariant::fromValue(*value) : null();
}

inline QVariantList strings(const std::vector<QString>& values)
{
    QVariantList list;
    for (const QString& value : values)
        list.push_back(value);
    return list;
}

} // namespace SurfaceProjection
