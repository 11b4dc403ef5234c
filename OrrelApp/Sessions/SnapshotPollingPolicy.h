#pragma once

#include <QtGlobal>

// How soon a session's snapshot poll runs again. Events carry most changes; the poll catches
// what they miss, faster when something is blocked, watched or broken, slower for what is out of
// sight or across a network.
struct SnapshotPollingPolicy {
    struct SessionContext {
        bool isVisible = true;
        bool isRemote = false;

        static constexpr SessionContext visibleLocal() { return {true, false}; }
        bool operator==(const SessionContext&) const = default;
    };

    // The next delay in nanoseconds; the first matching situation decides.
    static quint64 nanoseconds(bool isExpanded, bool hasBlockedPanes, bool hasWorkingPanes,
                               bool isUnavailable, SessionContext context);
};
