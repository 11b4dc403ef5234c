#include "OrrelApp/Surface/AttentionBoard.h"

#include "HerdrClient/Wire/JSONDecoding.h"

using namespace Qt::StringLiterals;

QString toString(AttentionBoardRow::Tone tone)
{
    switch (tone) {
    case AttentionBoardRow::Tone::hot: return u"hot"_s;
    case AttentionBoardRow::Tone::amber: return u"amber"_s;
    case AttentionBoardRow::Tone::green: return u"green"_s;
    case AttentionBoardRow::Tone::quiet: break;
    }
    return u"quiet"_s;
}

QString ageText(qint64 seconds)
{
    if (seconds < 60)
        return u"%1s"_s.arg(seconds);
    if (seconds < 3600)
        return u"%1m"_s.arg(seconds / 60);
    if (seconds < 86400)
        return u"%1h"_s.arg(seconds / 3600);
    return u"%1d"_s.arg(seconds / 86400);
}

JSONValue AttentionBoardRow::asJSONValue() const
{
    return RecordWriter()
        .set(u"ref"_s, item.ref.id())
        .set(u"taskTitle"_s, item.taskTitle)
        .set(u"summary"_s, summary)
        .set(u"meta"_s, meta)
        .set(u"stateText"_s, stateText)
        .set(u"tone"_s, toString(tone))
        .set(u"isChild"_s, isChild)
        .set(u"isAnswerable"_s, isAnswerable)
        .set(u"workerCount"_s, qint64(workerCount))
        .value();
}

JSONValue StaleEscalationRow::asJSONValue() const
{
    return RecordWriter()
        .set(u"id"_s, id)
        .set(u"title"_s, title)
        .set(u"summary"_s, summary)
        .value();
}

namespace {

template <class Row>
JSONValue rowsJSON(const std::vector<Row>& rows)
{
    JSONValue::Array array;
    for (const Row& row : rows)
        array.push_back(row.asJSONValue());
    return JSONValue(std::move(array));
}

} // namespace

JSONValue AttentionBoard::asJSONValue() const
{
    return RecordWriter()
        .set(u"needsYou"_s, rowsJSON(needsYou))
        .set(u"grace"_s, rowsJSON(grace))
        .set(u"rest"_s, rowsJSON(rest))
        .set(u"hiddenWorkers"_s, qint64(hiddenWorkers))
        .set(u"stale"_s, rowsJSON(stale))
        .set(u"rootCount"_s, qint64(rootCount))
        .value();
}
