#pragma once

#include "tools/orrelctl/Command.h"

#include "OrrelApp/Sessions/SessionRuntime.h"

#include <QElapsedTimer>

#include <map>

// What `orrelctl watch` prints of each cycle of a session: one line for the session (connection,
// new blocks and finishes, attention, agent roots), then a line for each pane whose prompt,
// recent output or summary changed since it was last printed. With --json, one full record per
// cycle.
class WatchHost : public SessionRuntimeHost {
public:
    WatchHost(CommandContext context, bool json);

    QCoro::Task<> sessionRuntimeDidObserve(SessionRuntime* runtime,
                                           StateTransitionResult transitions,
                                           std::optional<QString>) override;

    // A change outside a cycle, such as a rejected subscription.
    void errorChanged(const SessionRuntime& runtime);

    bool usesPerPaneStatusSubscriptions(const SessionRuntime&) const override { return true; }
    bool isVisibleSession(const SessionRuntime&) const override { return true; }
    bool preservesResolvedSelection() const override { return false; }
    bool isSurfaceExpanded() const override { return false; }

    // A waiting pane's prompt on one line: kind, title and choices.
    static QString interactionLine(const PendingInteraction& interaction);

private:
    struct PaneLines {
        std::map<QString, QString> lines; // by pane id, as last printed
    };

    // The last line of output of each working pane, read afresh.
    static QCoro::Task<std::map<QString, QString>> readRecentOutput(SessionRuntime* runtime);
    void printState(const SessionRuntime& runtime, const StateTransitionResult& transitions,
                    const std::map<QString, QString>& recentOutput = {});
    void printJSON(const SessionRuntime& runtime, const StateTransitionResult& transitions,
                   const std::map<QString, QString>& recentOutput, double elapsed);
    // Prints `line` for `paneID` unless it is what was printed for it last.
    void printChanged(PaneLines& printed, const QString& paneID, const QString& line);

    CommandContext m_context;
    bool m_json = false;
    QElapsedTimer m_clock;
    QString m_lastPrintedError;
    PaneLines m_prompts;
    PaneLines m_summaries;
    PaneLines m_output;
};
