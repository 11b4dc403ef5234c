#pragma once

#include "HerdrClient/Responding/TerminalActivator.h"
#include "OrrelApp/Platform/PanelDesktop.h"

#include <QString>

struct xcb_connection_t;

// The window list of an X11 desktop through the window manager's EWMH hints: which application
// windows exist, which is active, and asking the window manager to bring one forward.
class X11DesktopWindows : public DesktopWindowControlling, public PanelDesktop {
public:
    // Connects to `displayName`, or to $DISPLAY when empty. Without an X server every query
    // answers "nothing", so Wayland and headless sessions simply find no terminal.
    explicit X11DesktopWindows(const QString& displayName = {});
    ~X11DesktopWindows() override;
    X11DesktopWindows(const X11DesktopWindows&) = delete;
    X11DesktopWindows& operator=(const X11DesktopWindows&) = delete;

    bool isConnected() const { return m_connection != nullptr; }

    std::vector<RunningWindow> windows() override;
    std::optional<std::uint32_t> activeWindow() override;
    bool activate(const RunningWindow& window) override;
    bool launchDesktopEntry(const QString& desktopID) override;
    bool launchExecutable(const QString& executable) override;

    void keepPanelOnEveryWorkspace(std::uint32_t windowID) override;
    std::optional<QRect> windowFrame(std::uint32_t windowID) override;

private:
    std::uint32_t atom(const char* name);
    std::vector<std::uint32_t> windowProperty(std::uint32_t window, std::uint32_t property,
                                              std::uint32_t type);

    xcb_connection_t* m_connection = nullptr;
    std::uint32_t m_root = 0;
    QString m_displayName;
};
