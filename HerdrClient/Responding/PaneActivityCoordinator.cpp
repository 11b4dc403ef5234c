#include "HerdrClient/Responding/PaneActivityCoordinator.h"

#include <QPointer>

#include <algorithm>
#include <set>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

bool holds(const std::map<QString, quint64>& generations, const QString& paneID, quint64 generation)
{
    const auto found = generations.find(paneID);
    return found != generations.end() && found->second == generation;
}

} // namespace

PaneActivityCoordinator::PaneActivityCoordinator(RecentOutputProviding& outputProvider,
                                                 IdlePromptSending& promptSender,
                                                 int fallbackPollInterval,
                                                 std::function<Timestamp()> now, QObject* parent)
    : QObject(parent), m_outputProvider(&outputProvider), m_promptSender(&promptSender),
      m_fallbackPollInterval(std::max(1, fallbackPollInterval)), m_now(std::move(now))
{
    if (!m_now)
        m_now = [] { return std::chrono::system_clock::now(); };
}

QCoro::Task<> PaneActivityCoordinator::reconcile(std::vector<PaneActivitySnapshot> panes,
                                                 std::optional<QString> selectedPaneID,
                                                 bool countsTowardFallbackCadence)
{
    if (countsTowardFallbackCadence)
        ++m_pollIndex;

    const std::map<QString, PaneActivitySnapshot> oldPanes = std::exchange(m_knownPanes, {});
    for (PaneActivitySnapshot& pane : panes)
        m_knownPanes.insert_or_assign(pane.paneID, std::move(pane));
    const std::optional<QString> oldSelection =
        std::exchange(m_selectedPaneID, std::move(selectedPaneID));
    if (oldSelection && oldSelection != m_selectedPaneID)
        abandonRead(*oldSelection);

    std::set<QString> leaving;
    for (const auto* map : {&m_outputGenerations, &m_promptGenerations}) {
        for (const auto& [paneID, generation] : *map)
            leaving.insert(paneID);
    }
    for (const auto& [paneID, record] : m_states)
        leaving.insert(paneID);
    for (const QString& paneID : leaving) {
        if (m_knownPanes.contains(paneID))
            continue;
        m_outputGenerations.erase(paneID);
        m_promptGenerations.erase(paneID);
        if (m_states.erase(paneID) > 0)
            Q_EMIT stateChanged(paneID);
    }

    // Output of an earlier stretch of work says nothing about this one.
    for (const auto& [paneID, pane] : m_knownPanes) {
        const auto old = oldPanes.find(paneID);
        const bool wasWorking =
            old != oldPanes.end() && old->second.agentStatus == AgentStatus::working;
        const PaneActivityState* existing = record(paneID);
        if (pane.agentStatus != AgentStatus::working || wasWorking || !existing)
            continue;
        PaneActivityState copy = *existing;
        copy.recentOutput.reset();
        copy.outputRevision.reset();
        copy.outputAttemptRevision.reset();
        copy.outputReadAt.reset();
        copy.outputError.reset();
        store(std::move(copy));
    }

    if (!m_selectedPaneID || !m_knownPanes.contains(*m_selectedPaneID))
        co_return;
    const QString paneID = *m_selectedPaneID;
    ensureState(paneID);
    const PaneActivitySnapshot& pane = m_knownPanes.at(paneID);
    if (pane.agentStatus != AgentStatus::working) {
        abandonRead(paneID);
        co_return;
    }
    const PaneActivityState& existing = m_states.at(paneID);
    bool due = true;
    // herdr's revision does not move with the screen, so an unchanged one only slows reads down.
    if (existing.outputAttemptRevision == pane.revision)
        due = countsTowardFallbackCadence && m_pollIndex % m_fallbackPollInterval == 0;
    if (due && existing.outputPhase == PaneOutputPhase::idle)
        co_await refreshOutput(paneID);
}

std::optional<PaneActivityState> PaneActivityCoordinator::state(const QString& paneID) const
{
    const auto found = m_states.find(paneID);
    if (found == m_states.end())
        return std::nullopt;
    return found->second;
}

std::optional<PaneActivityState> PaneActivityCoordinator::selectedState() const
{
    if (!m_selectedPaneID)
        return std::nullopt;
    return state(*m_selectedPaneID);
}

void PaneActivityCoordinator::clearSelection()
{
    if (!m_selectedPaneID)
        return;
    abandonRead(*m_selectedPaneID);
    m_selectedPaneID.reset();
}

QCoro::Task<bool> PaneActivityCoordinator::refreshSelectedOutput()
{
    if (!m_selectedPaneID || !isKnownAndWorking(*m_selectedPaneID))
        co_return false;
    const PaneActivityState* existing = record(*m_selectedPaneID);
    if (!existing || existing->outputPhase != PaneOutputPhase::idle)
        co_return false;
    co_return co_await refreshOutput(*m_selectedPaneID);
}

QString PaneActivityCoordinator::promptDraft(const QString& paneID) const
{
    const auto found = m_states.find(paneID);
    return found == m_states.end() ? QString() : found->second.promptDraft;
}

