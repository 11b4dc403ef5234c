#pragma once

#include "HerdrClient/Attention/EscalatedQuestion.h"

#include <QByteArrayView>

#include <vector>

// The escalations of the pi sentinel's append-only journal, one JSON object per line. The
// journal is another program's file: a line that cannot be used is skipped, never an error.
struct PiHarnessJournal {
    // Open escalations: announced and not resolved, sorted by id.
    std::vector<EscalatedQuestion> escalations;

    PiHarnessJournal() = default;
    explicit PiHarnessJournal(QByteArrayView data);

    // The open escalation with `id`, if any.
    const EscalatedQuestion* escalation(const QString& id) const;

    bool operator==(const PiHarnessJournal&) const = default;
};
