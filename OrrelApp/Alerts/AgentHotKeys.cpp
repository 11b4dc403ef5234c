#include "OrrelApp/Alerts/AgentHotKeys.h"

#include "OrrelApp/Shell/Settings.h"
#include "OrrelApp/Surface/SurfaceProjection.h"

#include <QStringList>

using namespace Qt::StringLiterals;

AgentHotKeys::AgentHotKeys(Settings& settings, AgentHotKeyRegistering& backend,
                           std::function<bool()> cardWaiting, std::function<void(Action)> perform,
                           QObject* parent)
    : QObject(parent), m_settings(settings), m_backend(backend),
      m_cardWaiting(std::move(cardWaiting)), m_perform(std::move(perform))
{
    m_backend.onPressed = [this](const AgentHotKey& key) { pressed(key); };
    m_backend.onLateFailure = [this](std::vector<AgentHotKeyRegistering::Failure> failures) {
        // Only a refusal of the set now wanted counts; one of an earlier set is old news.
        if (!m_stopped && m_registeredChords)
            refuse(failures);
    };
    m_backend.onAvailabilityChanged = [this] { refresh(); };
}

AgentHotKeys::~AgentHotKeys()
{
    stop();
}

QString AgentHotKeys::refusalSentence(int status)
{
    return SurfaceProjection::forThisDesktop(
        u"macOS could not register this shortcut (error %1). Choose another combination."_s.arg(
            status));
}

void AgentHotKeys::refresh()
{
    if (m_stopped)
        return;
    if (!m_settings.agentGlobalHotkeysEnabled()) {
        release();
        setState(AgentHotKeyState::disabled());
        return;
    }
    if (const auto reason = m_backend.unavailableReason()) {
        release();
        setState(AgentHotKeyState::unavailable(*reason));
        return;
    }
    if (!m_cardWaiting()) {
        release();
        setState(AgentHotKeyState::idle());
        return;
    }
    const std::vector<AgentHotKeyChord> wanted = m_settings.agentHotKeyChords();
    if (wanted == m_registeredChords || wanted == m_attemptedChords)
        return;
    m_backend.unregisterAll();
    m_registeredChords.reset();
    const auto failures = m_backend.registerChords(wanted);
    m_attemptedChords = wanted;
    if (!failures.empty()) {
        refuse(failures);
        return;
    }
    m_registeredChords = wanted;
    m_settings.setAgentRegistrationProblems({});
    setState(AgentHotKeyState::active());
}

void AgentHotKeys::refuse(const std::vector<AgentHotKeyRegistering::Failure>& failures)
{
    m_registeredChords.reset();
    std::map<QString, QString> problems;
    QStringList sentences;
    for (const auto& failure : failures) {
        const QString name = failure.chord.action.name();
        problems[name] = refusalSentence(failure.status);
        sentences << name + u": "_s + problems[name];
    }
    m_settings.setAgentRegistrationProblems(problems);
    setState(AgentHotKeyState::conflict(sentences.join(u' ')));
}

void AgentHotKeys::release()
{
    if (m_registeredChords || m_attemptedChords)
        m_backend.unregisterAll();
    m_registeredChords.reset();
    m_attemptedChords.reset();
}

void AgentHotKeys::stop()
{
    if (m_stopped)
        return;
    release();
    m_stopped = true;
    m_backend.onPressed = nullptr;
    m_backend.onLateFailure = nullptr;
    m_backend.onAvailabilityChanged = nullptr;
}

std::optional<int> AgentHotKeys::probeSendRecommended()
{
    if (m_stopped || !m_settings.agentGlobalHotkeysEnabled() || !m_cardWaiting()
        || m_backend.unavailableReason())
        return std::nullopt;
    const auto chords = m_settings.agentHotKeyChords();
    const auto chord =
        std::ranges::find(chords, AppShortcutID::sendRecommended, &AgentHotKeyChord::id);
    if (chord == chords.end())
        return std::nullopt;
    m_backend.unregisterAll();
    const auto failures = m_backend.registerChords({*chord});
    m_backend.unregisterAll();
    m_registeredChords.reset();
    m_attemptedChords.reset();
    refresh();
    return failures.empty() ? 0 : failures.front().status;
}

void AgentHotKeys::setState(AgentHotKeyState state)
{
    if (state == m_state)
        return;
    m_state = std::move(state);
    Q_EMIT stateChanged();
}

void AgentHotKeys::pressed(const AgentHotKey& key)
{
    // A press queued before the keys were let go belongs to a card that is gone.
    if (m_stopped || !m_registeredChords || !m_cardWaiting())
        return;
    m_perform(key.action);
}
