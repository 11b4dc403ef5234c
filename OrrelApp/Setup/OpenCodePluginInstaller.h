#pragma once

#include "HerdrClient/Support/Environment.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QStringList>

#include <expected>
#include <optional>
#include <variant>

// Places Orrel Sentry's opencode plugin into opencode's plugin folder, tells what is there, and
// takes it away again. It never overwrites a file it cannot account for, and never adds a second
// copy beside one that something else placed, since two copies would publish every token twice.
// A file that carries the plugin's marker with an older version is ours from an earlier release
// and is brought up to date.
class OpenCodePluginInstaller {
public:
    // The resource the program carries.
    static constexpr auto resourcePath = QLatin1StringView(":/opencode/orrel-sentry.ts");
    // The line that names a file as ours, followed by a space and the version.
    static constexpr auto marker = QLatin1StringView("orrel-sentry-opencode-plugin");

    struct Installed {
        QString path;
    };
    // Our plugin from an earlier release; install replaces it.
    struct Outdated {
        QString path;
        int version = 0;
    };
    struct Harness {
        QString path;
        std::optional<QString> resolvedPath;
        bool alsoAppCopy = false;
    };
    struct Different {
        QString path;
        qint64 size = 0;
        std::optional<QDateTime> modified;
    };
    struct OpenCodeMissing {};
    struct NotInstalled {};
    using Status =
        std::variant<Installed, Outdated, Harness, Different, OpenCodeMissing, NotInstalled>;

    struct Failure {
        enum class Kind {
            harnessCopyActive,
            differentFileExists,
            notOurs,
            writeFailed,
            opencodeMissing
        };
        Kind kind = Kind::writeFailed;
        QString path;
        QString reason; // writeFailed

        QString errorDescription() const;
        bool operator==(const Failure&) const = default;
    };

    // What an install would do, for a person to check before it happens.
    struct Plan {
        QString targetPath;
        QString resourcePath;
        qint64 byteCount = 0;
        QString sha256; // lower-case hexadecimal
    };

    // `configDirectory` is opencode's, the folder that holds opencode.json and its plugins.
    OpenCodePluginInstaller(QString configDirectory, QByteArray bundled,
                            QString bundledPath = resourcePath.toString());

    // The installer for the user of `environment`, with the plugin the program carries:
    // opencode's folder is $XDG_CONFIG_HOME/opencode, or ~/.config/opencode without it.
    static OpenCodePluginInstaller forUser(const Environment& environment);
    static QString configDirectory(const Environment& environment);

    QString appCopyPath() const;
    QString backupPath() const;
    // Copies of the plugin that something else manages, each of which opencode would load.
    QStringList harnessCopyPaths() const;

    // The version in a plugin's marker line, if the bytes carry one.
    static std::optional<int> markedVersion(const QByteArray& bytes);

    Status status() const;
    Plan plan() const;
    std::expected<void, Failure> install(bool replacing) const;
    std::expected<void, Failure> uninstall() const;

private:
    std::expected<void, Failure> write() const;
    std::expected<void, Failure> backUp() const;
    std::expected<void, Failure> removeAppCopy() const;
    bool isOurs(const QByteArray& bytes) const;

    QString m_configDirectory;
    QByteArray m_bundled;
    QString m_bundledPath;
};

QString toString(const OpenCodePluginInstaller::Status& status);
