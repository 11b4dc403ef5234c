#include "HerdrClient/Capture/PaneCaptureBundle.h"

#include "HerdrClient/Capture/CaptureFiles.h"

using namespace Qt::StringLiterals;

PaneCaptureBundle PaneCaptureBundle::make(PaneCaptureMetadata metadata, QString detectionText,
                                          QString visibleANSIText)
{
    const QByteArray detection = detectionText.toUtf8();
    const QByteArray visible = visibleANSIText.toUtf8();
    metadata.detectionByteCount = detection.size();
    metadata.visibleANSIByteCount = visible.size();
    metadata.detectionSHA256 = CaptureFiles::sha256Hex(detection);
    metadata.visibleANSISHA256 = CaptureFiles::sha256Hex(visible);
    return {std::move(metadata), std::move(detectionText), std::move(visibleANSIText)};
}

std::expected<PaneCaptureBundle, PaneCaptureError> PaneCaptureBundle::load(const QString& directory)
{
    const auto files = CaptureFiles::readDirectoryFiles(directory);
    if (!files)
        return std::unexpected(files.error());
    return fromFiles(*files);
}

std::expected<PaneCaptureBundle, PaneCaptureError> PaneCaptureBundle::fromFiles(
    const CaptureFiles::DirectoryFiles& files)
{
    const QByteArray& detection = files.detection;
    const QByteArray& visible = files.visibleANSI;

    const auto json = JSONValue::parse(files.metadata);
    if (!json)
        return std::unexpected(PaneCaptureError::invalidBundle(u"capture metadata is not JSON: "_s
                                                               + json.error().errorDescription()));
    auto metadata = PaneCaptureMetadata::decode(*json);
    if (!metadata)
        return std::unexpected(PaneCaptureError::invalidBundle(
            u"capture metadata could not be read: "_s + metadata.error().errorDescription()));

    if (detection.size() != metadata->detectionByteCount
        || visible.size() != metadata->visibleANSIByteCount)
        return std::unexpected(PaneCaptureError::invalidBundle(u"byte count mismatch"_s));
    if (CaptureFiles::sha256Hex(detection) != metadata->detectionSHA256
        || CaptureFiles::sha256Hex(visible) != metadata->visibleANSISHA256)
        return std::unexpected(PaneCaptureError::invalidBundle(u"SHA-256 mismatch"_s));
    if (!CaptureFiles::isValidUTF8(detection) || !CaptureFiles::isValidUTF8(visible))
        return std::unexpected(PaneCaptureError::invalidBundle(u"capture is not valid UTF-8"_s));

    return PaneCaptureBundle{std::move(*metadata), QString::fromUtf8(detection),
                             QString::fromUtf8(visible)};
}
