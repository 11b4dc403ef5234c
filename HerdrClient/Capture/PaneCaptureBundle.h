#pragma once

#include "HerdrClient/Capture/CaptureFiles.h"
#include "HerdrClient/Capture/PaneCaptureError.h"
#include "HerdrClient/Capture/PaneCaptureMetadata.h"

#include <QString>

#include <expected>

// One pane's screen at one moment: both texts the interaction path reads, and what herdr said
// around them. On disk it is a directory "<safe pane id>.capture" (see PaneCaptureWriter).
struct PaneCaptureBundle {
    PaneCaptureMetadata metadata;
    QString detectionText;
    QString visibleANSIText;

    // A bundle for these texts, with their byte counts and hashes filled into `metadata`.
    static PaneCaptureBundle make(PaneCaptureMetadata metadata, QString detectionText,
                                  QString visibleANSIText);

    // Reads a bundle directory and proves that its texts are the ones its metadata describes.
    static std::expected<PaneCaptureBundle, PaneCaptureError> load(const QString& directory);
    // The same proof over a bundle's files once read.
    static std::expected<PaneCaptureBundle, PaneCaptureError> fromFiles(
        const CaptureFiles::DirectoryFiles& files);

    bool operator==(const PaneCaptureBundle&) const = default;
};
