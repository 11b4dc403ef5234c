#include "HerdrClient/State/RollupStatus.h"

using namespace Qt::StringLiterals;

int precedence(RollupStatus status)
{
    return 4 - int(status);
}

RollupStatus rollup(std::span<const RollupStatus> statuses)
{
    RollupStatus result = RollupStatus::unknown;
    for (const RollupStatus status : statuses) {
        if (precedence(status) > precedence(result))
            result = status;
    }
    return result;
}

RollupStatus rollupStatus(AgentStatus status)
{
    switch (status) {
    case AgentStatus::blocked: return RollupStatus::blocked;
    case AgentStatus::working: return RollupStatus::working;
    case AgentStatus::done: return RollupStatus::done;
    case AgentStatus::idle: return RollupStatus::idle;
    case AgentStatus::unknown: break;
    }
    return RollupStatus::unknown;
}

QString toString(RollupStatus status)
{
    switch (status) {
    case RollupStatus::blocked: return u"blocked"_s;
    case RollupStatus::working: return u"working"_s;
    case RollupStatus::done: return u"done"_s;
    case RollupStatus::idle: return u"idle"_s;
    case RollupStatus::unknown: break;
    }
    return u"unknown"_s;
}

std::optional<RollupStatus> rollupStatusFromString(QStringView text)
{
    for (const RollupStatus status :
         {RollupStatus::blocked, RollupStatus::working, RollupStatus::done, RollupStatus::idle,
          RollupStatus::unknown}) {
        if (text == toString(status))
            return status;
    }
    return std::nullopt;
}
