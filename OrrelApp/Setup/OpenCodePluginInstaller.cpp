#include "OrrelApp/Setup/OpenCodePluginInstaller.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSaveFile>

using namespace Qt::StringLiterals;

namespace {

// Far larger than the plugin; a file this big is not ours, whatever it holds.
constexpr qint64 largestPlugin = 1024 * 1024;

std::optional<QByteArray> readBounded(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    QByteArray bytes = file.read(largestPlugin + 1);
    if (bytes.size() > largestPlugin)
        return std::nullopt;
    return bytes;
}

QString reasonOf(QFileDevice::FileError error, const QString& text)
{
    return error == QFileDevice::PermissionsError ? u"permission denied"_s : text;
}

// QFileInfo::exists follows links; a dangling link is still a file someone put there.
bool present(const QString& path)
{
    return QFileInfo(path).exists() || QFileInfo(path).isSymLink();
}

} // namespace

QString OpenCodePluginInstaller::Failure::errorDescription() const
{
    switch (kind) {
    case Kind::harnessCopyActive:
        return path + u" is already active; a second copy would publish every token twice."_s;
    case Kind::differentFileExists:
        return path + u" differs from the copy in this app and was left as is."_s;
    case Kind::notOurs: return path + u" is not the file Orrel Sentry installed."_s;
    case Kind::writeFailed: return path + u": "_s + reason;
    case Kind::opencodeMissing: return u"opencode is not set up for this user (no %1)."_s.arg(path);
    }
    return path;
}

OpenCodePluginInstaller::OpenCodePluginInstaller(QString configDirectory, QByteArray bundled,
                                                 QString bundledPath)
    : m_configDirectory(std::move(configDirectory)), m_bundled(std::move(bundled)),
      m_bundledPath(std::move(bundledPath))
{
}

QString OpenCodePluginInstaller::configDirectory(const Environment& environment)
{
    const QString xdg = environmentValue(environment, u"XDG_CONFIG_HOME"_s);
    if (!xdg.isEmpty())
        return xdg + u"/opencode"_s;
    const QString home = environmentValue(environment, u"HOME"_s);
    return (home.isEmpty() ? QDir::homePath() : home) + u"/.config/opencode"_s;
}

OpenCodePluginInstaller OpenCodePluginInstaller::forUser(const Environment& environment)
{
    QFile resource(resourcePath.toString());
    const QByteArray bundled =
        resource.open(QIODevice::ReadOnly) ? resource.readAll() : QByteArray();
    return OpenCodePluginInstaller(configDirectory(environment), bundled);
}

QString OpenCodePluginInstaller::appCopyPath() const
{
    return m_configDirectory + u"/plugins/orrel-sentry.ts"_s;
}

QString OpenCodePluginInstaller::backupPath() const
{
    return appCopyPath() + u".bak"_s;
}

QStringList OpenCodePluginInstaller::harnessCopyPaths() const
{
    // opencode loads both folders, so our own name in the older one counts as another copy.
    return {m_configDirectory + u"/plugins/opencode-orrel-sentry.ts"_s,
            m_configDirectory + u"/plugin/opencode-orrel-sentry.ts"_s,
            m_configDirectory + u"/plugin/orrel-sentry.ts"_s};
}

std::optional<int> OpenCodePluginInstaller::markedVersion(const QByteArray& bytes)
{
    static const QRegularExpression line(u"^// %1 ([0-9]{1,6})$"_s.arg(marker),
                                         QRegularExpression::MultilineOption);
    // The marker is in the file's head; the rest is not searched.
    const auto match = line.match(QString::fromUtf8(bytes.left(512)));
    if (!match.hasMatch())
        return std::nullopt;
    return match.captured(1).toInt();
}

bool OpenCodePluginInstaller::isOurs(const QByteArray& bytes) const
{
    if (bytes == m_bundled)
        return true;
    const auto theirs = markedVersion(bytes);
    const auto mine = markedVersion(m_bundled);
    return theirs && mine && *theirs < *mine;
}

OpenCodePluginInstaller::Status OpenCodePluginInstaller::status() const
{
    if (!QFileInfo(m_configDirectory).isDir())
        return OpenCodeMissing{};
    const QString app = appCopyPath();
    for (const QString& harness : harnessCopyPaths()) {
        if (!present(harness))
            continue;
        const QFileInfo info(harness);
        std::optional<QString> resolved;
        if (info.isSymLink())
            resolved = info.symLinkTarget();
        return Harness{harness, resolved, present(app)};
    }
    if (!present(app))
        return NotInstalled{};
    const auto bytes = readBounded(app);
    if (bytes && *bytes == m_bundled)
        return Installed{app};
    if (bytes && isOurs(*bytes))
        return Outdated{app, *markedVersion(*bytes)};
    const QFileInfo info(app);
    std::optional<QDateTime> modified;
    if (info.lastModified().isValid())
        modified = info.lastModified();
    return Different{app, info.size(), modified};
}

