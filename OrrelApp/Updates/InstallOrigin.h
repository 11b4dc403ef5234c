#pragma once

#include "OrrelApp/Shell/BuildProvenance.h"

#include <QString>

// Where the running program came from, which decides how an update is advised: apt for the
// Debian package, a new archive for a manual installation, nothing to replace for a build tree.
// `homebrew` stays for the update records' sake; no cask of the program exists on Linux, so it
// is never resolved here.
enum class InstallOrigin { homebrew, manual, development, debianPackage };

QString toString(InstallOrigin origin);

// What the origin is read from. The defaults are the running process's.
struct InstallationFacts {
    QString executablePath;
    BuildProvenance provenance;
    // Where dpkg lists the files of each installed package, one "<package>.list" each.
    QString dpkgInfoDirectory = QStringLiteral("/var/lib/dpkg/info");

    static InstallationFacts current();
};

// The name of the Debian package the program is built into.
inline constexpr auto debianPackageName = QLatin1StringView("orrel-sentry");

// A file dpkg lists for the package is the package's, whatever tree it was built from: only apt
// should replace it. Otherwise a build that knows its source folder, or had changes, is a
// development build; anything else was put in place by hand.
InstallOrigin resolveInstallOrigin(const InstallationFacts& facts);
