// Agent hot keys on a real X server: what another client can and cannot grab while ours are
// held, and presses made by xdotool as a person's would be.
#include "OrrelApp/Alerts/AgentHotKeys.h"
#include "OrrelApp/Platform/X11AgentHotKeyBackend.h"
#include "OrrelApp/Shell/Settings.h"
#include "tests/support/MemorySettingsStore.h"
#include "tests/support/OtherXClient.h"
#include "tests/support/TestSupport.h"

#include <QProcess>

#include <xcb/xcb.h>
#include <xcb/xcb_keysyms.h>

#include <gtest/gtest.h>

#include <cstdlib>

using namespace Qt::StringLiterals;

namespace {

constexpr std::uint32_t ctrlAlt =
    GlobalKeyboardShortcut::controlMask | GlobalKeyboardShortcut::altMask;

AgentHotKeyChord chord(AppShortcutID id, std::uint32_t keysym, std::uint32_t modifiers = ctrlAlt)
{
    return {id, keysym, modifiers, *AgentHotKey::Action::forShortcut(id)};
}

class X11HotKeys : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_FALSE(qEnvironmentVariableIsEmpty("DISPLAY"))
            << "run under tests/support/desktop-session";
        connection = xcb_connect(nullptr, nullptr);
        ASSERT_FALSE(xcb_connection_has_error(connection));
        backend = std::make_unique<X11AgentHotKeyBackend>(connection, false);
        backend->onPressed = [this](const AgentHotKey& key) { pressed.push_back(key); };
    }

    void TearDown() override
    {
        backend.reset();
        xcb_disconnect(connection);
    }

    static void xdotool(const QStringList& keys)
    {
        QProcess tool;
        tool.start(u"xdotool"_s, QStringList{u"key"_s} + keys);
        ASSERT_TRUE(tool.waitForFinished(10000));
        ASSERT_EQ(tool.exitCode(), 0) << tool.readAllStandardError().toStdString();
    }

    // Hands the backend what its connection receives, as Qt's event filter would, until a
    // press has been reported.
    bool waitForPress(std::size_t count)
    {
        return processEventsUntil([&] {
            while (xcb_generic_event_t* event = xcb_poll_for_event(connection)) {
                backend->nativeEventFilter("xcb_generic_event_t", event, nullptr);
                std::free(event);
            }
            return pressed.size() >= count;
        });
    }

    xcb_connection_t* connection = nullptr;
    std::unique_ptr<X11AgentHotKeyBackend> backend;
    std::vector<AgentHotKey> pressed;
    OtherXClient other;
};

TEST_F(X11HotKeys, HeldChordsCoverEveryLockKeyAndGoWhenReleased)
{
    ASSERT_TRUE(backend->registerChords({chord(AppShortcutID::approve, 'y')}).empty());
    const std::uint16_t locks = backend->lockMask();
    EXPECT_TRUE(locks & XCB_MOD_MASK_LOCK);
    EXPECT_NE(locks, XCB_MOD_MASK_LOCK) << "Num Lock has a modifier on any usual keymap";
    for (const std::uint16_t lit : {std::uint16_t(0), std::uint16_t(XCB_MOD_MASK_LOCK), locks})
        EXPECT_EQ(other.grab('y', std::uint16_t(ctrlAlt | lit)), X11AgentHotKeyBackend::badAccess)
            << "locks " << lit;
    // Another modifier is another chord.
    EXPECT_EQ(other.grab('y', GlobalKeyboardShortcut::controlMask), 0);

    backend->unregisterAll();
    EXPECT_EQ(other.grab('y', ctrlAlt), 0);
    EXPECT_EQ(other.grab('y', std::uint16_t(ctrlAlt | locks)), 0);
}

