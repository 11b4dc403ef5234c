// An opencode server's HTTP answer, read as it arrives in pieces of any size, and the JSON
// bodies of its permission and message lists.
#include "FuzzSupport.h"

#include "HerdrClient/OpenCode/OpenCodeHTTPResponseReader.h"
#include "HerdrClient/OpenCode/OpenCodePermissionRequest.h"
#include "HerdrClient/OpenCode/OpenCodeSessionMessage.h"

namespace {

// Small enough that the fuzzer meets the bound.
constexpr qsizetype maxBodyBytes = 2048;

void readBody(const QByteArray& body)
{
    const auto json = JSONValue::parse(body);
    if (!json)
        return;
    (void)JSONCoding<std::vector<OpenCodePermissionRequest>>::decode(*json);
    if (const auto messages = JSONCoding<std::vector<OpenCodeSessionMessage>>::decode(*json))
        (void)OpenCodeSessionMessage::lastUserText(*messages);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    FuzzSupport::makeDeterministic();
    return 0;
}

// Pieces: the sizes of the pieces the answer arrives in (one byte each, cycling), the answer.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto pieces = FuzzSupport::split(data, size, 2);
    const QByteArrayView sizes = pieces[0];
    const QByteArrayView answer = pieces[1];

    OpenCodeHTTPResponseReader whole(maxBodyBytes);
    whole.feed(answer);
    whole.finishAtEnd();

    OpenCodeHTTPResponseReader trickled(maxBodyBytes);
    qsizetype at = 0;
    for (qsizetype i = 0; at < answer.size(); ++i) {
        const qsizetype step =
            sizes.isEmpty() ? 1 : qsizetype(std::uint8_t(sizes[i % sizes.size()])) + 1;
        trickled.feed(answer.sliced(at, qMin(step, answer.size() - at)));
        at += step;
    }
    trickled.finishAtEnd();

    // How the bytes arrive changes nothing about what was read.
    FUZZ_CHECK(whole.state() == trickled.state());
    FUZZ_CHECK(whole.status() == trickled.status());
    FUZZ_CHECK(whole.body() == trickled.body());
    FUZZ_CHECK(whole.body().size() <= maxBodyBytes);
    if (whole.state() == OpenCodeHTTPResponseReader::State::complete)
        readBody(whole.body());
    return 0;
}
