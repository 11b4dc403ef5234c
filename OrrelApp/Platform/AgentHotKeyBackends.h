#pragma once

#include "OrrelApp/Platform/AgentHotKeyRegistering.h"

#include <QDBusConnection>

#include <memory>

// The way this desktop holds global keys: the X server when the application runs on one,
// otherwise the GlobalShortcuts portal on `bus`, which stays unavailable while there is none.
std::unique_ptr<AgentHotKeyRegistering> makeAgentHotKeyBackend(QDBusConnection bus);
