#pragma once

#include <QString>

// Which sources this executable was built from, as git told the build.
struct BuildProvenance {
    // Empty when the build had no git, as from a tarball.
    QString gitRevision;
    bool gitDirty = false;
    QString sourcePath;

    static BuildProvenance compiledIn();
    // The project's version, as CMake's project() has it.
    static QString applicationVersion();

    // "1f2e3d4c5b6a", "1f2e3d4c5b6a-dirty", or "development" without a revision.
    QString label() const;
    // What `orrel-sentry --version` prints: "Orrel Sentry 0.1.0 (1f2e3d4c5b6a)".
    QString versionLine() const;
};
