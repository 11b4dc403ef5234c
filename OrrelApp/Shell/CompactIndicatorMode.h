#pragma once

#include <QString>

#include <optional>

// Whether the compact pill shows its indicator all the time or only under the pointer.
enum class CompactIndicatorMode { revealOnHover, alwaysShow };

inline QString toString(CompactIndicatorMode mode)
{
    return mode == CompactIndicatorMode::alwaysShow ? QStringLiteral("alwaysShow")
                                                    : QStringLiteral("revealOnHover");
}

inline std::optional<CompactIndicatorMode> compactIndicatorModeFromString(const QString& text)
{
    if (text == QLatin1String("revealOnHover"))
        return CompactIndicatorMode::revealOnHover;
    if (text == QLatin1String("alwaysShow"))
        return CompactIndicatorMode::alwaysShow;
    return std::nullopt;
}
