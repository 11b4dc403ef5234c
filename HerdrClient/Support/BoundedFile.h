#pragma once

#include <QByteArray>
#include <QString>

#include <expected>
#include <optional>

// Reading a file that another program writes, without trusting it: only regular files, never
// more than a bound, and never blocking on a FIFO someone put in its place.
struct BoundedFile {
    enum class Failure { missing, notRegular, tooLarge, unreadable };
    enum class Links { follow, refuse };

    // The whole file, when it is a regular file of at most `limit` bytes both before and after
    // reading (it may grow while we read).
    static std::expected<QByteArray, Failure> read(const QString& path, qint64 limit, Links links);

    // Which file this is and when it last changed: device, inode, modification and status change
    // times (nanoseconds) and size. A file replaced by another of the same size and modification
    // time, as `cp -p` or rsync leave it, still gives another signature. Absent when the file
    // cannot be examined. Cheap: no read.
    static std::optional<QString> signature(const QString& path);
};
