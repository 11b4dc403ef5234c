#pragma once

#include "HerdrClient/Interaction/RecentOutputProviding.h"
#include "HerdrClient/Responding/IdlePromptSending.h"
#include "HerdrClient/Responding/PaneActivitySnapshot.h"
#include "HerdrClient/Responding/PaneActivityState.h"
#include "HerdrClient/Support/Clock.h"

#include <QCoroTask>
#include <QObject>
#include <QString>

#include <functional>
#include <map>
#include <optional>
#include <vector>

// One per session: what the selected working agent printed last, and the prompt a person types
// for an idle agent. Output is read for the selected pane only, and only while it works: when
// herdr's revision of the pane moves, or else on every `fallbackPollInterval`-th counted cycle.
//
// Main thread only. Every read and send takes a new number from one counter; when it comes back,
// it counts only if its pane still holds that number, so a later start always wins and a read of
// a pane that was deselected, left or stopped working is dropped. The provider and the sender
// must stay alive while a call starts; the coordinator may end while one is under way.
class PaneActivityCoordinator : public QObject {
    Q_OBJECT

public:
    static constexpr int standardFallbackPollInterval = 4;

    // An interval below 1 counts as 1; an empty `now` means the system clock.
    PaneActivityCoordinator(RecentOutputProviding& outputProvider, IdlePromptSending& promptSender,
                            int fallbackPollInterval = standardFallbackPollInterval,
                            std::function<Timestamp()> now = {}, QObject* parent = nullptr);

    // One cycle of the session: forget panes that left, reset the output of panes that just
    // began to work, and read the selected working pane when a read is due.
    QCoro::Task<> reconcile(std::vector<PaneActivitySnapshot> panes,
                            std::optional<QString> selectedPaneID,
                            bool countsTowardFallbackCadence);

    std::optional<PaneActivityState> state(const QString& paneID) const;
    std::optional<PaneActivityState> selectedState() const;
    // Abandons a read of the selected pane that is under way.
    void clearSelection();
    // Reads the selected pane now, if it works and no read is under way. True when a read counted.
    QCoro::Task<bool> refreshSelectedOutput();

    // Empty when the pane has no record.
    QString promptDraft(const QString& paneID) const;
    void setPromptDraft(QString text, const QString& paneID);
    // Sends the pane's draft, trimmed, to an idle agent. False when refused or failed; the reason
    // is then in the record's `promptError`, except for an empty draft or a send under way.
    QCoro::Task<bool> sendPrompt(QString paneID);

    const std::map<QString, PaneActivityState>& states() const { return m_states; }
    const std::optional<QString>& selectedPaneID() const { return m_selectedPaneID; }
    int fallbackPollInterval() const { return m_fallbackPollInterval; }

Q_SIGNALS:
    // A record was stored or removed.
    void stateChanged(const QString& paneID);

private:
    bool isKnownAndWorking(const QString& paneID) const;
    PaneActivityState* record(const QString& paneID);
    // Writes only a record that differs from the stored one.
    void store(PaneActivityState record);
    // A copy of the pane's record, or a new one with an empty draft and both phases idle.
    PaneActivityState recordOrNew(const QString& paneID) const;
    void ensureState(const QString& paneID);
    // Drops the pane's read under way: its result will not count, and the record shows idle.
    void abandonRead(const QString& paneID);
    QCoro::Task<bool> refreshOutput(QString paneID);
    void setPromptError(QString message, const QString& paneID);

    RecentOutputProviding* m_outputProvider;
    IdlePromptSending* m_promptSender;
    int m_fallbackPollInterval;
    std::function<Timestamp()> m_now;

    std::map<QString, PaneActivityState> m_states;
    std::map<QString, PaneActivitySnapshot> m_knownPanes;
    std::optional<QString> m_selectedPaneID;
    qint64 m_pollIndex = 0;
    quint64 m_nextGeneration = 0;
    std::map<QString, quint64> m_outputGenerations; // reads under way
    std::map<QString, quint64> m_promptGenerations; // sends under way
};
