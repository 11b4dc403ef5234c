// A capture bundle's three files. The metadata is read as it comes; when it can be read, it is
// also given the counts and hashes of the texts beside it, so that what follows the hash check
// is reached too.
#include "FuzzSupport.h"

#include "HerdrClient/Capture/PaneCaptureBundle.h"

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    FuzzSupport::makeDeterministic();
    return 0;
}

// Pieces: metadata.json, detection.txt, visible.ansi.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto pieces = FuzzSupport::split(data, size, 3);
    CaptureFiles::DirectoryFiles files{pieces[1].toByteArray(), pieces[2].toByteArray(),
                                       pieces[0].toByteArray()};
    (void)PaneCaptureBundle::fromFiles(files);

    const auto json = JSONValue::parse(files.metadata);
    if (!json)
        return 0;
    auto metadata = PaneCaptureMetadata::decode(*json);
    if (!metadata)
        return 0;
    FuzzSupport::checkRoundTrip<PaneCaptureMetadata>(*json);

    metadata->detectionByteCount = files.detection.size();
    metadata->visibleANSIByteCount = files.visibleANSI.size();
    metadata->detectionSHA256 = CaptureFiles::sha256Hex(files.detection);
    metadata->visibleANSISHA256 = CaptureFiles::sha256Hex(files.visibleANSI);
    files.metadata = CaptureFiles::canonicalJSON(metadata->asJSONValue(), true);
    const auto bundle = PaneCaptureBundle::fromFiles(files);
    // Matching files are refused only for text that is not UTF-8, and none is lost on the way.
    const bool utf8 =
        CaptureFiles::isValidUTF8(files.detection) && CaptureFiles::isValidUTF8(files.visibleANSI);
    FUZZ_CHECK(bundle.has_value() == utf8);
    if (bundle) {
        FUZZ_CHECK(bundle->metadata == *metadata);
        FUZZ_CHECK(bundle->detectionText.toUtf8() == files.detection);
        FUZZ_CHECK(bundle->visibleANSIText.toUtf8() == files.visibleANSI);
    }
    return 0;
}
