#include "HerdrClient/Capture/PaneCaptureError.h"

using namespace Qt::StringLiterals;

PaneCaptureError PaneCaptureError::bundleAlreadyExists(QString path)
{
    PaneCaptureError e;
    e.kind = Kind::bundleAlreadyExists;
    e.path = std::move(path);
    return e;
}

PaneCaptureError PaneCaptureError::paneNotFound(QString paneID)
{
    PaneCaptureError e;
    e.kind = Kind::paneNotFound;
    e.paneID = std::move(paneID);
    return e;
}

PaneCaptureError PaneCaptureError::unreadablePane(QString paneID, ReadSource source)
{
    PaneCaptureError e;
    e.kind = Kind::unreadablePane;
    e.paneID = std::move(paneID);
    e.source = source;
    return e;
}

PaneCaptureError PaneCaptureError::invalidBundle(QString reason)
{
    PaneCaptureError e;
    e.kind = Kind::invalidBundle;
    e.reason = std::move(reason);
    return e;
}

PaneCaptureError PaneCaptureError::fixtureAlreadyExists(QString path)
{
    PaneCaptureError e;
    e.kind = Kind::fixtureAlreadyExists;
    e.path = std::move(path);
    return e;
}

PaneCaptureError PaneCaptureError::requestFailed(RequestFailure failure)
{
    PaneCaptureError e;
    e.kind = Kind::requestFailed;
    e.failure = std::move(failure);
    return e;
}

PaneCaptureError PaneCaptureError::fileFailed(QString path, QString reason)
{
    PaneCaptureError e;
    e.kind = Kind::fileFailed;
    e.path = std::move(path);
    e.reason = std::move(reason);
    return e;
}

QString PaneCaptureError::errorDescription() const
{
    switch (kind) {
    case Kind::bundleAlreadyExists:
        return u"A capture already exists at %1; nothing was written."_s.arg(path);
    case Kind::paneNotFound: return u"Pane %1 is not in herdr's snapshot."_s.arg(paneID);
    case Kind::unreadablePane:
        return u"Pane %1 could not be read (%2)."_s.arg(paneID, toString(source));
    case Kind::invalidBundle: return reason;
    case Kind::fixtureAlreadyExists:
        return u"A different fixture already exists at %1; nothing was written."_s.arg(path);
    case Kind::requestFailed: return failure ? failure->errorDescription() : QString();
    case Kind::fileFailed: break;
    }
    return u"%1: %2"_s.arg(path, reason);
}
