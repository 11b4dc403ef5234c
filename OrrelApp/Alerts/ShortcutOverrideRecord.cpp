#include "OrrelApp/Alerts/ShortcutOverrideRecord.h"

using namespace Qt::StringLiterals;

JSONValue ShortcutOverrideRecord::asJSONValue() const
{
    return RecordWriter().set(u"disabled"_s, disabled).set(u"shortcut"_s, shortcut).value();
}

Decoded<ShortcutOverrideRecord> ShortcutOverrideRecord::decode(const JSONValue& value)
{
    RecordReader reader(value);
    ShortcutOverrideRecord record;
    record.disabled = reader.optional<bool>(u"disabled").value_or(false);
    record.shortcut = reader.optional<GlobalKeyboardShortcut>(u"shortcut");
    return reader.finish(std::move(record));
}
