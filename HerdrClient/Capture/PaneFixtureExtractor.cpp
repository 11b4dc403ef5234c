#include "HerdrClient/Capture/PaneFixtureExtractor.h"

#include "HerdrClient/Capture/CaptureFiles.h"
#include "HerdrClient/Capture/PaneCaptureBundle.h"
#include "HerdrClient/Capture/PaneCaptureWriter.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QtEndian>

using namespace Qt::StringLiterals;

namespace PaneFixtureExtractor {

namespace {

constexpr char artifactPrefix[] = "orrelsentry-fixture-v1";
constexpr qsizetype shortHashLength = 12;

CaptureFiles::DirectoryContents fixtureFiles(const QByteArray& detection, const QByteArray& visible,
                                             const QByteArray& metadata)
{
    return {{QString::fromLatin1(CaptureFiles::detectionFile), detection},
            {QString::fromLatin1(CaptureFiles::visibleANSIFile), visible},
            {QString::fromLatin1(CaptureFiles::metadataFile), metadata}};
}

// True when `directory` holds exactly these bytes under each name.
bool holdsSameFiles(const QString& directory, const CaptureFiles::DirectoryContents& files)
{
    for (const auto& [name, bytes] : files) {
        const auto existing =
            CaptureFiles::readBounded(QDir(directory).filePath(name), bytes.size());
        if (!existing || *existing != bytes)
            return false;
    }
    return true;
}

} // namespace

QByteArray canonicalJSON(const JSONValue& value, bool prettyPrinted)
{
    return CaptureFiles::canonicalJSON(value, prettyPrinted);
}

QString artifactSHA256(const QByteArray& detection, const QByteArray& visibleANSI,
                       const PaneFixtureAnnotations& annotations,
                       const PaneCaptureMetadata& sourceCapture,
                       const std::optional<PaneFixtureRegion>& region,
                       PaneFixtureSanitization sanitization)
{
    QCryptographicHash hash(QCryptographicHash::Sha256);
    hash.addData(QByteArrayView(artifactPrefix));
    const QByteArray parts[] = {
        detection,
        visibleANSI,
        canonicalJSON(annotations.asJSONValue(), false),
        canonicalJSON(sourceCapture.asJSONValue(), false),
        region ? canonicalJSON(region->asJSONValue(), false) : QByteArray("null"),
        toString(sanitization).toUtf8(),
    };
    for (const QByteArray& part : parts) {
        char length[8];
        qToBigEndian(quint64(part.size()), length);
        hash.addData(QByteArrayView(length, sizeof length));
        hash.addData(part);
    }
    return QString::fromLatin1(hash.result().toHex());
}

std::expected<QByteArray, PaneCaptureError> extractRegion(const QByteArray& data,
                                                          const PaneFixtureRegion& region)
{
    const QByteArray startMarker = region.startMarker.toUtf8();
    const qsizetype start = data.indexOf(startMarker);
    if (start < 0)
        return std::unexpected(
            PaneCaptureError::invalidBundle(u"start marker not found: "_s + region.startMarker));
    // lastIndexOf with a negative start means "from the end", so the first line is a case apart.
    const qsizetype lineStart = start == 0 ? 0 : data.lastIndexOf('\n', start - 1) + 1;
    if (!region.endMarker)
        return data.mid(lineStart);

    const QByteArray endMarker = region.endMarker->toUtf8();
    const qsizetype end = data.indexOf(endMarker, start);
    if (end < 0)
        return std::unexpected(
            PaneCaptureError::invalidBundle(u"end marker not found: "_s + *region.endMarker));
    // An end marker found inside the start marker must not cut the start marker short: the cut
    // runs at least to the line of the start marker's last byte.
    const qsizetype after = qMax(end + endMarker.size(), start + startMarker.size() - 1);
    const qsizetype newline = data.indexOf('\n', after);
    const qsizetype lineEnd = newline < 0 ? data.size() : newline + 1;
    return data.mid(lineStart, lineEnd - lineStart);
}

QString directoryName(const QString& name, const QString& artifactSHA256)
{
    return PaneCaptureWriter::safeFileComponent(name) + u'-' + artifactSHA256.left(shortHashLength)
           + u".fixture"_s;
}

std::expected<QString, PaneCaptureError> extract(
    const QString& captureDirectory, const PaneFixtureAnnotations& annotations,
    const QString& outputDirectory, const std::optional<QByteArray>& replacementDetection,
    const std::optional<QByteArray>& replacementVisibleANSI,
    const std::optional<PaneFixtureRegion>& region)
{
    const auto bundle = PaneCaptureBundle::load(captureDirectory);
    if (!bundle)
        return std::unexpected(bundle.error());

    for (const auto* replacement : {&replacementDetection, &replacementVisibleANSI}) {
        if (*replacement && !CaptureFiles::isValidUTF8(**replacement))
            return std::unexpected(
                PaneCaptureError::invalidBundle(u"fixture replacement is not valid UTF-8"_s));
    }
    const auto sanitization = replacementDetection || replacementVisibleANSI
                                  ? PaneFixtureSanitization::explicitReplacement
                                  : PaneFixtureSanitization::none;
    QByteArray detection = replacementDetection.value_or(bundle->detectionText.toUtf8());
    QByteArray visible = replacementVisibleANSI.value_or(bundle->visibleANSIText.toUtf8());
    if (region) {
        auto detectionRegion = extractRegion(detection, *region);
        if (!detectionRegion)
            return std::unexpected(detectionRegion.error());
        auto visibleRegion = extractRegion(visible, *region);
        if (!visibleRegion)
            return std::unexpected(visibleRegion.error());
        detection = std::move(*detectionRegion);
        visible = std::move(*visibleRegion);
    }

    PaneFixtureMetadata metadata;
    metadata.sanitization = sanitization;
    metadata.region = region;
    metadata.fixtureDetectionSHA256 = CaptureFiles::sha256Hex(detection);
    metadata.fixtureVisibleANSISHA256 = CaptureFiles::sha256Hex(visible);
    metadata.sourceCapture = bundle->metadata;
    metadata.annotations = annotations;
    metadata.artifactSHA256 =
        artifactSHA256(detection, visible, annotations, bundle->metadata, region, sanitization);

    const auto files =
        fixtureFiles(detection, visible, PaneCaptureWriter::metadataBytes(metadata.asJSONValue()));
    if (!QDir().mkpath(outputDirectory))
        return std::unexpected(
            PaneCaptureError::fileFailed(outputDirectory, u"could not create the directory"_s));
    const QString target =
        QFileInfo(QDir(outputDirectory)
                      .filePath(directoryName(annotations.name, metadata.artifactSHA256)))
            .absoluteFilePath();
    if (QFileInfo::exists(target)) {
        if (holdsSameFiles(target, files))
            return target;
        return std::unexpected(PaneCaptureError::fixtureAlreadyExists(target));
    }
    const auto written = CaptureFiles::writeDirectoryAtomically(target, files, false);
    if (!written) {
        // A concurrent extraction of the same fixture is as good as our own.
        if (QFileInfo::exists(target) && holdsSameFiles(target, files))
            return target;
        if (QFileInfo::exists(target))
            return std::unexpected(PaneCaptureError::fixtureAlreadyExists(target));
        return std::unexpected(written.error());
    }
    return target;
}

std::expected<VerifiedFixture, PaneCaptureError> loadFixture(const QString& directory)
{
    const auto files = CaptureFiles::readDirectoryFiles(directory);
    if (!files)
        return std::unexpected(files.error());
    return fixtureFromFiles(*files, QFileInfo(QDir::cleanPath(directory)).fileName());
}

std::expected<VerifiedFixture, PaneCaptureError> fixtureFromFiles(
    const CaptureFiles::DirectoryFiles& files, const QString& directoryName)
{
    const QByteArray& detection = files.detection;
    const QByteArray& visible = files.visibleANSI;

    const auto json = JSONValue::parse(files.metadata);
    if (!json)
        return std::unexpected(PaneCaptureError::invalidBundle(u"fixture metadata is not JSON: "_s
                                                               + json.error().errorDescription()));
    // The schema decides how the rest is read, so it is looked at before anything else.
    const JSONValue* schema = json->member(u"schema_version");
    if (!schema || schema->doubleValue() != double(PaneFixtureMetadata::currentSchemaVersion))
        return std::unexpected(PaneCaptureError::invalidBundle(u"unsupported fixture schema"_s));
    auto metadata = PaneFixtureMetadata::decode(*json);
    if (!metadata)
        return std::unexpected(PaneCaptureError::invalidBundle(
            u"fixture metadata could not be read: "_s + metadata.error().errorDescription()));

    if (CaptureFiles::sha256Hex(detection) != metadata->fixtureDetectionSHA256
        || CaptureFiles::sha256Hex(visible) != metadata->fixtureVisibleANSISHA256)
        return std::unexpected(PaneCaptureError::invalidBundle(u"fixture SHA-256 mismatch"_s));
    const QString artifact =
        artifactSHA256(detection, visible, metadata->annotations, metadata->sourceCapture,
                       metadata->region, metadata->sanitization);
    if (artifact != metadata->artifactSHA256)
        return std::unexpected(PaneCaptureError::invalidBundle(u"artifact SHA-256 mismatch"_s));
    const QString suffix = u'-' + artifact.left(shortHashLength) + u".fixture"_s;
    if (!directoryName.endsWith(suffix))
        return std::unexpected(
            PaneCaptureError::invalidBundle(u"fixture directory is not content-addressed"_s));
    if (!CaptureFiles::isValidUTF8(detection) || !CaptureFiles::isValidUTF8(visible))
        return std::unexpected(PaneCaptureError::invalidBundle(u"fixture is not valid UTF-8"_s));

    return VerifiedFixture{std::move(*metadata), QString::fromUtf8(detection),
                           QString::fromUtf8(visible)};
}

std::expected<PaneFixtureMetadata, PaneCaptureError> verifyFixture(const QString& directory)
{
    auto fixture = loadFixture(directory);
    if (!fixture)
        return std::unexpected(fixture.error());
    return std::move(fixture->metadata);
}

} // namespace PaneFixtureExtractor
