#include "HerdrClient/State/AgentRef.h"

using namespace Qt::StringLiterals;

Decoded<AgentRef> AgentRef::decode(const JSONValue& value)
{
    RecordReader r(value);
    AgentRef ref;
    ref.sessionID = r.required<QString>(u"sessionID");
    ref.paneID = r.required<QString>(u"paneID");
    return r.finish(ref);
}

JSONValue AgentRef::asJSONValue() const
{
    return RecordWriter().set(u"sessionID"_s, sessionID).set(u"paneID"_s, paneID).value();
}
