#include "HerdrClient/Capture/CaptureFiles.h"

#include "HerdrClient/Support/SaveFileCommit.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStringDecoder>
#include <QUuid>

#include <tuple>

using namespace Qt::StringLiterals;

namespace CaptureFiles {

QString sha256Hex(QByteArrayView bytes)
{
    return QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex());
}

bool isValidUTF8(QByteArrayView bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringConverter::Flag::Stateless);
    const QString decoded = decoder(bytes);
    return !decoder.hasError();
}

std::expected<QByteArray, PaneCaptureError> readBounded(const QString& path, qint64 limit)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::unexpected(PaneCaptureError::fileFailed(path, file.errorString()));
    // Read one byte past the limit instead of trusting size(), which a pipe or /proc file lies
    // about.
    QByteArray bytes = file.read(limit + 1);
    if (file.error() != QFileDevice::NoError)
        return std::unexpected(PaneCaptureError::fileFailed(path, file.errorString()));
    if (bytes.size() > limit)
        return std::unexpected(
            PaneCaptureError::fileFailed(path, u"larger than %1 bytes"_s.arg(limit)));
    return bytes;
}

std::expected<DirectoryFiles, PaneCaptureError> readDirectoryFiles(const QString& directory)
{
    const QDir dir(directory);
    DirectoryFiles files;
    const std::tuple<const char*, qint64, QByteArray*> wanted[] = {
        {detectionFile, maximumTextBytes, &files.detection},
        {visibleANSIFile, maximumTextBytes, &files.visibleANSI},
        {metadataFile, maximumMetadataBytes, &files.metadata},
    };
    for (const auto& [name, limit, bytes] : wanted) {
        auto read = readBounded(dir.filePath(QLatin1StringView(name)), limit);
        if (!read)
            return std::unexpected(read.error());
        *bytes = std::move(*read);
    }
    return files;
}

namespace {

void appendPretty(QByteArray& out, const JSONValue& value, int depth)
{
    const QByteArray indent(2 * (depth + 1), ' ');
    const QByteArray closingIndent(2 * depth, ' ');
    if (const auto* array = value.arrayValue(); array && !array->empty()) {
        out.append("[\n");
        for (std::size_t i = 0; i < array->size(); ++i) {
            out.append(indent);
            appendPretty(out, (*array)[i], depth + 1);
            out.append(i + 1 < array->size() ? ",\n" : "\n");
        }
        out.append(closingIndent).append(']');
        return;
    }
    if (const auto* object = value.objectValue(); object && !object->empty()) {
        out.append("{\n");
        std::size_t i = 0;
        for (const auto& [key, member] : *object) {
            out.append(indent).append(JSONValue(key).serialized()).append(": ");
            appendPretty(out, member, depth + 1);
            out.append(++i < object->size() ? ",\n" : "\n");
        }
        out.append(closingIndent).append('}');
        return;
    }
    // Scalars and empty containers are written as the compact form writes them.
    out.append(value.serialized());
}

} // namespace

QByteArray canonicalJSON(const JSONValue& value, bool prettyPrinted)
{
    if (!prettyPrinted)
        return value.serialized();
    QByteArray out;
    appendPretty(out, value, 0);
    return out;
}

std::expected<void, PaneCaptureError> writeDirectoryAtomically(const QString& target,
                                                               const DirectoryContents& files,
                                                               bool replaceExisting)
{
    const QFileInfo targetInfo(target);
    QDir parent = targetInfo.absoluteDir();
    const QString temporary =
        parent.filePath(u".tmp-"_s + QUuid::createUuid().toString(QUuid::WithoutBraces));
    if (!parent.mkdir(temporary))
        return std::unexpected(
            PaneCaptureError::fileFailed(temporary, u"could not create the directory"_s));

    auto fail = [&](PaneCaptureError error) -> std::expected<void, PaneCaptureError> {
        QDir(temporary).removeRecursively();
        return std::unexpected(std::move(error));
    };

    for (const auto& [name, bytes] : files) {
        QSaveFile file(QDir(temporary).filePath(name));
        if (!file.open(QIODevice::WriteOnly))
            return fail(PaneCaptureError::fileFailed(file.fileName(), file.errorString()));
        if (file.write(bytes) != bytes.size())
            return fail(PaneCaptureError::fileFailed(file.fileName(), file.errorString()));
        if (const auto committed = commitSaveFile(file); !committed)
            return fail(PaneCaptureError::fileFailed(file.fileName(), committed.error()));
    }
    // The old bundle is moved aside, not deleted, until the new one is in place: a failed move
    // must leave the person with the bundle they had.
    QString aside;
    if (replaceExisting && targetInfo.exists()) {
        aside = parent.filePath(u".old-"_s + QUuid::createUuid().toString(QUuid::WithoutBraces));
        if (!parent.rename(targetInfo.absoluteFilePath(), aside))
            return fail(
                PaneCaptureError::fileFailed(target, u"could not move the old directory aside"_s));
    }
    // QDir::rename never replaces an existing entry, so a target that appeared meanwhile wins.
    if (!parent.rename(temporary, targetInfo.absoluteFilePath())) {
        if (!aside.isEmpty())
            parent.rename(aside, targetInfo.absoluteFilePath());
        return fail(
            PaneCaptureError::fileFailed(target, u"could not move the new directory into place"_s));
    }
    if (!aside.isEmpty())
        QDir(aside).removeRecursively();
    return {};
}

} // namespace CaptureFiles
