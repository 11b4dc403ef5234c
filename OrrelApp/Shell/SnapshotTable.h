#pragma once

#include "HerdrClient/Wire/Snapshot.h"

#include <QString>

// A snapshot as a table for people: one row per pane, under its workspace and tab, with the
// agent and its status. The focused pane is marked with "*".
QString formatSnapshotTable(const Snapshot& snapshot);
