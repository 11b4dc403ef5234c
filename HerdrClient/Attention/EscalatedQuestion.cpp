#include "HerdrClient/Attention/EscalatedQuestion.h"

#include "HerdrClient/Attention/EpochSeconds.h"
#include "HerdrClient/Wire/JSONDecoding.h"

using namespace Qt::StringLiterals;

bool EscalatedQuestion::canAnswer() const
{
    return originPaneID.has_value() && notificationConfirmed && !resolutionStarted;
}

QString EscalatedQuestion::status() const
{
    if (resolutionStarted)
        return u"Answer delivery unconfirmed"_s;
    if (!notificationConfirmed)
        return u"Escalation delivery unconfirmed"_s;
    if (!originPaneID)
        return u"Escalation missing recorded origin"_s;
    return u"Escalated question"_s;
}

JSONValue EscalatedQuestion::asJSONValue() const
{
    JSONValue::Array descriptions;
    for (const auto& description : optionDescriptions)
        descriptions.push_back(description ? JSONValue(*description) : JSONValue());
    return RecordWriter()
        .set(u"id"_s, id)
        .set(u"ownerPaneID"_s, ownerPaneID)
        .set(u"childPaneID"_s, childPaneID)
        .set(u"childKind"_s, childKind)
        .set(u"question"_s, question)
        .set(u"since"_s, epochSeconds(since))
        .set(u"header"_s, header)
        .set(u"options"_s, options)
        .set(u"optionDescriptions"_s, JSONValue(std::move(descriptions)))
        .set(u"originPaneID"_s, originPaneID)
        .set(u"notificationConfirmed"_s, notificationConfirmed)
        .set(u"resolutionStarted"_s, resolutionStarted)
        .set(u"status"_s, status())
        .value();
}
