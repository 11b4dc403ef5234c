#pragma once

#include "HerdrClient/State/StateTransitionResult.h"

#include <QCoroTask>
#include <QString>

#include <optional>

class SessionRuntime;

// Whoever shows a session runtime's results: the view model in the application, a printer in
// orrelctl. The runtime holds it weakly (tracked when it is a QObject) and asks it, each cycle,
// how fast to poll.
class SessionRuntimeHost {
public:
    virtual ~SessionRuntimeHost() = default;

    // The reaction to one cycle of `runtime`; `selectedPaneID` is the selection the cycle began
    // with. The runtime may be gone when this returns.
    virtual QCoro::Task<> sessionRuntimeDidObserve(SessionRuntime* runtime,
                                                   StateTransitionResult transitions,
                                                   std::optional<QString> selectedPaneID) = 0;
    // The registry ended the session's runtime: it is no longer listed or reachable.
    virtual void sessionRuntimeWasRemoved(const QString& sessionID) { Q_UNUSED(sessionID); }
    // Whether the runtime's event stream should follow each pane's status.
    virtual bool usesPerPaneStatusSubscriptions(const SessionRuntime& runtime) const = 0;
    virtual bool isVisibleSession(const SessionRuntime& runtime) const = 0;
    virtual bool preservesResolvedSelection() const = 0;
    // An open surface (or a shown dashboard) wants the fast poll for visible sessions.
    virtual bool isSurfaceExpanded() const = 0;
};
