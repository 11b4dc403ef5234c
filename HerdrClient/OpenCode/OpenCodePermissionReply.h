#pragma once

#include <QString>

// What opencode is told about a permission.
enum class OpenCodePermissionReply { once, always, reject };

// "once", "always", "reject": the words of the wire.
QString toString(OpenCodePermissionReply reply);
