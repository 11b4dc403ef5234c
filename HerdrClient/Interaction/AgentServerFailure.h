#pragma once

#include <QString>

// A failure of an agent's own server, met while reading its prompt or answering it there instead
// of on the screen. The adapter that spoke to the server knows what went wrong; readers and
// responders only pass the failure on and ask it this much.
class AgentServerFailure {
public:
    virtual ~AgentServerFailure() = default;

    virtual QString errorDescription() const = 0;
    // The case name, for tools.
    virtual QString reason() const = 0;
    // The agent whose server it is, as a person calls it.
    virtual QString agentName() const = 0;
    // Whether a reply that failed this way surely did not reach the server.
    virtual bool replySurelyNotTaken() const = 0;

protected:
    AgentServerFailure() = default;
    AgentServerFailure(const AgentServerFailure&) = default;
    AgentServerFailure& operator=(const AgentServerFailure&) = default;
};
