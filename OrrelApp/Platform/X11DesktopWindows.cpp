#include "OrrelApp/Platform/X11DesktopWindows.h"

#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QStandardPaths>

#include <xcb/xcb.h>
#include <xcb/xproto.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>

using namespace Qt::StringLiterals;

namespace {
template <class T>
using Reply = std::unique_ptr<T, decltype(&std::free)>;

template <class T>
Reply<T> reply(T* raw)
{
    return Reply<T>(raw, &std::free);
}

QString commandName(qint64 pid)
{
    if (pid <= 0)
        return {};
    QFile comm(u"/proc/%1/comm"_s.arg(pid));
    if (!comm.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(comm.read(64)).trimmed();
}
} // namespace

X11DesktopWindows::X11DesktopWindows(const QString& displayName) : m_displayName(displayName)
{
    const QByteArray name = displayName.toLocal8Bit();
    int screenNumber = 0;
    xcb_connection_t* connection =
        xcb_connect(name.isEmpty() ? nullptr : name.constData(), &screenNumber);
    if (xcb_connection_has_error(connection)) {
        xcb_disconnect(connection);
        return;
    }
    xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (int i = 0; i < screenNumber && it.rem; ++i)
        xcb_screen_next(&it);
    if (!it.rem) {
        xcb_disconnect(connection);
        return;
    }
    m_connection = connection;
    m_root = it.data->root;
}

X11DesktopWindows::~X11DesktopWindows()
{
    if (m_connection)
        xcb_disconnect(m_connection);
}

std::uint32_t X11DesktopWindows::atom(const char* name)
{
    auto r = reply(xcb_intern_atom_reply(
        m_connection, xcb_intern_atom(m_connection, 0, std::uint16_t(std::strlen(name)), name),
        nullptr));
    return r ? r->atom : std::uint32_t(XCB_ATOM_NONE);
}

std::vector<std::uint32_t> X11DesktopWindows::windowProperty(std::uint32_t window,
                                                             std::uint32_t property,
                                                             std::uint32_t type)
{
    // 4096 entries are far beyond any real window list and bound what a bad client can hand us.
    auto r = reply(xcb_get_property_reply(
        m_connection, xcb_get_property(m_connection, 0, window, property, type, 0, 4096), nullptr));
    if (!r || r->format != 32)
        return {};
    const auto* values = static_cast<const std::uint32_t*>(xcb_get_property_value(r.get()));
    const int count = xcb_get_property_value_length(r.get()) / 4;
    return std::vector<std::uint32_t>(values, values + count);
}

std::vector<RunningWindow> X11DesktopWindows::windows()
{
    if (!m_connection)
        return {};
    std::vector<RunningWindow> result;
    const std::uint32_t pidAtom = atom("_NET_WM_PID");
    for (const std::uint32_t window :
         windowProperty(m_root, atom("_NET_CLIENT_LIST"), XCB_ATOM_WINDOW)) {
        RunningWindow entry;
        entry.windowID = window;
        auto cls = reply(xcb_get_property_reply(
            m_connection,
            xcb_get_property(m_connection, 0, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0, 256),
            nullptr));
        if (cls && cls->format == 8) {
            const QByteArray raw(static_cast<const char*>(xcb_get_property_value(cls.get())),
                                 xcb_get_property_value_length(cls.get()));
            const QList<QByteArray> parts = raw.split('\0');
            entry.instanceName = !parts.isEmpty() ? QString::fromLocal8Bit(parts[0]) : QString();
            entry.className = parts.size() > 1 ? QString::fromLocal8Bit(parts[1]) : QString();
        }
        const auto pid = windowProperty(window, pidAtom, XCB_ATOM_CARDINAL);
        entry.processID = pid.empty() ? 0 : qint64(pid.front());
        entry.executable = commandName(entry.processID);
        result.push_back(entry);
    }
    return result;
}

std::optional<std::uint32_t> X11DesktopWindows::activeWindow()
{
    if (!m_connection)
        return std::nullopt;
    const auto active = windowProperty(m_root, atom("_NET_ACTIVE_WINDOW"), XCB_ATOM_WINDOW);
    if (active.empty() || active.front() == XCB_WINDOW_NONE)
        return std::nullopt;
    return active.front();
}

bool X11DesktopWindows::activate(const RunningWindow& window)
{
    if (!m_connection)
        return false;
    // The request a pager sends: window managers honour it without focus-stealing prevention.
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window.windowID;
    event.type = atom("_NET_ACTIVE_WINDOW");
    event.data.data32[0] = 2;
    event.data.data32[1] = XCB_CURRENT_TIME;
    event.data.data32[2] = XCB_WINDOW_NONE;
    xcb_map_window(m_connection, window.windowID);
    xcb_send_event(m_connection, 0, m_root,
                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char*>(&event));
    return xcb_flush(m_connection) > 0;
}

bool X11DesktopWindows::launchDesktopEntry(const QString& desktopID)
{
    const QString file =
        QStandardPaths::locate(QStandardPaths::ApplicationsLocation, desktopID + u".desktop"_s);
    const QString launcher = QStandardPaths::findExecutable(u"gtk-launch"_s);
    if (file.isEmpty() || launcher.isEmpty())
        return false;
    QProcess process;
    process.setProgram(launcher);
    process.setArguments({desktopID});
    if (!m_displayName.isEmpty()) {
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"DISPLAY"_s, m_displayName);
        process.setProcessEnvironment(environment);
    }
    return process.startDetached();
}

