#include "HerdrClient/Sessions/RemoteHostConfiguration.h"

using namespace Qt::StringLiterals;

QString RemoteHostConfiguration::id() const
{
    if (!sessionName)
        return target;
    return target + u'/' + *sessionName;
}

JSONValue RemoteHostConfiguration::asJSONValue() const
{
    return RecordWriter().set(u"target"_s, target).set(u"sessionName"_s, sessionName).value();
}

Decoded<RemoteHostConfiguration> RemoteHostConfiguration::decode(const JSONValue& value)
{
    RecordReader reader(value);
    RemoteHostConfiguration host;
    host.target = reader.required<QString>(u"target");
    host.sessionName = reader.optional<QString>(u"sessionName");
    return reader.finish(std::move(host));
}
