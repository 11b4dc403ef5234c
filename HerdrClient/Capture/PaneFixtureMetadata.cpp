#include "HerdrClient/Capture/PaneFixtureMetadata.h"

using namespace Qt::StringLiterals;

Decoded<PaneFixtureMetadata> PaneFixtureMetadata::decode(const JSONValue& value)
{
    RecordReader r(value);
    PaneFixtureMetadata m;
    m.schemaVersion = r.required<qint64>(u"schema_version");
    m.artifactSHA256 = r.required<QString>(u"artifact_sha256");
    m.sanitization = r.required<PaneFixtureSanitization>(u"sanitization");
    m.region = r.optional<PaneFixtureRegion>(u"region");
    m.fixtureDetectionSHA256 = r.required<QString>(u"fixture_detection_sha256");
    m.fixtureVisibleANSISHA256 = r.required<QString>(u"fixture_visible_ansi_sha256");
    m.sourceCapture = r.required<PaneCaptureMetadata>(u"source_capture");
    m.annotations = r.required<PaneFixtureAnnotations>(u"annotations");
    return r.finish(m);
}

JSONValue PaneFixtureMetadata::asJSONValue() const
{
    return RecordWriter()
        .set(u"schema_version"_s, schemaVersion)
        .set(u"artifact_sha256"_s, artifactSHA256)
        .set(u"sanitization"_s, sanitization)
        .set(u"region"_s, region)
        .set(u"fixture_detection_sha256"_s, fixtureDetectionSHA256)
        .set(u"fixture_visible_ansi_sha256"_s, fixtureVisibleANSISHA256)
        .set(u"source_capture"_s, sourceCapture)
        .set(u"annotations"_s, annotations)
        .value();
}
