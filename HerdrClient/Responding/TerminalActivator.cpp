#include "HerdrClient/Responding/TerminalActivator.h"

#include <algorithm>

TerminalActivator::TerminalActivator(Selection selection, DesktopWindowControlling& desktop)
    : m_selection(std::move(selection)), m_desktop(desktop)
{
}

std::vector<TerminalActivator::RunningCandidate> TerminalActivator::runningCandidates(
    const std::vector<TerminalProfile>& profiles, const std::vector<RunningWindow>& windows)
{
    std::vector<RunningCandidate> candidates;
    for (const auto& window : windows) {
        auto byClass =
            std::find_if(profiles.begin(), profiles.end(), [&](const TerminalProfile& p) {
                return p.windowClasses.contains(window.className, Qt::CaseInsensitive)
                       || p.windowClasses.contains(window.instanceName, Qt::CaseInsensitive);
            });
        if (byClass == profiles.end() && !window.executable.isEmpty()) {
            byClass = std::find_if(profiles.begin(), profiles.end(), [&](const TerminalProfile& p) {
                return p.executables.contains(window.executable);
            });
        }
        if (byClass != profiles.end())
            candidates.push_back({window, *byClass});
    }
    return candidates;
}

TerminalPresentation TerminalActivator::present()
{
    // A running terminal is only raised: unlike opening an application that already runs on
    // other desktops, starting a Linux terminal again would open a second window.
    if (const auto* preferred = std::get_if<Preferred>(&m_selection)) {
        const auto candidates = runningCandidates({preferred->profile}, m_desktop.windows());
        if (candidates.empty())
            return launch(preferred->profile);
        m_desktop.activate(candidates.front().window);
        return TerminalPresentation::presented(preferred->profile.displayName);
    }

    const auto windows = m_desktop.windows();
    const auto candidates = runningCandidates(std::get<Automatic>(m_selection).profiles, windows);
    if (const auto active = m_desktop.activeWindow()) {
        const RunningWindow* activeWindow = nullptr;
        for (const auto& w : windows) {
            if (w.windowID == *active)
                activeWindow = &w;
        }
        for (const auto& c : candidates) {
            const bool sameWindow = c.window.windowID == *active;
            const bool sameProcess = activeWindow && activeWindow->processID > 0
                                     && activeWindow->processID == c.window.processID;
            if (sameWindow || sameProcess) {
                m_desktop.activate(c.window);
                return TerminalPresentation::presented(c.profile.displayName);
            }
        }
    }
    if (candidates.empty())
        return TerminalPresentation::unavailable(
            TerminalPresentationFailure::noSupportedTerminalRunning());
    if (candidates.size() == 1) {
        m_desktop.activate(candidates.front().window);
        return TerminalPresentation::presented(candidates.front().profile.displayName);
    }
    QStringList names;
    for (const auto& c : candidates) {
        if (!names.contains(c.profile.displayName))
            names << c.profile.displayName;
    }
    names.sort();
    // Several windows, even of one terminal, leave open which of them shows herdr.
    return TerminalPresentation::unavailable(TerminalPresentationFailure::ambiguous(names));
}

TerminalPresentation TerminalActivator::launch(const TerminalProfile& profile)
{
    for (const auto& desktopID : profile.desktopIDs) {
        if (!desktopID.isEmpty() && m_desktop.launchDesktopEntry(desktopID))
            return TerminalPresentation::presented(profile.displayName);
    }
    for (const auto& executable : profile.executables) {
        if (!executable.isEmpty() && m_desktop.launchExecutable(executable))
            return TerminalPresentation::presented(profile.displayName);
    }
    return TerminalPresentation::unavailable(
        TerminalPresentationFailure::applicationUnavailable(profile.displayName));
}
