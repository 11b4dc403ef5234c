#include "HerdrClient/OpenCode/OpenCodeSessionMessage.h"

#include <QStringList>

#include <ranges>

using namespace Qt::StringLiterals;

Decoded<OpenCodeSessionMessage::Info> OpenCodeSessionMessage::Info::decode(const JSONValue& value)
{
    RecordReader reader(value);
    Info info;
    info.role = reader.required<QString>(u"role");
    return reader.finish(std::move(info));
}

Decoded<OpenCodeSessionMessage::Part> OpenCodeSessionMessage::Part::decode(const JSONValue& value)
{
    RecordReader reader(value);
    Part part;
    part.type = reader.required<QString>(u"type");
    part.text = reader.optional<QString>(u"text");
    part.synthetic = reader.optional<bool>(u"synthetic");
    part.ignored = reader.optional<bool>(u"ignored");
    return reader.finish(std::move(part));
}

Decoded<OpenCodeSessionMessage> OpenCodeSessionMessage::decode(const JSONValue& value)
{
    RecordReader reader(value);
    OpenCodeSessionMessage message;
    message.info = reader.required<Info>(u"info");
    message.parts = reader.optional<std::vector<Part>>(u"parts").value_or(std::vector<Part>{});
    return reader.finish(std::move(message));
}

std::optional<QString> OpenCodeSessionMessage::userText() const
{
    if (info.role != u"user"_s)
        return std::nullopt;
    QStringList texts;
    for (const Part& part : parts) {
        if (part.type != u"text"_s || part.synthetic == true || part.ignored == true || !part.text)
            continue;
        const QString text = part.text->trimmed();
        if (!text.isEmpty())
            texts << text;
    }
    if (texts.isEmpty())
        return std::nullopt;
    return texts.join(u'\n');
}

std::optional<QString> OpenCodeSessionMessage::lastUserText(
    const std::vector<OpenCodeSessionMessage>& messages)
{
    for (const OpenCodeSessionMessage& message : std::views::reverse(messages)) {
        if (auto text = message.userText())
            return text;
    }
    return std::nullopt;
}
