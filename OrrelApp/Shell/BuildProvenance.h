#pragma once

#include <QString>

// Which sources this executable was built from, as git told the build.
struct BuildProvenance {
    // Empty when the build had no git, as from a tarball.
    QString gitRevision;
    bool gitDirty = false;
    QString sourcePath;

    static BuildProvenance compiledIn();
};
