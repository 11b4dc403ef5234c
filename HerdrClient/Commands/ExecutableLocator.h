#pragma once

#include "HerdrClient/Support/Environment.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

// Finds the programs we run. A desktop session's PATH is often shorter than a shell's, so the
// usual per-user install folders are searched after it.
namespace ExecutableLocator {

// When set and not empty, names the herdr binary outright; it is not a hint.
inline const QString overrideEnvironmentKey = QStringLiteral("ORRELSENTRY_HERDR_BINARY");

using ExecutableTest = std::function<bool(const QString&)>;

// The path exists, is not a folder, and this process may execute it.
bool isExecutableFile(const QString& path);

// PATH's folders, then the per-user and system install folders; tildes expanded, empty entries
// and repeats dropped.
QStringList searchDirectories(const Environment& environment);

std::optional<QString> locate(const QString& name, const Environment& environment,
                              const ExecutableTest& isExecutable = isExecutableFile);

} // namespace ExecutableLocator
