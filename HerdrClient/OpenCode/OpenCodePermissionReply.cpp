#include "HerdrClient/OpenCode/OpenCodePermissionReply.h"

using namespace Qt::StringLiterals;

QString toString(OpenCodePermissionReply reply)
{
    switch (reply) {
    case OpenCodePermissionReply::once: return u"once"_s;
    case OpenCodePermissionReply::always: return u"always"_s;
    case OpenCodePermissionReply::reject: break;
    }
    return u"reject"_s;
}
