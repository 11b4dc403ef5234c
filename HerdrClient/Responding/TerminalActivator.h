#pragma once

#include "HerdrClient/Responding/TerminalPresenting.h"

#include <QString>

#include <cstdint>
#include <optional>
#include <variant>
#include <vector>

// One top-level window of a running application, as the window system lists it.
struct RunningWindow {
    std::uint32_t windowID = 0;
    qint64 processID = 0;
    QString instanceName; // WM_CLASS instance
    QString className;    // WM_CLASS class
    QString executable;   // the process's command name, when it can be read

    bool operator==(const RunningWindow&) const = default;
};

// The window system as the terminal activator needs it; the X11 build lives in OrrelApp/Platform.
class DesktopWindowControlling {
public:
    virtual ~DesktopWindowControlling() = default;
    // Application windows in the window manager's order; empty when there is no window list.
    virtual std::vector<RunningWindow> windows() = 0;
    virtual std::optional<std::uint32_t> activeWindow() = 0;
    virtual bool activate(const RunningWindow& window) = 0;
    // Starts an application through its desktop entry; false when there is no such entry.
    virtual bool launchDesktopEntry(const QString& desktopID) = 0;
    // Starts an executable found on PATH, detached; false when it cannot be started.
    virtual bool launchExecutable(const QString& executable) = 0;
};

// Brings forward the terminal that shows herdr: the preferred one, or the one running terminal
// when that choice is unambiguous.
class TerminalActivator : public TerminalPresenting {
public:
    struct Automatic {
        std::vector<TerminalProfile> profiles = TerminalProfile::supported();
    };
    struct Preferred {
        TerminalProfile profile;
    };
    using Selection = std::variant<Automatic, Preferred>;

    TerminalActivator(Selection selection, DesktopWindowControlling& desktop);

    TerminalPresentation present() override;

    struct RunningCandidate {
        RunningWindow window;
        TerminalProfile profile;
    };
    // The windows that belong to one of `profiles`: by window class first, then by executable.
    static std::vector<RunningCandidate> runningCandidates(
        const std::vector<TerminalProfile>& profiles, const std::vector<RunningWindow>& windows);

private:
    TerminalPresentation launch(const TerminalProfile& profile);

    Selection m_selection;
    DesktopWindowControlling& m_desktop;
};
