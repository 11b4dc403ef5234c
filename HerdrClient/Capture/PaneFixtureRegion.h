#pragma once

#include "HerdrClient/Wire/JSONDecoding.h"

#include <QString>

#include <optional>

// The lines of a capture that a fixture keeps: from the line holding `startMarker` to the line
// holding `endMarker`, or to the end without one.
struct PaneFixtureRegion {
    QString startMarker;
    std::optional<QString> endMarker;

    static Decoded<PaneFixtureRegion> decode(const JSONValue& value);
    JSONValue asJSONValue() const;
    bool operator==(const PaneFixtureRegion&) const = default;
};
