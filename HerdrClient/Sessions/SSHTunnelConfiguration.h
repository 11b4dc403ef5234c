#pragma once

#include "HerdrClient/Wire/HerdrEndpoint.h"

#include <QString>
#include <QStringList>

#include <cstdint>

// What one tunnel forwards: the herdr socket on `target` to a private port on this machine.
struct SSHTunnelConfiguration {
    QString target;
    QString remoteSocketPath;
    std::uint16_t localPort = 0;

    // The whole ssh command line after the program: a forward-only connection that never
    // prompts, never shares a master, and exits when the forward cannot be made.
    QStringList arguments() const;
    // Where herdr answers once the tunnel is up.
    HerdrEndpoint endpoint() const { return HerdrEndpoint::loopbackTCP(localPort); }

    bool operator==(const SSHTunnelConfiguration&) const = default;
};
