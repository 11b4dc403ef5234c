#include "HerdrClient/Attention/AttentionItem.h"

#include "HerdrClient/Attention/EpochSeconds.h"

using namespace Qt::StringLiterals;

QString toString(AttentionItem::Phase phase)
{
    return phase == AttentionItem::Phase::grace ? u"grace"_s : u"alerted"_s;
}

QString reasonName(const AttentionItem::Reason& reason)
{
    switch (reason.index()) {
    case 0: return u"explicitAsk"_s;
    case 1: return u"escalation"_s;
    default: return u"rootBlocked"_s;
    }
}

JSONValue AttentionItem::asJSONValue() const
{
    RecordWriter writer;
    writer.set(u"id"_s, id)
        .set(u"paneID"_s, paneID)
        .set(u"rootPaneID"_s, rootPaneID)
        .set(u"reason"_s, reasonName(reason))
        .set(u"since"_s, epochSeconds(since))
        .set(u"phase"_s, toString(phase));
    if (const auto* ask = explicitAsk())
        writer.set(u"signal"_s, ask->signal);
    if (const auto* question = escalation())
        writer.set(u"questionID"_s, question->questionID).set(u"worker"_s, question->worker);
    return writer.value();
}
