#pragma once

#include "HerdrClient/Capture/CaptureFiles.h"
#include "HerdrClient/Capture/PaneCaptureError.h"
#include "HerdrClient/Capture/PaneFixtureMetadata.h"

#include <QByteArray>
#include <QString>

#include <expected>
#include <optional>

// Cuts capture bundles into content-addressed fixtures and proves that a fixture's texts, notes
// and source still belong together. A fixture is a directory
// "<safe name>-<first 12 characters of the artifact hash>.fixture".
namespace PaneFixtureExtractor {

// Makes the fixture of a capture and returns its path. Replacements (UTF-8 bytes) stand in for
// the captured texts, to remove private text; the region, when given, is cut from both texts.
// Extracting the same thing again returns the same directory; a different fixture under the
// same name is refused.
std::expected<QString, PaneCaptureError> extract(
    const QString& captureDirectory, const PaneFixtureAnnotations& annotations,
    const QString& outputDirectory, const std::optional<QByteArray>& replacementDetection,
    const std::optional<QByteArray>& replacementVisibleANSI,
    const std::optional<PaneFixtureRegion>& region);

// A fixture that passed every check, with its texts.
struct VerifiedFixture {
    PaneFixtureMetadata metadata;
    QString detectionText;
    QString visibleANSIText;
};

std::expected<VerifiedFixture, PaneCaptureError> loadFixture(const QString& directory);
// The same checks over a fixture's files once read, `directoryName` being its folder's name.
std::expected<VerifiedFixture, PaneCaptureError> fixtureFromFiles(
    const CaptureFiles::DirectoryFiles& files, const QString& directoryName);
std::expected<PaneFixtureMetadata, PaneCaptureError> verifyFixture(const QString& directory);

QByteArray canonicalJSON(const JSONValue& value, bool prettyPrinted);

// SHA-256 over a fixed prefix and six length-prefixed parts: both texts, the annotations, the
// source capture, the region (or "null") and the sanitization's text.
QString artifactSHA256(const QByteArray& detection, const QByteArray& visibleANSI,
                       const PaneFixtureAnnotations& annotations,
                       const PaneCaptureMetadata& sourceCapture,
                       const std::optional<PaneFixtureRegion>& region,
                       PaneFixtureSanitization sanitization);

// Whole lines: from the start of the line holding the start marker to the end (newline
// included) of the line holding the end marker, or to the end of the data without one.
std::expected<QByteArray, PaneCaptureError> extractRegion(const QByteArray& data,
                                                          const PaneFixtureRegion& region);

// "<safe name>-<first 12 of the hash>.fixture".
QString directoryName(const QString& name, const QString& artifactSHA256);

} // namespace PaneFixtureExtractor
