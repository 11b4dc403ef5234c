#include "HerdrClient/OpenCode/OpenCodePermissionRequest.h"

using namespace Qt::StringLiterals;

Decoded<OpenCodePermissionRequest> OpenCodePermissionRequest::decode(const JSONValue& value)
{
    RecordReader reader(value);
    OpenCodePermissionRequest request;
    request.id = reader.required<QString>(u"id");
    request.sessionID = reader.required<QString>(u"sessionID");
    if (const auto permission = reader.optional<QString>(u"permission"))
        request.permission = *permission;
    else
        request.permission = reader.optional<QString>(u"type").value_or(u"permission"_s);
    request.title = reader.optional<QString>(u"title");
    if (const JSONValue* patterns = value.member(u"patterns"); patterns && !patterns->isNull()) {
        request.patterns =
            reader.optional<std::vector<QString>>(u"patterns").value_or(std::vector<QString>{});
    } else if (const JSONValue* pattern = value.member(u"pattern");
               pattern && pattern->arrayValue()) {
        request.patterns =
            reader.optional<std::vector<QString>>(u"pattern").value_or(std::vector<QString>{});
    } else if (const auto single = reader.optional<QString>(u"pattern")) {
        request.patterns = {*single};
    }
    request.metadata = reader.optional<std::map<QString, JSONValue>>(u"metadata")
                           .value_or(std::map<QString, JSONValue>{});
    request.always =
        reader.optional<std::vector<QString>>(u"always").value_or(std::vector<QString>{});
    return reader.finish(std::move(request));
}
