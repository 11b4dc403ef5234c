#include "HerdrClient/Capture/PaneFixtureRegion.h"

using namespace Qt::StringLiterals;

Decoded<PaneFixtureRegion> PaneFixtureRegion::decode(const JSONValue& value)
{
    RecordReader r(value);
    PaneFixtureRegion region;
    region.startMarker = r.required<QString>(u"start_marker");
    region.endMarker = r.optional<QString>(u"end_marker");
    return r.finish(region);
}

JSONValue PaneFixtureRegion::asJSONValue() const
{
    return RecordWriter()
        .set(u"start_marker"_s, startMarker)
        .set(u"end_marker"_s, endMarker)
        .value();
}
