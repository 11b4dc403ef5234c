#include "HerdrClient/Commands/ExecutableLocator.h"

#include <QDir>
#include <QFile>

#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace ExecutableLocator {

bool isExecutableFile(const QString& path)
{
    if (path.isEmpty())
        return false;
    const QByteArray native = QFile::encodeName(path);
    struct stat info {};
    if (::stat(native.constData(), &info) != 0 || S_ISDIR(info.st_mode))
        return false;
    return ::access(native.constData(), X_OK) == 0;
}

QStringList searchDirectories(const Environment& environment)
{
    QStringList candidates = environmentValue(environment, u"PATH"_s).split(u':');
    const QString home = environmentValue(environment, u"HOME"_s);
    if (!home.isEmpty()) {
        for (const auto& below : {u".local/bin"_s, u".cargo/bin"_s, u".local/share/mise/shims"_s,
                                  u".nix-profile/bin"_s})
            candidates.append(QDir(home).filePath(below));
    }
    candidates << u"/opt/homebrew/bin"_s << u"/usr/local/bin"_s << u"/run/current-system/sw/bin"_s
               << u"/usr/bin"_s << u"/bin"_s;

    QStringList result;
    for (const QString& candidate : candidates) {
        if (candidate.isEmpty())
            continue;
        const QString expanded = expandTilde(candidate, environment);
        if (!result.contains(expanded))
            result.append(expanded);
    }
    return result;
}

std::optional<QString> locate(const QString& name, const Environment& environment,
                              const ExecutableTest& isExecutable)
{
    if (name == u"herdr") {
        const QString override = environmentValue(environment, overrideEnvironmentKey);
        if (!override.isEmpty()) {
            if (isExecutable(override))
                return override;
            return std::nullopt;
        }
    }
    for (const QString& directory : searchDirectories(environment)) {
        const QString path = QDir(directory).filePath(name);
        if (isExecutable(path))
            return path;
    }
    return std::nullopt;
}

} // namespace ExecutableLocator
