#pragma once

#include "OrrelApp/Alerts/AgentHotKey.h"

#include <QString>

#include <functional>
#include <optional>
#include <vector>

// The desktop's side of the agent hot keys: holding a set of chords globally, letting them go,
// and telling when one is pressed. Main thread only; the callbacks run there too.
class AgentHotKeyRegistering {
public:
    // A chord the desktop refused, with the desktop's status for it (an X error code).
    struct Failure {
        AgentHotKeyChord chord;
        int status = 0;

        bool operator==(const Failure&) const = default;
    };

    virtual ~AgentHotKeyRegistering() = default;

    // Absent when chords can be held; otherwise the sentence that says why they cannot.
    virtual std::optional<QString> unavailableReason() const = 0;
    // Holds every chord of `chords`, or, when any is refused, none of them: the ones already
    // held are let go again. The refused ones come back with their status.
    virtual std::vector<Failure> registerChords(const std::vector<AgentHotKeyChord>& chords) = 0;
    // Lets every held chord go. Cheap when nothing is held.
    virtual void unregisterAll() = 0;

    std::function<void(const AgentHotKey&)> onPressed;
    // A desktop that answers later (a portal) refuses after `registerChords` returned.
    std::function<void(std::vector<Failure>)> onLateFailure;
    // `unavailableReason` changed, as when a portal starts after the program.
    std::function<void()> onAvailabilityChanged;
};
