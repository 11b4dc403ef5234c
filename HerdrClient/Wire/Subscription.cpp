#include "HerdrClient/Wire/Subscription.h"

using namespace Qt::StringLiterals;

JSONValue Subscription::asJSONValue() const
{
    return RecordWriter().set(u"type"_s, type).set(u"pane_id"_s, paneID).value();
}

Decoded<Subscription> Subscription::decode(const JSONValue& value)
{
    RecordReader r(value);
    Subscription s;
    s.type = r.required<QString>(u"type");
    s.paneID = r.optional<QString>(u"pane_id");
    return r.finish(s);
}

JSONValue Subscription::subscribeParams(const std::vector<Subscription>& subscriptions)
{
    JSONValue::Array list;
    list.reserve(subscriptions.size());
    for (const auto& s : subscriptions)
        list.push_back(s.asJSONValue());
    return JSONValue::object({{u"subscriptions"_s, JSONValue(std::move(list))}});
}

size_t qHash(const Subscription& subscription, size_t seed) noexcept
{
    // An absent pane and an empty pane id are different subscriptions.
    return qHashMulti(seed, subscription.type, subscription.paneID.has_value(),
                      subscription.paneID.value_or(QString()));
}
