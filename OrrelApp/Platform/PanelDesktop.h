#pragma once

#include <QRect>

#include <cstdint>
#include <optional>

// What the floating panel needs of the window manager beyond Qt's window flags.
class PanelDesktop {
public:
    virtual ~PanelDesktop() = default;
    // Shown on every workspace, kept out of the task bar and the pager, above normal windows.
    virtual void keepPanelOnEveryWorkspace(std::uint32_t windowID) = 0;
    // A window's frame in desktop coordinates, to find the display it is on.
    virtual std::optional<QRect> windowFrame(std::uint32_t windowID) = 0;
};
