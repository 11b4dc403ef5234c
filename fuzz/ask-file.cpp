// An ask: the "nh" token a pane carries and the ask file it names, then the hard floor that
// reads the ask's words.
#include "FuzzSupport.h"

#include "HerdrClient/Attention/HardFloor.h"
#include "HerdrClient/Attention/NeedsHumanSignal.h"

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    FuzzSupport::makeDeterministic();
    return 0;
}

// Pieces: token, ask file, pane id (absent when empty).
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto pieces = FuzzSupport::split(data, size, 3);
    const QString token = FuzzSupport::text(pieces[0]);
    const std::optional<QString> paneID =
        pieces[2].isEmpty() ? std::nullopt : std::optional(FuzzSupport::text(pieces[2]));

    const std::map<QString, QString> tokens{{QStringLiteral("nh"), token}};
    const auto bare = NeedsHumanSignal::decode(tokens, paneID, QString(), false);
    const auto id = NeedsHumanSignal::idFromToken(token);
    FUZZ_CHECK(bare.has_value() == id.has_value());
    // An id names a file in the asks folder and nothing else.
    if (id)
        FUZZ_CHECK(!id->contains(u'/') && !id->contains(u'.') && !id->isEmpty());

    const auto signal = NeedsHumanSignal::fromAskFile(pieces[1], id.value_or(token), paneID);
    if (!signal)
        return 0;
    FUZZ_CHECK(signal->v == 1 && !signal->q.isEmpty());
    (void)signal->asJSONValue().serialized();
    (void)HardFloor::classify(nullptr, &*signal, QStringLiteral("api"));
    return 0;
}
