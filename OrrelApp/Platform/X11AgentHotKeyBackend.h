#pragma once

#include "OrrelApp/Platform/AgentHotKeyRegistering.h"

#include <QAbstractNativeEventFilter>

#include <cstdint>
#include <memory>
#include <vector>

struct xcb_connection_t;
// xcb-keysyms names its table only through a typedef of this tag.
struct _XCBKeySymbols;

// Agent hot keys on X11: a passive grab of each chord on the root window, once for every
// combination of the lock keys (Caps, Num, Scroll) so that a lit lock key does not swallow it,
// and the presses read from the connection's events.
class X11AgentHotKeyBackend final : public AgentHotKeyRegistering,
                                    public QAbstractNativeEventFilter {
public:
    // No key of this keyboard makes the chord's keysym, or its modifiers are not X modifiers:
    // refused before the server is asked, with the code the server gives a value it cannot take.
    static constexpr int badValue = 2;
    // Another client holds the grab.
    static constexpr int badAccess = 10;

    // On the application's own X connection, filtering its events; absent unless the
    // application runs on xcb.
    static std::unique_ptr<X11AgentHotKeyBackend> forApplication();

    // `connection` must outlive the backend. Events reach `nativeEventFilter` from whoever
    // reads the connection: Qt for the application's own, the caller otherwise.
    X11AgentHotKeyBackend(xcb_connection_t* connection, bool installFilter);
    ~X11AgentHotKeyBackend() override;
    X11AgentHotKeyBackend(const X11AgentHotKeyBackend&) = delete;
    X11AgentHotKeyBackend& operator=(const X11AgentHotKeyBackend&) = delete;

    std::optional<QString> unavailableReason() const override { return std::nullopt; }
    std::vector<Failure> registerChords(const std::vector<AgentHotKeyChord>& chords) override;
    void unregisterAll() override;

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

    // The lock-key masks found on this server's modifier map, Caps Lock always among them.
    std::uint16_t lockMask() const { return m_lockMask; }

private:
    struct Held {
        AgentHotKeyChord chord;
        std::uint8_t keyCode = 0;
    };

    std::optional<std::uint8_t> keyCodeOf(std::uint32_t keysym) const;
    std::uint16_t modifierMaskOf(std::uint32_t keysym) const;
    std::vector<std::uint16_t> lockVariants() const;
    void ungrab(const Held& held);

    xcb_connection_t* m_connection;
    std::uint32_t m_root = 0;
    _XCBKeySymbols* m_symbols = nullptr;
    std::uint16_t m_lockMask = 0;
    bool m_filtering = false;
    std::vector<Held> m_held;
};