TEST_F(X11HotKeys, PressesReachTheHandlerWithCapsLockLitOrNot)
{
    ASSERT_TRUE(
        backend
            ->registerChords({chord(AppShortcutID::approve, 'y'), chord(AppShortcutID::pick2, '2')})
            .empty());
    xdotool({u"ctrl+alt+y"_s});
    ASSERT_TRUE(waitForPress(1));
    EXPECT_EQ(pressed.back().action, AgentHotKey::Action{AgentHotKey::Action::Kind::approve});

    xdotool({u"Caps_Lock"_s, u"ctrl+alt+2"_s, u"Caps_Lock"_s});
    ASSERT_TRUE(waitForPress(2));
    EXPECT_EQ(pressed.back().action, AgentHotKey::Action::picking(2));
    EXPECT_EQ(pressed.back().keyCode, std::uint32_t('2'));
}

TEST_F(X11HotKeys, AChordHeldByAnotherClientRollsBackTheWholeSet)
{
    // A grab that stays: the other client keeps Ctrl+Alt+N for itself.
    xcb_connection_t* holder = xcb_connect(nullptr, nullptr);
    xcb_key_symbols_t* symbols = xcb_key_symbols_alloc(holder);
    xcb_keycode_t* codes = xcb_key_symbols_get_keycode(symbols, 'n');
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(holder)).data->root;
    std::free(
        xcb_request_check(holder, xcb_grab_key_checked(holder, 0, root, ctrlAlt, codes[0],
                                                       XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC)));
    std::free(codes);

    const auto failures = backend->registerChords({chord(AppShortcutID::approve, 'y'),
                                                   chord(AppShortcutID::deny, 'n'),
                                                   chord(AppShortcutID::pick1, '1')});
    ASSERT_EQ(failures.size(), 1U);
    EXPECT_EQ(failures[0].chord.id, AppShortcutID::deny);
    EXPECT_EQ(failures[0].status, X11AgentHotKeyBackend::badAccess);
    // Neither the chord before the refused one nor the one after is held.
    EXPECT_EQ(other.grab('y', ctrlAlt), 0);
    EXPECT_EQ(other.grab('1', ctrlAlt), 0);

    xcb_key_symbols_free(symbols);
    xcb_disconnect(holder);
    EXPECT_TRUE(backend->registerChords({chord(AppShortcutID::deny, 'n')}).empty());
}

TEST_F(X11HotKeys, AStoredOverrideWithAnUnknownKeyIsAConflictAndHoldsNothing)
{
    MemorySettingsStore store;
    // As a hand-edited or foreign settings file might hold it.
    store.values[u"appShortcutOverrides"_s] = QByteArray(
        R"({"approve":{"disabled":false,"shortcut":{"keyCode":4022250974,"modifierRawValue":12,"keyLabel":"?"}},)"
        R"("deny":{"disabled":false,"shortcut":{"keyCode":110,"modifierRawValue":1048576,"keyLabel":"N"}}})");
    Settings settings(store);
    std::vector<AgentHotKey::Action> performed;
    AgentHotKeys hotKeys(
        settings, *backend, [] { return true; },
        [&](AgentHotKey::Action action) { performed.push_back(action); });
    hotKeys.refresh();
    EXPECT_EQ(hotKeys.state().kind, AgentHotKeyState::Kind::conflict);
    EXPECT_TRUE(hotKeys.state().message.startsWith(u"approve: The desktop could not register "
                                                   "this shortcut (error 2)."_s))
        << hotKeys.state().message.toStdString();
    // Modifiers that are no X modifiers are refused, never cut down to a bare key.
    EXPECT_TRUE(hotKeys.state().message.contains(u"deny: "_s));
    EXPECT_EQ(other.grab('n', 0), 0);
    EXPECT_EQ(other.grab('1', ctrlAlt), 0);

    xdotool({u"ctrl+alt+1"_s, u"n"_s});
    while (xcb_generic_event_t* event = xcb_poll_for_event(connection)) {
        backend->nativeEventFilter("xcb_generic_event_t", event, nullptr);
        std::free(event);
    }
    EXPECT_TRUE(performed.empty());
    hotKeys.stop();
}

} // namespace
