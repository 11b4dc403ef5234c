#include "HerdrClient/Sessions/SSHTunnelConfiguration.h"

using namespace Qt::StringLiterals;

QStringList SSHTunnelConfiguration::arguments() const
{
    return {u"-N"_s,
            u"-o"_s,
            u"ControlMaster=no"_s,
            u"-o"_s,
            u"ControlPersist=no"_s,
            u"-o"_s,
            u"ControlPath=none"_s,
            u"-o"_s,
            u"ExitOnForwardFailure=yes"_s,
            u"-o"_s,
            u"BatchMode=yes"_s,
            u"-o"_s,
            u"PermitLocalCommand=no"_s,
            u"-o"_s,
            u"ServerAliveInterval=15"_s,
            u"-o"_s,
            u"ServerAliveCountMax=3"_s,
            u"-o"_s,
            u"ConnectTimeout=10"_s,
            u"-L"_s,
            u"127.0.0.1:%1:%2"_s.arg(localPort).arg(remoteSocketPath),
            target};
}
