#include "OrrelApp/Shell/BuildProvenance.h"

#include "OrrelBuildProvenance.h"

using namespace Qt::StringLiterals;

BuildProvenance BuildProvenance::compiledIn()
{
    return {QStringLiteral(ORREL_GIT_REVISION), ORREL_GIT_DIRTY != 0,
            QStringLiteral(ORREL_SOURCE_PATH)};
}

QString BuildProvenance::applicationVersion()
{
    return QStringLiteral(ORREL_VERSION);
}

QString BuildProvenance::label() const
{
    if (gitRevision.isEmpty())
        return u"development"_s;
    return gitRevision + (gitDirty ? u"-dirty"_s : QString());
}

QString BuildProvenance::versionLine() const
{
    return u"Orrel Sentry %1 (%2)"_s.arg(applicationVersion(), label());
}
