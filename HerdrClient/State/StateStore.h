#pragma once

#include "HerdrClient/State/RollupStatus.h"
#include "HerdrClient/State/StateTransitionResult.h"
#include "HerdrClient/Support/Clock.h"
#include "HerdrClient/Wire/EventEnvelope.h"
#include "HerdrClient/Wire/Snapshot.h"
#include "HerdrClient/Wire/Subscription.h"

#include <QObject>

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <vector>

// The mirror of one herdr session: its panes, tabs and workspaces, plus what herdr does not keep
// for us — which panes finished while nobody looked, and since when a pane works or waits.
// Polled snapshots and stream events both merge in here, and each merge reports the panes that
// just became blocked or just finished, so that an alert is raised once per passage.
//
// Main thread only. `revision` rises whenever something a view shows may have changed.
class StateStore : public QObject {
    Q_OBJECT
    Q_PROPERTY(qint64 revision READ revision NOTIFY revisionChanged)

public:
    // An empty `now` means the system clock.
    explicit StateStore(std::function<Timestamp()> now = {}, QObject* parent = nullptr);

    // Replaces the mirror with `snapshot` without raising transitions.
    void hydrate(const Snapshot& snapshot);
    // Merges a polled snapshot; returns the newly blocked pane ids.
    std::vector<QString> reconcile(const Snapshot& snapshot);
    StateTransitionResult reconcileTransitions(const Snapshot& snapshot);
    // Applies one stream event; true when a pane became blocked.
    bool apply(const EventEnvelope& event);
    StateTransitionResult applyTransitions(const EventEnvelope& event);
    // The person has seen the pane: it no longer counts as finished and unseen.
    void acknowledge(const QString& paneID);

    RollupStatus derivedStatus(const QString& paneID) const;
    RollupStatus rollupForTab(const QString& tabID) const;
    RollupStatus rollupForWorkspace(const QString& workspaceID) const;
    RollupStatus overallStatus() const;
    // Panes whose status is blocked, by pane id.
    std::vector<PaneInfo> blockedPanes() const;
    // Panes working for at least `thresholdSeconds` at `at`, by pane id.
    std::vector<QString> possiblyStuckPanes(double thresholdSeconds, Timestamp at) const;
    // What the event stream should subscribe to for the panes held now.
    std::vector<Subscription> currentSubscriptions(bool includePerPaneStatus) const;

    const std::map<QString, PaneInfo>& panes() const { return m_panes; }
    const PaneInfo* pane(const QString& paneID) const;
    const std::map<QString, WorkspaceInfo>& workspaces() const { return m_workspaces; }
    const std::map<QString, TabInfo>& tabs() const { return m_tabs; }
    const std::optional<QString>& focusedPaneID() const { return m_focusedPaneID; }
    const std::set<QString>& finishedUnseen() const { return m_finishedUnseen; }
    const std::set<QString>& outputMatched() const { return m_outputMatched; }
    const std::map<QString, Timestamp>& workingSince() const { return m_workingSince; }
    const std::map<QString, Timestamp>& blockedSince() const { return m_blockedSince; }
    qint64 revision() const { return m_revision; }

Q_SIGNALS:
    void revisionChanged(qint64 revision);

private:
    void upsert(const PaneInfo& pane);
    void remove(const QString& paneID);
    void clearFinished(const QString& paneID);
    // True when the event made a pane newly blocked.
    bool applyEvent(const EventEnvelope& event);
    bool applyStatusChange(const EventEnvelope& event);
    void applyTransition(const QString& paneID, std::optional<AgentStatus> from,
                         std::optional<AgentStatus> to);
    // The timers of a pane whose status is `status`, without counting it as a passage.
    void maintainTimers(const QString& paneID, AgentStatus status);
    void startTimer(std::map<QString, Timestamp>& timers, const QString& paneID);
    RollupStatus rollupWhere(const std::function<bool(const PaneInfo&)>& include) const;
    void bumpRevision();

    std::map<QString, PaneInfo> m_panes;
    std::map<QString, WorkspaceInfo> m_workspaces;
    std::map<QString, TabInfo> m_tabs;
    std::optional<QString> m_focusedPaneID;
    std::set<QString> m_finishedUnseen;
    std::set<QString> m_outputMatched;
    std::map<QString, Timestamp> m_workingSince;
    std::map<QString, Timestamp> m_blockedSince;
    qint64 m_revision = 0;
    std::function<Timestamp()> m_now;
};
