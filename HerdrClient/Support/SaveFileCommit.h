#pragma once

#include <QSaveFile>
#include <QString>

#include <expected>

// Commits `file` only when every byte written to it reached the disk; otherwise the reason, and
// the temporary is dropped so that the target keeps its old content. QSaveFile (Qt 6.4) commits
// a file whose buffered write failed on a full disk, replacing a whole file with a cut one.
std::expected<void, QString> commitSaveFile(QSaveFile& file);
