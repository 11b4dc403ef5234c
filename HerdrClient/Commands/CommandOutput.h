#pragma once

#include <QByteArray>
#include <QString>

// What a finished command left behind. A non-zero status is a result, not a failure: the caller
// decides what it means.
struct CommandOutput {
    qint32 status = 0;
    QByteArray standardOutput;
    QByteArray standardError;

    // Standard error as text (bad UTF-8 repaired), trimmed.
    QString errorMessage() const { return QString::fromUtf8(standardError).trimmed(); }

    bool operator==(const CommandOutput&) const = default;
};
