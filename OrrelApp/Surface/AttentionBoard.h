#pragma once

#include "HerdrClient/Support/Clock.h"
#include "HerdrClient/Wire/JSONValue.h"
#include "OrrelApp/Surface/InteractionAttentionDisplayModel.h"

#include <QString>

#include <optional>
#include <vector>

// One line of the overview: an agent, with the words and the colour it is shown in.
struct AttentionBoardRow {
    enum class Tone { hot, amber, green, quiet };

    InteractionAttentionDisplayModel item;
    QString summary;
    std::optional<QString> meta;
    QString stateText;
    Tone tone = Tone::quiet;
    bool isChild = false;
    bool isAnswerable = true;
    int workerCount = 0;
    // When the row's reason began; orders the needs-you and grace sections.
    std::optional<Timestamp> since;

    JSONValue asJSONValue() const;
};

QString toString(AttentionBoardRow::Tone tone);

// A worker's escalation that can no longer be answered from here.
struct StaleEscalationRow {
    QString id;
    QString title;
    QString summary;

    JSONValue asJSONValue() const;
};

// The overview in its sections: what needs the person, what waits out its grace, and the rest.
struct AttentionBoard {
    std::vector<AttentionBoardRow> needsYou;
    std::vector<AttentionBoardRow> grace;
    std::vector<AttentionBoardRow> rest;
    int hiddenWorkers = 0;
    std::vector<StaleEscalationRow> stale;
    int rootCount = 0;

    JSONValue asJSONValue() const;
};

// "<n>s", "<n>m", "<n>h" or "<n>d", by the largest unit that fits.
QString ageText(qint64 seconds);
