#pragma once

#include "HerdrClient/Capture/PaneCaptureError.h"
#include "HerdrClient/Wire/JSONValue.h"

#include <QByteArray>
#include <QString>

#include <expected>
#include <utility>
#include <vector>

// The file work that capture bundles and fixtures share: bounded reads, atomic directories,
// hashes and the canonical JSON both formats are written in.
namespace CaptureFiles {

inline constexpr char detectionFile[] = "detection.txt";
inline constexpr char visibleANSIFile[] = "visible.ansi";
inline constexpr char metadataFile[] = "metadata.json";

// Screens are a few kilobytes; anything near these sizes was not written by us.
inline constexpr qint64 maximumTextBytes = 8 * 1024 * 1024;
inline constexpr qint64 maximumMetadataBytes = 1024 * 1024;

// SHA-256 of the bytes, as 64 lower-case hexadecimal characters.
QString sha256Hex(QByteArrayView bytes);

bool isValidUTF8(QByteArrayView bytes);

// The whole file, refusing anything larger than `limit` bytes.
std::expected<QByteArray, PaneCaptureError> readBounded(const QString& path, qint64 limit);

// The three files that bundles and fixtures both consist of, as they are on disk.
struct DirectoryFiles {
    QByteArray detection;
    QByteArray visibleANSI;
    QByteArray metadata;
};

// Reads the three files of a bundle or fixture directory, each within its bound.
std::expected<DirectoryFiles, PaneCaptureError> readDirectoryFiles(const QString& directory);

// Keys sorted and slashes unescaped. The pretty form indents by two blanks and is what the
// metadata files hold; hashes always take the compact form.
QByteArray canonicalJSON(const JSONValue& value, bool prettyPrinted);

using DirectoryContents = std::vector<std::pair<QString, QByteArray>>;

// Writes `files` into a fresh ".tmp-<uuid>" sibling of `target` and renames it into place, so
// that no half-written directory can appear under the target's name. With `replaceExisting` an
// existing target is removed just before the rename; without it the rename refuses to replace.
std::expected<void, PaneCaptureError> writeDirectoryAtomically(const QString& target,
                                                               const DirectoryContents& files,
                                                               bool replaceExisting);

} // namespace CaptureFiles
