#include "HerdrClient/Sessions/SSHTunnelReasons.h"

#include <initializer_list>

using namespace Qt::StringLiterals;

namespace {

bool containsAny(const QString& lowered, std::initializer_list<QStringView> needles)
{
    for (const QStringView needle : needles) {
        if (lowered.contains(needle))
            return true;
    }
    return false;
}

} // namespace

namespace SSHTunnelReasons {

QString explain(const QString& standardError, qint32 status, const QString& target)
{
    const QString lowered = standardError.toLower();
    // Authentication first: a refused key also mentions the forward that never came.
    if (containsAny(lowered, {u"permission denied", u"publickey"}))
        return u"SSH couldn't authenticate to "_s + target
               + u". Load your key with `ssh-add`, or check your ~/.ssh/config."_s;
    if (containsAny(lowered, {u"could not resolve", u"name or service not known"}))
        return u"SSH couldn't resolve "_s + target + u". Check the host name."_s;
    if (containsAny(lowered,
                    {u"connection refused", u"connection timed out", u"operation timed out"}))
        return u"Couldn't reach "_s + target + u" over SSH."_s;
    if (containsAny(lowered, {u"forwarding", u"bind"}))
        return u"SSH connected to "_s + target
               + u" but couldn't forward the herdr socket. Is herdr running there?"_s;
    if (!standardError.isEmpty())
        return u"SSH tunnel to "_s + target + u" failed: "_s + standardError;
    return u"The SSH tunnel to %1 exited (status %2)."_s.arg(target).arg(status);
}

QString readinessFailure(const QString& standardError, const SSHTunnelConfiguration& configuration)
{
    const QString lowered = standardError.toLower();
    const QString& target = configuration.target;
    const QString& path = configuration.remoteSocketPath;
    if (containsAny(lowered, {u"administratively prohibited", u"open failed"}))
        return u"SSH connected to "_s + target
               + u", but its server or proxy refused Unix-socket forwarding."_s;
    if (lowered.contains(u"no such file or directory"))
        return u"SSH connected to "_s + target
               + u", but the remote herdr socket does not exist at "_s + path + u'.';
    if (lowered.contains(u"permission denied"))
        return u"SSH connected to "_s + target
               + u", but it cannot access the remote herdr socket at "_s + path + u'.';
    QString reason =
        u"SSH connected to "_s + target + u", but herdr did not answer through "_s + path + u'.';
    if (!standardError.isEmpty())
        reason += u" SSH reported: "_s + standardError;
    return reason;
}

QString invalidTarget(const QString& target)
{
    return u"Invalid SSH target: "_s + target;
}

QString sshNotFound()
{
    return u"Couldn't find the ssh command."_s;
}

QString launchFailed(const QString& message)
{
    return u"Couldn't start ssh: "_s + message;
}

} // namespace SSHTunnelReasons
