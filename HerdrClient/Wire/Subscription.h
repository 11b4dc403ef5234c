#pragma once

#include "HerdrClient/Wire/JSONDecoding.h"

#include <QHashFunctions>
#include <QString>

#include <functional>
#include <optional>
#include <vector>

// One kind of event asked for on an event stream, optionally narrowed to one pane. Types use
// herdr's dotted names ("pane.created"); events arrive under the underscored ones.
struct Subscription {
    QString type;
    std::optional<QString> paneID;

    // `{"type":...}`, with `pane_id` only when there is a pane.
    JSONValue asJSONValue() const;
    static Decoded<Subscription> decode(const JSONValue& value);
    // The params of `events.subscribe`: `{"subscriptions":[...]}` in the given order.
    static JSONValue subscribeParams(const std::vector<Subscription>& subscriptions);

    bool operator==(const Subscription&) const = default;
};

size_t qHash(const Subscription& subscription, size_t seed = 0) noexcept;

template <>
struct std::hash<Subscription> {
    size_t operator()(const Subscription& subscription) const noexcept
    {
        return qHash(subscription);
    }
};
