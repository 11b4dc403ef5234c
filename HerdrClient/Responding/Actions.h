#pragma once

#include "HerdrClient/Responding/ActionError.h"
#include "HerdrClient/Responding/TerminalPresenting.h"
#include "HerdrClient/Support/Clock.h"
#include "HerdrClient/Wire/RequestSending.h"

#include <QCoroTask>

#include <expected>
#include <optional>
#include <vector>

using ActionSendResult = std::expected<void, ActionFailure>;

struct ActionResult {
    enum class Kind { jumped, sent, needsAttach };

    Kind kind = Kind::sent;
    std::optional<TerminalPresentation> terminal; // jumped

    static ActionResult sent() { return {Kind::sent, {}}; }
    bool operator==(const ActionResult&) const = default;
};

using ActionOutcome = std::expected<ActionResult, ActionFailure>;

// The one place where a person's direct commands become herdr calls. Anything beyond a plain
// send first asks herdr what the pane is doing, and refuses when the answer no longer fits.
// A call that outlives the client sends nothing more; the terminal must outlive every call.
class Actions {
public:
    explicit Actions(RequestSending& client, TerminalPresenting* terminal = nullptr,
                     Clock clock = Clock::system())
        : m_client(client), m_terminal(terminal), m_clock(std::move(clock))
    {
    }

    // One `pane.send_*` (or other) request; herdr's answer is dropped. Refused keys come back as
    // `keysRejected`, every other failure as it came.
    QCoro::Task<ActionSendResult> send(QString method, JSONValue params) const;

    // Focuses the pane in herdr, then brings the terminal forward. Missing ids are looked up.
    QCoro::Task<ActionOutcome> jump(QString paneID, std::optional<QString> workspaceID = {},
                                    std::optional<QString> tabID = {},
                                    TerminalPresenting* presenter = nullptr) const;
    QCoro::Task<ActionOutcome> reply(QString paneID, QString text, bool submit) const;
    QCoro::Task<ActionOutcome> sendRawKeys(QString paneID, std::vector<QString> keys) const;
    // Text and Enter, unless the pane is showing a prompt of its own.
    QCoro::Task<ActionOutcome> sendMessage(QString paneID, QString text) const;
    // One Escape, once, and only to a pane that is still working.
    QCoro::Task<ActionOutcome> interrupt(QString paneID) const;
    // The terminal's back-tab sequence, which moves the agent to its next mode.
    QCoro::Task<ActionOutcome> cycleAgentMode(QString paneID) const;

private:
    QCoro::Task<std::expected<void, RequestFailure>> focusPath(QString paneID,
                                                               std::optional<QString> workspaceID,
                                                               std::optional<QString> tabID) const;

    RequestSendingHandle m_client;
    TerminalPresenting* m_terminal;
    Clock m_clock;
};