void PaneActivityCoordinator::setPromptDraft(QString text, const QString& paneID)
{
    PaneActivityState copy = recordOrNew(paneID);
    copy.promptDraft = std::move(text);
    store(std::move(copy));
}

QCoro::Task<bool> PaneActivityCoordinator::sendPrompt(QString paneID)
{
    const auto known = m_knownPanes.find(paneID);
    if (known == m_knownPanes.end() || known->second.agentStatus != AgentStatus::idle) {
        setPromptError(u"This agent is no longer idle. Nothing was sent."_s, paneID);
        co_return false;
    }
    ensureState(paneID);
    PaneActivityState sending = m_states.at(paneID);
    if (sending.promptPhase != PanePromptPhase::idle)
        co_return false;
    const QString text = sending.promptDraft.trimmed();
    if (text.isEmpty())
        co_return false;
    const quint64 generation = ++m_nextGeneration;
    m_promptGenerations.insert_or_assign(paneID, generation);
    sending.promptPhase = PanePromptPhase::sending;
    sending.promptError.reset();
    store(std::move(sending));

    QPointer<PaneActivityCoordinator> self{this};
    const IdlePromptSendResult sent = co_await m_promptSender->sendPrompt(paneID, text);
    if (!self)
        co_return sent.has_value();
    const PaneActivityState* existing = record(paneID);
    const bool counts = existing && holds(m_promptGenerations, paneID, generation);
    if (counts) {
        PaneActivityState copy = *existing;
        copy.promptPhase = PanePromptPhase::idle;
        if (sent) {
            // What the person typed on meanwhile stays.
            if (copy.promptDraft.trimmed() == text)
                copy.promptDraft.clear();
        } else {
            copy.promptError = sent.error().errorDescription();
        }
        store(std::move(copy));
        m_promptGenerations.erase(paneID);
    }
    co_return sent.has_value();
}

bool PaneActivityCoordinator::isKnownAndWorking(const QString& paneID) const
{
    const auto known = m_knownPanes.find(paneID);
    return known != m_knownPanes.end() && known->second.agentStatus == AgentStatus::working;
}

PaneActivityState* PaneActivityCoordinator::record(const QString& paneID)
{
    const auto found = m_states.find(paneID);
    return found == m_states.end() ? nullptr : &found->second;
}

void PaneActivityCoordinator::store(PaneActivityState record)
{
    const auto found = m_states.find(record.paneID);
    if (found != m_states.end() && found->second == record)
        return;
    const QString paneID = record.paneID;
    m_states.insert_or_assign(paneID, std::move(record));
    Q_EMIT stateChanged(paneID);
}

PaneActivityState PaneActivityCoordinator::recordOrNew(const QString& paneID) const
{
    const auto found = m_states.find(paneID);
    if (found != m_states.end())
        return found->second;
    PaneActivityState fresh;
    fresh.paneID = paneID;
    return fresh;
}

void PaneActivityCoordinator::ensureState(const QString& paneID)
{
    if (!m_states.contains(paneID))
        store(recordOrNew(paneID));
}

void PaneActivityCoordinator::abandonRead(const QString& paneID)
{
    m_outputGenerations.erase(paneID);
    const PaneActivityState* existing = record(paneID);
    if (!existing || existing->outputPhase != PaneOutputPhase::reading)
        return;
    PaneActivityState copy = *existing;
    copy.outputPhase = PaneOutputPhase::idle;
    store(std::move(copy));
}

QCoro::Task<bool> PaneActivityCoordinator::refreshOutput(QString paneID)
{
    const PaneActivityState* existing = record(paneID);
    if (!isKnownAndWorking(paneID) || !existing)
        co_return false;
    const quint64 revision = m_knownPanes.at(paneID).revision;
    const quint64 generation = ++m_nextGeneration;
    m_outputGenerations.insert_or_assign(paneID, generation);
    PaneActivityState reading = *existing;
    reading.outputPhase = PaneOutputPhase::reading;
    reading.outputError.reset();
    store(std::move(reading));

    QPointer<PaneActivityCoordinator> self{this};
    const RecentOutputResult output = co_await m_outputProvider->recentOutput(paneID);
    if (!self)
        co_return false;
    existing = record(paneID);
    if (!existing || !holds(m_outputGenerations, paneID, generation))
        co_return false;
    PaneActivityState copy = *existing;
    if (output) {
        // A pane that stopped working keeps its reading phase until the next cycle resets it.
        if (m_selectedPaneID != paneID || !isKnownAndWorking(paneID))
            co_return false;
        copy.recentOutput = *output;
        copy.outputRevision = revision;
        copy.outputReadAt = m_now();
        copy.outputError.reset();
    } else {
        // Tried again only on the next revision or fallback turn.
        copy.outputError = output.error().errorDescription();
    }
    copy.outputAttemptRevision = revision;
    copy.outputPhase = PaneOutputPhase::idle;
    store(std::move(copy));
    m_outputGenerations.erase(paneID);
    co_return output.has_value();
}

void PaneActivityCoordinator::setPromptError(QString message, const QString& paneID)
{
    PaneActivityState copy = recordOrNew(paneID);
    copy.promptError = std::move(message);
    store(std::move(copy));
}
