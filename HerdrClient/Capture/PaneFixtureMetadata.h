#pragma once

#include "HerdrClient/Capture/PaneCaptureMetadata.h"
#include "HerdrClient/Capture/PaneFixtureAnnotations.h"
#include "HerdrClient/Capture/PaneFixtureRegion.h"
#include "HerdrClient/Capture/PaneFixtureSanitization.h"

#include <optional>

// The "metadata.json" of a fixture: the hashes that tie its texts, notes and source together.
struct PaneFixtureMetadata {
    static constexpr qint64 currentSchemaVersion = 1;

    qint64 schemaVersion = currentSchemaVersion;
    QString artifactSHA256;
    PaneFixtureSanitization sanitization = PaneFixtureSanitization::none;
    std::optional<PaneFixtureRegion> region;
    QString fixtureDetectionSHA256;
    QString fixtureVisibleANSISHA256;
    PaneCaptureMetadata sourceCapture;
    PaneFixtureAnnotations annotations;

    static Decoded<PaneFixtureMetadata> decode(const JSONValue& value);
    JSONValue asJSONValue() const;
    bool operator==(const PaneFixtureMetadata&) const = default;
};
