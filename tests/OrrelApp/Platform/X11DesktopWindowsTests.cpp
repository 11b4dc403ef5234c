// Terminal activation on a real X server with a real window manager and real terminals.
#include "OrrelApp/Platform/X11DesktopWindows.h"
#include "tests/support/TestSupport.h"

#include <QProcess>
#include <QProcessEnvironment>
#include <QStandardPaths>

#include <gtest/gtest.h>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

class X11Desktop : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        for (const auto* tool : {"Xvfb", "openbox", "xterm", "xmessage"}) {
            if (QStandardPaths::findExecutable(QString::fromLatin1(tool)).isEmpty())
                FAIL() << tool << " is missing: scripts/install-deps installs it";
        }
        server = new QProcess();
        // -displayfd 1: the server picks a free display and writes its number to our pipe.
        server->start(u"Xvfb"_s, {u"-displayfd"_s, u"1"_s, u"-screen"_s, u"0"_s, u"1024x768x24"_s,
                                  u"-nolisten"_s, u"tcp"_s});
        ASSERT_TRUE(server->waitForStarted(10000));
        ASSERT_TRUE(processEventsUntil(
            [] { return server->canReadLine() || server->waitForReadyRead(50); }));
        display = u":"_s + QString::fromLatin1(server->readLine().trimmed());
        windowManager = start(u"openbox"_s, {u"--sm-disable"_s});
        X11DesktopWindows probe(display);
        ASSERT_TRUE(probe.isConnected());
        // Wait until openbox manages windows, or the first terminals would be mapped unmanaged.
        ASSERT_TRUE(processEventsUntil([&] {
            QProcess check;
            check.setProcessEnvironment(environment());
            check.start(u"xprop"_s, {u"-root"_s, u"_NET_SUPPORTING_WM_CHECK"_s});
            check.waitForFinished(5000);
            return check.readAllStandardOutput().contains("window id");
        }));
    }

    static void TearDownTestSuite()
    {
        for (QProcess* p : {windowManager, server}) {
            if (p) {
                p->kill();
                p->waitForFinished(5000);
                delete p;
            }
        }
        windowManager = server = nullptr;
    }

    void TearDown() override
    {
        for (auto& p : clients) {
            p->kill();
            p->waitForFinished(5000);
        }
        clients.clear();
        // Closed windows leave the client list before the next test counts them.
        X11DesktopWindows desktop(display);
        ASSERT_TRUE(processEventsUntil([&] { return desktop.windows().empty(); }));
    }

    static QProcessEnvironment environment()
    {
        auto e = QProcessEnvironment::systemEnvironment();
        e.insert(u"DISPLAY"_s, display);
        return e;
    }

    static QProcess* start(const QString& program, const QStringList& arguments)
    {
        auto* p = new QProcess();
        p->setProcessEnvironment(environment());
        p->start(program, arguments);
        EXPECT_TRUE(p->waitForStarted(10000)) << program.toStdString();
        return p;
    }

    // Starts a window and waits until the window manager lists it.
    RunningWindow open(const QString& program, const QStringList& arguments,
                       const QString& className)
    {
        clients.emplace_back(start(program, arguments));
        X11DesktopWindows desktop(display);
        RunningWindow found;
        EXPECT_TRUE(processEventsUntil([&] {
            for (const auto& w : desktop.windows()) {
                if (w.className == className) {
                    found = w;
                    return true;
                }
            }
            return false;
        })) << className.toStdString();
        return found;
    }

    static inline QProcess* server = nullptr;
    static inline QProcess* windowManager = nullptr;
    static inline QString display;
    std::vector<std::unique_ptr<QProcess>> clients;
};

TEST_F(X11Desktop, ListsWindowsAndRaisesThePreferredTerminal)
{
    const RunningWindow xterm = open(u"xterm"_s, {}, u"XTerm"_s);
    EXPECT_EQ(xterm.instanceName, u"xterm"_s);
    EXPECT_GT(xterm.processID, 0);
    EXPECT_EQ(xterm.executable, u"xterm"_s);
    const RunningWindow note =
        open(u"xmessage"_s, {u"-name"_s, u"note"_s, u"not a terminal"_s}, u"Xmessage"_s);
    X11DesktopWindows desktop(display);
    ASSERT_TRUE(processEventsUntil([&] { return desktop.activeWindow() == note.windowID; }));

    TerminalActivator activator(TerminalActivator::Preferred{TerminalProfile::xterm}, desktop);
    EXPECT_EQ(activator.present(), TerminalPresentation::presented(u"XTerm"_s));
    EXPECT_TRUE(processEventsUntil([&] { return desktop.activeWindow() == xterm.windowID; }));
}

TEST(X11DesktopWithoutServer, FindsNothingAndSaysSo)
{
    X11DesktopWindows desktop(u":4242"_s);
    EXPECT_FALSE(desktop.isConnected());
    EXPECT_TRUE(desktop.windows().empty());
    TerminalActivator automatic(TerminalActivator::Automatic{}, desktop);
    EXPECT_EQ(automatic.present(), TerminalPresentation::unavailable(
                                       TerminalPresentationFailure::noSupportedTerminalRunning()));
}

} // namespace
