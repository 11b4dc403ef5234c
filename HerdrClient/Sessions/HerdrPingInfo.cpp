#include "HerdrClient/Sessions/HerdrPingInfo.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

HerdrPingInfo HerdrPingInfo::fromResult(const JSONValue& result)
{
    HerdrPingInfo info;
    if (!result.objectValue())
        return info;
    if (const JSONValue* version = result.member(u"version"))
        info.version = version->stringValue();
    if (const JSONValue* protocol = result.member(u"protocol")) {
        if (protocol->doubleValue()) {
            info.protocolVersion = protocol->intValue();
        } else if (auto text = protocol->stringValue()) {
            static const QRegularExpression decimal(u"^[+-]?[0-9]+$"_s);
            bool ok = false;
            const qint64 value = text->toLongLong(&ok);
            if (decimal.match(*text).hasMatch() && ok)
                info.protocolVersion = value;
        }
    }
    return info;
}

QString HerdrPingInfo::summary() const
{
    QString text = version ? u"herdr "_s + *version : u"herdr (version unknown)"_s;
    if (protocolVersion)
        text += u" · protocol %1"_s.arg(*protocolVersion);
    return text;
}
