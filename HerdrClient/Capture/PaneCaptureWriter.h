#pragma once

#include "HerdrClient/Capture/PaneCaptureBundle.h"

#include <QString>

#include <expected>

// Writes capture bundles so that no half-written bundle can ever appear.
namespace PaneCaptureWriter {

// Writes `<safeFileComponent(pane id)>.capture` in `directory` (made with its parents) and
// returns its path. An existing bundle is replaced only with `overwrite`.
std::expected<QString, PaneCaptureError> write(const PaneCaptureBundle& bundle,
                                               const QString& directory, bool overwrite);

// A file name made from any text: letters, digits, "-", "_" and "." stay, every other
// character becomes "_", and an empty result is "pane".
QString safeFileComponent(const QString& text);

// The metadata file's bytes: pretty canonical JSON and one newline.
QByteArray metadataBytes(const JSONValue& metadata);

} // namespace PaneCaptureWriter
