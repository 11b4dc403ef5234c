#include "OrrelApp/Shell/BuildProvenance.h"

#include "OrrelBuildProvenance.h"

BuildProvenance BuildProvenance::compiledIn()
{
    return {QStringLiteral(ORREL_GIT_REVISION), ORREL_GIT_DIRTY != 0,
            QStringLiteral(ORREL_SOURCE_PATH)};
}
