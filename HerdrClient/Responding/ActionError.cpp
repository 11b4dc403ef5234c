#include "HerdrClient/Responding/ActionError.h"

using namespace Qt::StringLiterals;

QString ActionError::errorDescription() const
{
    switch (kind) {
    case Kind::keysRejected: return message;
    case Kind::interruptPaneUnreadable:
        return u"Couldn't confirm that pane %1 is still working. Nothing was sent."_s.arg(paneID);
    case Kind::interruptPaneNoLongerWorking:
        return u"This agent is now %1. Nothing was sent."_s.arg(toString(status));
    case Kind::messagePaneUnreadable:
        return u"Couldn't read pane %1 before sending. Nothing was sent."_s.arg(paneID);
    case Kind::messagePaneBlocked: break;
    }
    return u"The orchestrator is showing its own prompt. Answer it or Jump first. Nothing was sent."_s;
}

ActionFailure ActionFailure::fromRequest(const QString& method, RequestFailure failure)
{
    const HerdrError* herdr = failure.herdrError();
    if (herdr && herdr->kind == HerdrError::Kind::api && method.startsWith(u"pane.send")) {
        const bool keyCode = herdr->code.contains(u"key") || herdr->code.contains(u"invalid")
                             || herdr->code.contains(u"prefix");
        if (keyCode || herdr->message.toLower().contains(u"key"))
            return ActionError::keysRejected(herdr->message);
    }
    return failure;
}

QString ActionFailure::errorDescription() const
{
    return std::visit([](const auto& e) { return e.errorDescription(); }, error);
}
