#include "HerdrClient/Responding/InteractionResponseOperation.h"

#include <QStringList>

using namespace Qt::StringLiterals;

QString InteractionResponseOperation::method() const
{
    return kind == Kind::sendKeys ? u"pane.send_keys"_s : u"pane.send_text"_s;
}

QString InteractionResponseOperation::description() const
{
    if (kind == Kind::sendText)
        return u"\u201c"_s + text + u"\u201d"_s;
    return QStringList(keys.begin(), keys.end()).join(u' ');
}

JSONValue InteractionResponseOperation::asJSONValue() const
{
    if (kind == Kind::sendText)
        return JSONValue::object({{u"text"_s, text}});
    JSONValue::Array array;
    for (const auto& key : keys)
        array.emplace_back(key);
    return JSONValue::object({{u"keys"_s, JSONValue(std::move(array))}});
}
