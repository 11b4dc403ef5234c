#include "OrrelApp/Sessions/SnapshotPollingPolicy.h"

namespace {
// Milliseconds per context: visible local, visible remote, hidden local, hidden remote.
struct Row {
    quint64 visibleLocal, visibleRemote, hiddenLocal, hiddenRemote;

    quint64 pick(SnapshotPollingPolicy::SessionContext context) const
    {
        if (context.isVisible)
            return context.isRemote ? visibleRemote : visibleLocal;
        return context.isRemote ? hiddenRemote : hiddenLocal;
    }
};

constexpr Row unavailable{1000, 2000, 2000, 3000};
constexpr Row blocked{650, 1300, 1300, 1950};
constexpr Row working{1200, 2400, 2400, 3600};
constexpr Row quiet{2500, 5000, 5000, 7500};
constexpr quint64 nanosecondsPerMillisecond = 1'000'000;
} // namespace

quint64 SnapshotPollingPolicy::nanoseconds(bool isExpanded, bool hasBlockedPanes,
                                           bool hasWorkingPanes, bool isUnavailable,
                                           SessionContext context)
{
    quint64 milliseconds = quiet.pick(context);
    if (isUnavailable)
        milliseconds = unavailable.pick(context);
    // An open surface on a visible session wants the blocked rate whether or not anything is.
    else if ((isExpanded && context.isVisible) || hasBlockedPanes)
        milliseconds = blocked.pick(context);
    else if (hasWorkingPanes)
        milliseconds = working.pick(context);
    return milliseconds * nanosecondsPerMillisecond;
}
