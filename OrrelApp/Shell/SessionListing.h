#pragma once

#include "HerdrClient/Wire/RequestSending.h"

#include <QCoroTask>
#include <QTextStream>

// The one-shot job of the normal mode for now: take one snapshot of the session and print its
// panes as a table. Returns the exit status.
QCoro::Task<int> listSession(RequestSending& client, QString socketPath, QTextStream& out,
                             QTextStream& err);