bool X11DesktopWindows::launchExecutable(const QString& executable)
{
    const QString path = QStandardPaths::findExecutable(executable);
    if (path.isEmpty())
        return false;
    QProcess process;
    process.setProgram(path);
    if (!m_displayName.isEmpty()) {
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"DISPLAY"_s, m_displayName);
        process.setProcessEnvironment(environment);
    }
    return process.startDetached();
}

void X11DesktopWindows::keepPanelOnEveryWorkspace(std::uint32_t windowID)
{
    if (!m_connection)
        return;
    // A mapped window's state changes only through requests to the root window, which the window
    // manager carries out; 0xFFFFFFFF is the desktop number that means every desktop.
    const auto request = [&](std::uint32_t type, std::array<std::uint32_t, 3> data) {
        xcb_client_message_event_t event{};
        event.response_type = XCB_CLIENT_MESSAGE;
        event.format = 32;
        event.window = windowID;
        event.type = type;
        event.data.data32[0] = data[0];
        event.data.data32[1] = data[1];
        event.data.data32[2] = data[2];
        event.data.data32[3] = 1; // from a normal application
        xcb_send_event(m_connection, 0, m_root,
                       XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                       reinterpret_cast<const char*>(&event));
    };
    constexpr std::uint32_t add = 1;
    const std::uint32_t state = atom("_NET_WM_STATE");
    request(state, {add, atom("_NET_WM_STATE_STICKY"), atom("_NET_WM_STATE_ABOVE")});
    request(state, {add, atom("_NET_WM_STATE_SKIP_TASKBAR"), atom("_NET_WM_STATE_SKIP_PAGER")});
    request(atom("_NET_WM_DESKTOP"), {0xFFFFFFFFu, 0, 0});
    xcb_flush(m_connection);
}

std::optional<QRect> X11DesktopWindows::windowFrame(std::uint32_t windowID)
{
    if (!m_connection)
        return std::nullopt;
    auto geometry = reply(
        xcb_get_geometry_reply(m_connection, xcb_get_geometry(m_connection, windowID), nullptr));
    if (!geometry)
        return std::nullopt;
    auto origin = reply(xcb_translate_coordinates_reply(
        m_connection, xcb_translate_coordinates(m_connection, windowID, m_root, 0, 0), nullptr));
    if (!origin)
        return std::nullopt;
    return QRect(origin->dst_x, origin->dst_y, geometry->width, geometry->height);
}
