// A pane fixture's three files and its folder's name, and the region a fixture cuts from a
// capture. As for bundles, readable metadata is also given the hashes of the texts beside it.
#include "FuzzSupport.h"

#include "HerdrClient/Capture/PaneFixtureExtractor.h"

namespace {

void cutRegion(const QByteArray& text, const PaneFixtureRegion& region)
{
    const auto cut = PaneFixtureExtractor::extractRegion(text, region);
    if (!cut)
        return;
    // The cut is whole lines of the text that hold the start marker.
    FUZZ_CHECK(cut->contains(region.startMarker.toUtf8()));
    FUZZ_CHECK(text.contains(*cut));
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    FuzzSupport::makeDeterministic();
    return 0;
}

// Pieces: metadata.json, detection.txt, visible.ansi, folder name.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto pieces = FuzzSupport::split(data, size, 4);
    CaptureFiles::DirectoryFiles files{pieces[1].toByteArray(), pieces[2].toByteArray(),
                                       pieces[0].toByteArray()};
    (void)PaneFixtureExtractor::fixtureFromFiles(files, FuzzSupport::text(pieces[3]));

    const auto json = JSONValue::parse(files.metadata);
    if (!json)
        return 0;
    auto metadata = PaneFixtureMetadata::decode(*json);
    if (!metadata)
        return 0;
    FuzzSupport::checkRoundTrip<PaneFixtureMetadata>(*json);
    if (metadata->region) {
        cutRegion(files.detection, *metadata->region);
        cutRegion(files.visibleANSI, *metadata->region);
    }

    metadata->schemaVersion = PaneFixtureMetadata::currentSchemaVersion;
    metadata->fixtureDetectionSHA256 = CaptureFiles::sha256Hex(files.detection);
    metadata->fixtureVisibleANSISHA256 = CaptureFiles::sha256Hex(files.visibleANSI);
    metadata->artifactSHA256 = PaneFixtureExtractor::artifactSHA256(
        files.detection, files.visibleANSI, metadata->annotations, metadata->sourceCapture,
        metadata->region, metadata->sanitization);
    files.metadata = CaptureFiles::canonicalJSON(metadata->asJSONValue(), true);
    const QString folder =
        PaneFixtureExtractor::directoryName(metadata->annotations.name, metadata->artifactSHA256);
    const auto fixture = PaneFixtureExtractor::fixtureFromFiles(files, folder);
    const bool utf8 =
        CaptureFiles::isValidUTF8(files.detection) && CaptureFiles::isValidUTF8(files.visibleANSI);
    FUZZ_CHECK(fixture.has_value() == utf8);
    if (fixture) {
        FUZZ_CHECK(fixture->metadata == *metadata);
        FUZZ_CHECK(fixture->detectionText.toUtf8() == files.detection);
    }
    return 0;
}
