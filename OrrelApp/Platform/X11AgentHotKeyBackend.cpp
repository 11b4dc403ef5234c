#include "OrrelApp/Platform/X11AgentHotKeyBackend.h"

#include <QCoreApplication>
#include <QGuiApplication>

#include <xcb/xcb.h>
#include <xcb/xcb_keysyms.h>
#include <xcb/xproto.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

namespace {

// Keysyms of the lock keys besides Caps Lock, which has a modifier of its own.
constexpr std::uint32_t numLockKeysym = 0xff7f;
constexpr std::uint32_t scrollLockKeysym = 0xff14;
// The eight core modifiers; anything above is no X modifier.
constexpr std::uint32_t coreModifiers = 0xff;

template <class T>
using Reply = std::unique_ptr<T, decltype(&std::free)>;

template <class T>
Reply<T> own(T* raw)
{
    return Reply<T>(raw, &std::free);
}

} // namespace

std::unique_ptr<X11AgentHotKeyBackend> X11AgentHotKeyBackend::forApplication()
{
    auto* application =
        qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    if (!application || !application->connection())
        return nullptr;
    return std::make_unique<X11AgentHotKeyBackend>(application->connection(), true);
}

X11AgentHotKeyBackend::X11AgentHotKeyBackend(xcb_connection_t* connection, bool installFilter)
    : m_connection(connection)
{
    // The root of the first screen: the program's windows, and so its hot keys, live there.
    const xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(m_connection));
    if (screens.rem)
        m_root = screens.data->root;
    m_symbols = xcb_key_symbols_alloc(m_connection);
    m_lockMask =
        XCB_MOD_MASK_LOCK | modifierMaskOf(numLockKeysym) | modifierMaskOf(scrollLockKeysym);
    if (installFilter && QCoreApplication::instance()) {
        QCoreApplication::instance()->installNativeEventFilter(this);
        m_filtering = true;
    }
}

X11AgentHotKeyBackend::~X11AgentHotKeyBackend()
{
    unregisterAll();
    if (m_filtering && QCoreApplication::instance())
        QCoreApplication::instance()->removeNativeEventFilter(this);
    xcb_key_symbols_free(m_symbols);
}

std::optional<std::uint8_t> X11AgentHotKeyBackend::keyCodeOf(std::uint32_t keysym) const
{
    if (!m_symbols || keysym == 0)
        return std::nullopt;
    const auto codes = own(xcb_key_symbols_get_keycode(m_symbols, keysym));
    if (!codes || codes.get()[0] == XCB_NO_SYMBOL)
        return std::nullopt;
    return codes.get()[0];
}

// The modifier bit a keysym's key sets, as the server's modifier map says; 0 when none.
std::uint16_t X11AgentHotKeyBackend::modifierMaskOf(std::uint32_t keysym) const
{
    const auto keyCode = keyCodeOf(keysym);
    if (!keyCode)
        return 0;
    const auto map = own(xcb_get_modifier_mapping_reply(
        m_connection, xcb_get_modifier_mapping(m_connection), nullptr));
    if (!map)
        return 0;
    const xcb_keycode_t* codes = xcb_get_modifier_mapping_keycodes(map.get());
    const int perModifier = map->keycodes_per_modifier;
    for (int modifier = 0; modifier < 8; ++modifier) {
        for (int i = 0; i < perModifier; ++i) {
            if (codes[modifier * perModifier + i] == *keyCode)
                return std::uint16_t(1U << modifier);
        }
    }
    return 0;
}

// Every combination of the lock bits, none included.
std::vector<std::uint16_t> X11AgentHotKeyBackend::lockVariants() const
{
    std::vector<std::uint16_t> variants{0};
    for (std::uint16_t bit = 1; bit != 0 && bit <= m_lockMask; bit = std::uint16_t(bit << 1)) {
        if (!(m_lockMask & bit))
            continue;
        const std::size_t count = variants.size();
        for (std::size_t i = 0; i < count; ++i)
            variants.push_back(std::uint16_t(variants[i] | bit));
    }
    return variants;
}

std::vector<AgentHotKeyRegistering::Failure> X11AgentHotKeyBackend::registerChords(
    const std::vector<AgentHotKeyChord>& chords)
{
    std::vector<Failure> failures;
    const auto variants = lockVariants();
    for (const AgentHotKeyChord& chord : chords) {
        const auto keyCode = keyCodeOf(chord.keyCode);
        if (!keyCode || (chord.modifiers & ~coreModifiers) || !m_root) {
            failures.push_back({chord, badValue});
            continue;
        }
        std::vector<xcb_void_cookie_t> cookies;
        for (const std::uint16_t locks : variants) {
            cookies.push_back(xcb_grab_key_checked(m_connection, 0, m_root,
                                                   std::uint16_t(chord.modifiers | locks), *keyCode,
                                                   XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
        }
        int refused = 0;
        for (const xcb_void_cookie_t cookie : cookies) {
            if (const auto error = own(xcb_request_check(m_connection, cookie)); error && !refused)
                refused = error->error_code;
        }
        const Held held{chord, *keyCode};
        if (refused) {
            // Some lock variants may have been granted before another failed.
            ungrab(held);
            failures.push_back({chord, refused});
            continue;
        }
        m_held.push_back(held);
    }
    if (!failures.empty())
        unregisterAll();
    return failures;
}

void X11AgentHotKeyBackend::ungrab(const Held& held)
{
    for (const std::uint16_t locks : lockVariants())
        xcb_ungrab_key(m_connection, held.keyCode, m_root,
                       std::uint16_t(held.chord.modifiers | locks));
}

void X11AgentHotKeyBackend::unregisterAll()
{
    if (m_held.empty())
        return;
    for (const Held& held : m_held)
        ungrab(held);
    m_held.clear();
    // A round trip, not a flush: once this returns, the server has let the keys go, and another
    // program that asks for them next is granted them.
    std::free(xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
}

bool X11AgentHotKeyBackend::nativeEventFilter(const QByteArray& eventType, void* message,
                                              qintptr* result)
{
    Q_UNUSED(result);
    if (eventType != "xcb_generic_event_t" || m_held.empty())
        return false;
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    if ((event->response_type & 0x7f) != XCB_KEY_PRESS)
        return false;
    const auto* press = reinterpret_cast<const xcb_key_press_event_t*>(event);
    const std::uint32_t modifiers = press->state & coreModifiers & ~std::uint32_t(m_lockMask);
    const auto found = std::ranges::find_if(m_held, [&](const Held& held) {
        return held.keyCode == press->detail && held.chord.modifiers == modifiers;
    });
    if (found == m_held.end())
        return false;
    if (onPressed)
        onPressed(AgentHotKey{found->chord.keyCode, found->chord.action});
    return true;
}
