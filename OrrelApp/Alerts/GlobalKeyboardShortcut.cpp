#include "OrrelApp/Alerts/GlobalKeyboardShortcut.h"

#include <limits>

using namespace Qt::StringLiterals;

QString GlobalKeyboardShortcut::symbols(std::uint32_t flags)
{
    QString text;
    if (flags & superMask)
        text += u"Super+"_s;
    if (flags & controlMask)
        text += u"Ctrl+"_s;
    if (flags & altMask)
        text += u"Alt+"_s;
    if (flags & shiftMask)
        text += u"Shift+"_s;
    return text;
}

JSONValue GlobalKeyboardShortcut::asJSONValue() const
{
    return RecordWriter()
        .set(u"keyCode"_s, quint64(keyCode))
        .set(u"modifierRawValue"_s, quint64(modifierRawValue))
        .set(u"keyLabel"_s, keyLabel)
        .value();
}

Decoded<GlobalKeyboardShortcut> GlobalKeyboardShortcut::decode(const JSONValue& value)
{
    RecordReader reader(value);
    const auto keyCode = reader.required<quint64>(u"keyCode");
    const auto modifiers = reader.required<quint64>(u"modifierRawValue");
    auto label = reader.required<QString>(u"keyLabel");
    constexpr auto largest = std::numeric_limits<std::uint32_t>::max();
    if (!reader.failed() && (keyCode > largest || modifiers > largest))
        return std::unexpected(DecodingError{u"key code or modifiers out of range"_s});
    return reader.finish(
        GlobalKeyboardShortcut{std::uint32_t(keyCode), std::uint32_t(modifiers), std::move(label)});
}
