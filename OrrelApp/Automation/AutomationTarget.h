#pragma once

#include "OrrelApp/Automation/AutomationCommand.h"

#include <QCoroTask>
#include <QJsonObject>
#include <QString>

#include <expected>

// What the automation channel drives: the application's surface, as a click would drive it.
// Everything runs on the main thread. The target outlives the channel that holds it.
class AutomationTarget {
public:
    virtual ~AutomationTarget() = default;

    // The view state as a script reads it; sent back under "state".
    virtual QJsonObject state() = 0;

    // Carries out any command but `state`. On success the object's keys join the reply beside
    // "ok" (an "ok" key among them is ignored); on failure the sentence is the reply's "error",
    // as a person would read it, ending with what did not happen when something was refused.
    //
    // `quit` must not end the application before this returns: the channel writes the reply
    // once the task finishes, so the target arranges the quit for a later turn of the event
    // loop (a queued call), and the channel flushes every reply still queued when it stops.
    virtual QCoro::Task<std::expected<QJsonObject, QString>> perform(AutomationCommand command) = 0;
};
