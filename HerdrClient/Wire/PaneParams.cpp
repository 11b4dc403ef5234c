#include "HerdrClient/Wire/PaneParams.h"

using namespace Qt::StringLiterals;

Decoded<PaneReadParams> PaneReadParams::decode(const JSONValue& value)
{
    RecordReader r(value);
    PaneReadParams p;
    p.paneID = r.required<QString>(u"pane_id");
    p.source = r.required<ReadSource>(u"source");
    p.lines = r.optional<qint64>(u"lines");
    p.format = r.optional<QString>(u"format");
    p.stripAnsi = r.optional<bool>(u"strip_ansi");
    return r.finish(p);
}

JSONValue PaneReadParams::asJSONValue() const
{
    return RecordWriter()
        .set(u"pane_id"_s, paneID)
        .set(u"source"_s, source)
        .set(u"lines"_s, lines)
        .set(u"format"_s, format)
        .set(u"strip_ansi"_s, stripAnsi)
        .value();
}

Decoded<PaneSendTextParams> PaneSendTextParams::decode(const JSONValue& value)
{
    RecordReader r(value);
    PaneSendTextParams p;
    p.paneID = r.required<QString>(u"pane_id");
    p.text = r.required<QString>(u"text");
    return r.finish(p);
}

JSONValue PaneSendTextParams::asJSONValue() const
{
    return RecordWriter().set(u"pane_id"_s, paneID).set(u"text"_s, text).value();
}

Decoded<PaneSendKeysParams> PaneSendKeysParams::decode(const JSONValue& value)
{
    RecordReader r(value);
    PaneSendKeysParams p;
    p.paneID = r.required<QString>(u"pane_id");
    p.keys = r.required<std::vector<QString>>(u"keys");
    return r.finish(p);
}

JSONValue PaneSendKeysParams::asJSONValue() const
{
    return RecordWriter().set(u"pane_id"_s, paneID).set(u"keys"_s, keys).value();
}

Decoded<FocusParams> FocusParams::decode(const JSONValue& value)
{
    RecordReader r(value);
    FocusParams p;
    p.paneID = r.required<QString>(u"pane_id");
    return r.finish(p);
}

JSONValue FocusParams::asJSONValue() const
{
    return RecordWriter().set(u"pane_id"_s, paneID).value();
}

Decoded<PaneReadResult> PaneReadResult::fromResult(const JSONValue& result)
{
    const JSONValue* read = result.member(u"read");
    if (!read)
        return std::unexpected(DecodingError{u"read: required key is missing"_s});
    return decode(*read);
}

Decoded<PaneReadResult> PaneReadResult::decode(const JSONValue& value)
{
    RecordReader r(value);
    PaneReadResult p;
    p.text = r.required<QString>(u"text");
    p.source = r.optional<QString>(u"source");
    p.format = r.optional<QString>(u"format");
    p.paneID = r.optional<QString>(u"pane_id");
    return r.finish(p);
}

JSONValue PaneReadResult::asJSONValue() const
{
    return RecordWriter()
        .set(u"text"_s, text)
        .set(u"source"_s, source)
        .set(u"format"_s, format)
        .set(u"pane_id"_s, paneID)
        .value();
}
