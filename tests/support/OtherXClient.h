#pragma once

#include <xcb/xcb.h>
#include <xcb/xcb_keysyms.h>

#include <cstdint>
#include <cstdlib>

// Another program on the same display, which may take a chord for itself.
class OtherXClient {
public:
    static constexpr std::uint16_t ctrlAlt = XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1;

    OtherXClient() : m_connection(xcb_connect(nullptr, nullptr))
    {
        m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
        m_symbols = xcb_key_symbols_alloc(m_connection);
    }
    ~OtherXClient()
    {
        xcb_key_symbols_free(m_symbols);
        xcb_disconnect(m_connection);
    }
    OtherXClient(const OtherXClient&) = delete;
    OtherXClient& operator=(const OtherXClient&) = delete;

    // The X error of grabbing the key with `modifiers`, 0 when it was granted; a granted grab is
    // let go unless `keep` says otherwise.
    int grab(xcb_keysym_t keysym, std::uint16_t modifiers = ctrlAlt, bool keep = false)
    {
        xcb_keycode_t* codes = xcb_key_symbols_get_keycode(m_symbols, keysym);
        const xcb_keycode_t code = codes ? codes[0] : 0;
        std::free(codes);
        xcb_generic_error_t* error = xcb_request_check(
            m_connection, xcb_grab_key_checked(m_connection, 0, m_root, modifiers, code,
                                               XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
        const int status = error ? error->error_code : 0;
        std::free(error);
        if (!status && !keep) {
            xcb_ungrab_key(m_connection, code, m_root, modifiers);
            xcb_flush(m_connection);
        }
        return status;
    }

private:
    xcb_connection_t* m_connection;
    xcb_window_t m_root = 0;
    xcb_key_symbols_t* m_symbols = nullptr;
};
