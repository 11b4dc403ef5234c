// One line from herdr's socket: the JSON itself, the reply around a result, and every record a
// reply or a request carries, read at the top of the value and one level down; the same bytes
// as the output of `herdr session list --json`, here and on a remote host.
#include "FuzzSupport.h"

#include "HerdrClient/Sessions/HerdrPingInfo.h"
#include "HerdrClient/Sessions/RemoteHostConfiguration.h"
#include "HerdrClient/Sessions/SessionDirectory.h"
#include "HerdrClient/State/AgentRef.h"
#include "HerdrClient/Wire/HerdrClient.h"
#include "HerdrClient/Wire/PaneParams.h"
#include "HerdrClient/Wire/Snapshot.h"
#include "HerdrClient/Wire/Subscription.h"

namespace {

void readRecords(const JSONValue& value)
{
    using FuzzSupport::checkRoundTrip;
    checkRoundTrip<PaneInfo>(value);
    checkRoundTrip<PaneScrollInfo>(value);
    checkRoundTrip<WorkspaceInfo>(value);
    checkRoundTrip<TabInfo>(value);
    checkRoundTrip<AgentInfo>(value);
    checkRoundTrip<Subscription>(value);
    checkRoundTrip<PaneReadParams>(value);
    checkRoundTrip<PaneSendTextParams>(value);
    checkRoundTrip<PaneSendKeysParams>(value);
    checkRoundTrip<FocusParams>(value);
    checkRoundTrip<PaneReadResult>(value);
    checkRoundTrip<AgentRef>(value);
    checkRoundTrip<RemoteHostConfiguration>(value);
    checkRoundTrip<AgentStatus>(value);
    checkRoundTrip<ReadSource>(value);
    (void)PaneReadResult::fromResult(value);
    (void)HerdrPingInfo::fromResult(value);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    FuzzSupport::makeDeterministic();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArray line(reinterpret_cast<const char*>(data), qsizetype(size));
    (void)HerdrClient::classifyReply(line);
    const Environment environment{{QStringLiteral("HOME"), QStringLiteral("/home/ana")}};
    (void)SessionDirectory::decode(CommandOutput{0, line, {}}, std::nullopt, environment);
    (void)SessionDirectory::decode(CommandOutput{0, line, {}}, QStringLiteral("box"), environment);
    const auto parsed = JSONValue::parse(line);
    if (!parsed)
        return 0;

    // What was read is written back as the same value, and writing is stable.
    const QByteArray written = parsed->serialized();
    const auto reread = JSONValue::parse(written);
    FUZZ_CHECK(reread.has_value() && *reread == *parsed);
    FUZZ_CHECK(reread->serialized() == written);

    readRecords(*parsed);
    if (const auto* object = parsed->objectValue()) {
        for (const auto& [key, member] : *object)
            readRecords(member);
    } else if (const auto* array = parsed->arrayValue()) {
        for (const auto& element : *array)
            readRecords(element);
    }
    return 0;
}
