#include "OrrelApp/Sessions/EscalationAnswerFailure.h"

using namespace Qt::StringLiterals;

QString EscalationChanged::errorDescription() const
{
    return u"Escalation changed or delivery is unconfirmed. Nothing was sent; re-read its status."_s;
}

QString EscalationAnswerFailure::errorDescription() const
{
    return std::visit([](const auto& e) { return e.errorDescription(); }, error);
}
