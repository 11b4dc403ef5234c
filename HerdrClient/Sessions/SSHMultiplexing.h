#pragma once

#include <QString>
#include <QStringList>

// How our ssh invocations share (or refuse) a master connection per target.
namespace SSHMultiplexing {

// The temporary folder of the user, joined with "orrelsentry-ssh-" and the first 12 hexadecimal
// digits of the SHA-256 of the target.
QString controlPath(const QString& target);

// A short listing never becomes a master and never runs a local command.
QStringList discoveryArguments(const QString& target);

} // namespace SSHMultiplexing