OpenCodePluginInstaller::Plan OpenCodePluginInstaller::plan() const
{
    return {appCopyPath(), m_bundledPath, m_bundled.size(),
            QString::fromLatin1(
                QCryptographicHash::hash(m_bundled, QCryptographicHash::Sha256).toHex())};
}

std::expected<void, OpenCodePluginInstaller::Failure> OpenCodePluginInstaller::install(
    bool replacing) const
{
    const Status current = status();
    if (std::holds_alternative<Installed>(current))
        return {};
    if (const auto* harness = std::get_if<Harness>(&current))
        return std::unexpected(Failure{Failure::Kind::harnessCopyActive, harness->path, {}});
    if (std::holds_alternative<OpenCodeMissing>(current))
        return std::unexpected(Failure{Failure::Kind::opencodeMissing, m_configDirectory, {}});
    if (const auto* different = std::get_if<Different>(&current)) {
        if (!replacing)
            return std::unexpected(
                Failure{Failure::Kind::differentFileExists, different->path, {}});
        if (auto saved = backUp(); !saved)
            return saved;
    }
    return write();
}

std::expected<void, OpenCodePluginInstaller::Failure> OpenCodePluginInstaller::uninstall() const
{
    const Status current = status();
    if (std::holds_alternative<Installed>(current) || std::holds_alternative<Outdated>(current))
        return removeAppCopy();
    if (const auto* different = std::get_if<Different>(&current))
        return std::unexpected(Failure{Failure::Kind::notOurs, different->path, {}});
    if (const auto* harness = std::get_if<Harness>(&current); harness && harness->alsoAppCopy) {
        // The other copy is never touched; ours beside it goes if it is ours.
        const auto bytes = readBounded(appCopyPath());
        if (!bytes || !isOurs(*bytes))
            return std::unexpected(Failure{Failure::Kind::notOurs, appCopyPath(), {}});
        return removeAppCopy();
    }
    return {};
}

std::expected<void, OpenCodePluginInstaller::Failure> OpenCodePluginInstaller::write() const
{
    const QString path = appCopyPath();
    if (!QDir().mkpath(QFileInfo(path).path()))
        return std::unexpected(
            Failure{Failure::Kind::writeFailed, path, u"couldn't create its folder"_s});
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(m_bundled) != m_bundled.size()
        || !file.commit())
        return std::unexpected(
            Failure{Failure::Kind::writeFailed, path, reasonOf(file.error(), file.errorString())});
    return {};
}

std::expected<void, OpenCodePluginInstaller::Failure> OpenCodePluginInstaller::backUp() const
{
    // A file that cannot be read cannot be saved either; the replace goes on without it.
    const auto bytes = readBounded(appCopyPath());
    if (!bytes)
        return {};
    QSaveFile file(backupPath());
    if (!file.open(QIODevice::WriteOnly) || file.write(*bytes) != bytes->size() || !file.commit())
        return std::unexpected(Failure{Failure::Kind::writeFailed, appCopyPath(),
                                       reasonOf(file.error(), file.errorString())});
    return {};
}

std::expected<void, OpenCodePluginInstaller::Failure> OpenCodePluginInstaller::removeAppCopy() const
{
    QFile file(appCopyPath());
    if (!file.remove())
        return std::unexpected(Failure{Failure::Kind::writeFailed, appCopyPath(),
                                       reasonOf(file.error(), file.errorString())});
    return {};
}

QString toString(const OpenCodePluginInstaller::Status& status)
{
    using I = OpenCodePluginInstaller;
    return std::visit(
        [](const auto& s) -> QString {
            using T = std::decay_t<decltype(s)>;
            if constexpr (std::is_same_v<T, I::Installed>)
                return u"installed at %1"_s.arg(s.path);
            else if constexpr (std::is_same_v<T, I::Outdated>)
                return u"an older version (%1) at %2"_s.arg(s.version).arg(s.path);
            else if constexpr (std::is_same_v<T, I::Harness>)
                return u"another copy is active at %1%2%3"_s.arg(
                    s.path, s.resolvedPath ? u" (a link to %1)"_s.arg(*s.resolvedPath) : QString(),
                    s.alsoAppCopy ? u", and Orrel Sentry's copy is there too"_s : QString());
            else if constexpr (std::is_same_v<T, I::Different>)
                return u"a different file is at %1 (%2 bytes)"_s.arg(s.path).arg(s.size);
            else if constexpr (std::is_same_v<T, I::OpenCodeMissing>)
                return u"opencode is not set up for this user"_s;
            else
                return u"not installed"_s;
        },
        status);
}
