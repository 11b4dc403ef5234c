#include "HerdrClient/Sessions/SessionDescriptor.h"

#include "HerdrClient/Wire/JSONDecoding.h"

using namespace Qt::StringLiterals;

SessionDescriptor SessionDescriptor::localDefault(QString socketPath)
{
    return {Kind::local(defaultSessionName), std::move(socketPath), true, true};
}

QString SessionDescriptor::id() const
{
    if (kind.target)
        return u"ssh:"_s + *kind.target + u'/' + kind.name;
    return u"local:"_s + kind.name;
}

QString SessionDescriptor::label() const
{
    if (!kind.target)
        return kind.name;
    if (kind.name == defaultSessionName)
        return *kind.target;
    return *kind.target + u" · "_s + kind.name;
}

QString SessionDescriptor::attachCommand() const
{
    QString command = u"herdr"_s;
    if (kind.target)
        command += u" --remote "_s + *kind.target;
    if (kind.name != defaultSessionName)
        command += u" --session "_s + kind.name;
    return command;
}

JSONValue SessionDescriptor::asJSONValue() const
{
    return RecordWriter()
        .set(u"id"_s, id())
        .set(u"kind"_s, isRemote() ? u"remote"_s : u"local"_s)
        .set(u"name"_s, kind.name)
        .set(u"target"_s, kind.target)
        .set(u"label"_s, label())
        .set(u"serverSocketPath"_s, serverSocketPath)
        .set(u"isDefault"_s, isDefault)
        .set(u"isRunning"_s, isRunning)
        .value();
}
