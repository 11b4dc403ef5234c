#include "HerdrClient/Sessions/SSHMultiplexing.h"

#include <QCryptographicHash>
#include <QDir>

using namespace Qt::StringLiterals;

namespace SSHMultiplexing {

QString controlPath(const QString& target)
{
    const QByteArray digest =
        QCryptographicHash::hash(target.toUtf8(), QCryptographicHash::Sha256).toHex();
    return QDir(QDir::tempPath())
        .filePath(u"orrelsentry-ssh-"_s + QString::fromLatin1(digest.left(12)));
}

QStringList discoveryArguments(const QString& target)
{
    return {u"-o"_s, u"ControlMaster=no"_s,     u"-o"_s, u"ControlPath="_s + controlPath(target),
            u"-o"_s, u"PermitLocalCommand=no"_s};
}

} // namespace SSHMultiplexing
