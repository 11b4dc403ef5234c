#include "HerdrClient/Wire/SocketPath.h"

using namespace Qt::StringLiterals;

namespace {
QString configBase(const Environment& environment)
{
    const QString xdg = environmentValue(environment, u"XDG_CONFIG_HOME"_s);
    if (!xdg.isEmpty())
        return expandTilde(xdg, environment) + u"/herdr"_s;
    return expandTilde(u"~/.config/herdr"_s, environment);
}
} // namespace

namespace SocketPath {

QString defaultPath()
{
    static const QString path = defaultPath(processEnvironment());
    return path;
}

QString defaultPath(const Environment& environment)
{
    return configBase(environment) + u"/herdr.sock"_s;
}

QString resolve(const std::optional<QString>& explicitPath, const Environment& environment)
{
    if (explicitPath && !explicitPath->isEmpty())
        return expandTilde(*explicitPath, environment);
    const QString fromEnvironment = environmentValue(environment, u"HERDR_SOCKET_PATH"_s);
    if (!fromEnvironment.isEmpty())
        return expandTilde(fromEnvironment, environment);
    const QString session = environmentValue(environment, u"HERDR_SESSION"_s);
    if (!session.isEmpty())
        return forSession(session, environment);
    return defaultPath(environment);
}

QString forSession(const QString& name)
{
    return forSession(name, processEnvironment());
}

QString forSession(const QString& name, const Environment& environment)
{
    if (name.isEmpty() || name == u"default")
        return defaultPath(environment);
    return configBase(environment) + u"/sessions/"_s + name + u"/herdr.sock"_s;
}

} // namespace SocketPath
