#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// QSettings (Qt 6.4) decodes "@Variant(...)" and "@DateTime(...)" values with QDataStream, which
// trusts the lengths and type ids inside them: one damaged value can ask for gigabytes and end
// the program at start. The file is checked before QSettings reads it.
namespace IniSettingsGuard {

// A settings file is a few kilobytes; one past this is not read at all.
inline constexpr qint64 maxFileBytes = 1024 * 1024;

// The text without the lines whose value QSettings must not decode, or absent when all may stay.
// The one such value the program writes itself, a date as a UTC, local or offset time, stays.
std::optional<QByteArray> withoutUnsafeValues(const QByteArray& text);

// Makes the file at `path` safe to read: lines with unsafe values are dropped, a file too large
// is set aside whole, and the file as it was is kept beside it as "<path>.damaged". Absent when
// the file was fine; otherwise, for the log, what was done or why it could not be.
std::optional<QString> guard(const QString& path);

} // namespace IniSettingsGuard
