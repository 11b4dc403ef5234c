#pragma once

#include "HerdrClient/Support/Environment.h"

#include <QString>

#include <optional>

// Where herdr's API sockets live. herdr keeps them under $XDG_CONFIG_HOME/herdr when that is
// set, else under ~/.config/herdr, on every platform.
namespace SocketPath {

// Socket paths longer than this many UTF-8 bytes are refused before any connect.
inline constexpr qsizetype maximumPathBytes = 103;

// The default session's socket for the process environment, computed once.
QString defaultPath();
QString defaultPath(const Environment& environment);

// The first that applies: a non-empty explicit path, HERDR_SOCKET_PATH, HERDR_SESSION, the default.
QString resolve(const std::optional<QString>& explicitPath, const Environment& environment);

// The socket of a named session; the default one for "" and "default".
QString forSession(const QString& name);
QString forSession(const QString& name, const Environment& environment);

} // namespace SocketPath
