#pragma once

#include "HerdrClient/Wire/AgentStatus.h"
#include "HerdrClient/Wire/JSONValue.h"
#include "tests/support/FakeHerdrServer.h"
#include "tests/support/TmuxPane.h"

#include <QString>

#include <expected>
#include <map>
#include <mutex>
#include <vector>

// The screen texts a fake pane shows. `visible` may hold colour sequences; `detection` and
// `recent` default to the visible text without them.
struct FakeScreen {
    QString visible;
    std::optional<QString> detection;
    std::optional<QString> recent;
};

// How a fake pane answers a send, the way a terminal app redraws after a key: once a
// `pane.send_keys` with exactly `keys` (or a `pane.send_text` with exactly `text`) has been
// accepted, the pane shows `screen`, and takes `status` when one is given. Each rule fires once,
// and only the first rule of the pane that matches.
struct FakeReaction {
    std::optional<std::vector<QString>> keys;
    std::optional<QString> text;
    FakeScreen screen;
    std::optional<AgentStatus> status;
};

// A herdr session for the fake server: workspaces, tabs, panes with their screens. It answers
// the methods the program calls as herdr does, and tells subscribers what changes.
//
// Scenario file (JSON):
//   {"version":"0.8.0","protocol":19,"focused_pane_id":"w1:p1",
//    "workspaces":[{"workspace_id":"w1","label":"api"}],
//    "tabs":[{"tab_id":"w1:t1","workspace_id":"w1","label":"agents"}],
//    "panes":[{"pane_id":"w1:p1","workspace_id":"w1","tab_id":"w1:t1","agent":"claude",
//              "agent_status":"blocked",
//              "screen":{"visible":"...","detection":"...","recent":"..."},
//              "screen_files":{"visible":"claude.ansi"},
//              "after_keys":[{"keys":["1","enter"],"screen":{"visible":"..."},"agent_status":"working"},
//                            {"text":"hello","screen":{"visible":"..."}}]},
//             {"pane_id":"w1:p2","agent":"codex","agent_status":"working",
//              "tmux":"codex","tmux_socket":"agentlab","blocked_when":"^  Would you like"}]}
// Pane records take herdr's keys; missing required ones are filled in. `screen_files` are read
// relative to the scenario file and win over `screen`. `after_keys` holds the pane's
// reactions (see FakeReaction), in order. A pane with `tmux` is a real terminal (see
// TerminalPane): its screens are read from tmux, sends go to it, and it has no reactions.
class FakeScenario {
public:
    static std::expected<FakeScenario, QString> fromJSON(const JSONValue& scenario,
                                                         const QString& baseDirectory = {});
    static std::expected<FakeScenario, QString> load(const QString& path);

    FakeScenario() = default;
    FakeScenario(const FakeScenario& other);
    FakeScenario& operator=(const FakeScenario& other);

    // Answers ping, session.snapshot, pane.read, pane.get, pane.send_text, pane.send_keys,
    // pane.report_metadata (its tokens) and the focus methods on `server`.
    void install(FakeHerdrServer& server);

    // Changes, each told to subscribers of `server` (when installed) as herdr tells them.
    void setPaneStatus(const QString& paneID, AgentStatus status);
    void setScreen(const QString& paneID, FakeScreen screen);
    void addPane(const JSONValue& pane, FakeScreen screen = {});
    void removePane(const QString& paneID);
    // Adds a rule behind the pane's others.
    void addReaction(const QString& paneID, FakeReaction reaction);
    // Moves to `next`, publishing status events, creations and closings for what differs.
    void transitionTo(const FakeScenario& next);
    // Moves the status of every tmux pane by its rule, told to subscribers as any status change.
    // Returns what could not be read; those panes keep their status.
    std::vector<QString> refreshTerminals();

    JSONValue snapshotJSON() const;
    std::vector<QString> paneIDs() const;

private:
    struct Pane {
        JSONValue record;
        FakeScreen screen;
        std::vector<FakeReaction> reactions;
        std::optional<TerminalPane> terminal;
    };
    // Fires the first reaction of the pane that matches an accepted send.
    void react(const FakeRequest& request);
    FakeReply read(const JSONValue& params) const;
    // Sends to the pane's terminal; nothing when the pane has none.
    std::optional<FakeReply> sendToTerminal(const FakeRequest& request);
    FakeReply reportMetadata(const JSONValue& params);
    bool hasPane(const QString& paneID) const;
    const Pane* find(const QString& paneID) const;
    Pane* find(const QString& paneID);
    void publish(const QString& event, const JSONValue& data);
    static JSONValue statusEventData(const JSONValue& record);

    mutable std::recursive_mutex m_mutex;
    JSONValue m_header; // version, protocol, focus ids
    std::vector<JSONValue> m_workspaces;
    std::vector<JSONValue> m_tabs;
    std::vector<Pane> m_panes;
    FakeHerdrServer* m_server = nullptr;
};
