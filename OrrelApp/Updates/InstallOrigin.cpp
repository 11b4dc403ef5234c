#include "OrrelApp/Updates/InstallOrigin.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace {

// dpkg writes the paths as the package has them; a system whose /bin is a link to /usr/bin
// runs the same file under another name, so both sides are compared as the files they reach.
bool listsFile(const QString& listPath, const QString& executablePath)
{
    QFile list(listPath);
    if (!list.open(QIODevice::ReadOnly))
        return false;
    const QString executable = QFileInfo(executablePath).canonicalFilePath();
    if (executable.isEmpty())
        return false;
    while (!list.atEnd()) {
        const QString entry = QString::fromUtf8(list.readLine()).trimmed();
        if (QFileInfo(entry).fileName() != QFileInfo(executable).fileName())
            continue;
        if (entry == executable || QFileInfo(entry).canonicalFilePath() == executable)
            return true;
    }
    return false;
}

} // namespace

QString toString(InstallOrigin origin)
{
    switch (origin) {
    case InstallOrigin::homebrew: return u"homebrew"_s;
    case InstallOrigin::manual: return u"manual"_s;
    case InstallOrigin::development: return u"development"_s;
    case InstallOrigin::debianPackage: break;
    }
    return u"debianPackage"_s;
}

InstallationFacts InstallationFacts::current()
{
    return {QCoreApplication::applicationFilePath(), BuildProvenance::compiledIn()};
}

InstallOrigin resolveInstallOrigin(const InstallationFacts& facts)
{
    const QString list = facts.dpkgInfoDirectory + u'/' + debianPackageName + u".list"_s;
    if (listsFile(list, facts.executablePath))
        return InstallOrigin::debianPackage;
    if (!facts.provenance.sourcePath.isEmpty() || facts.provenance.gitDirty)
        return InstallOrigin::development;
    return InstallOrigin::manual;
}
