#pragma once

#include "HerdrClient/Wire/AgentStatus.h"

#include <QString>

#include <span>

// The status of a pane, tab, workspace or session as the program ranks it: a blocked agent
// outranks a working one, which outranks a finished one, then an idle one. `unknown` ranks last,
// so that a pane without an agent never hides one that has.
enum class RollupStatus { blocked, working, done, idle, unknown };

// blocked 4, working 3, done 2, idle 1, unknown 0.
int precedence(RollupStatus status);
// The status of highest precedence; `unknown` for an empty list.
RollupStatus rollup(std::span<const RollupStatus> statuses);

RollupStatus rollupStatus(AgentStatus status);
QString toString(RollupStatus status);
std::optional<RollupStatus> rollupStatusFromString(QStringView text);
