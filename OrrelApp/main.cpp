#include "OrrelApp/Platform/ResidentInstance.h"
#include "OrrelApp/Platform/UnixSignalWatcher.h"
#include "OrrelApp/Shell/AppDelegate.h"
#include "OrrelApp/Shell/AppLaunchMode.h"
#include "OrrelApp/Shell/BuildProvenance.h"

#include <QApplication>
#include <QDBusConnection>
#include <QQuickWindow>
#include <QSGRendererInterface>
#include <QTextStream>

int main(int argc, char* argv[])
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    const auto mode = AppLaunchMode::fromArguments(arguments);

    switch (mode.kind) {
    case AppLaunchMode::Kind::printVersion:
        QTextStream(stdout) << BuildProvenance::compiledIn().versionLine() << '\n';
        return 0;
    case AppLaunchMode::Kind::printUsage:
        QTextStream(stdout) << "usage: orrel-sentry [--version | --help | screensave]\n"
                               "The resident companion: a pill at the top of the screen and a "
                               "tray icon.\nSee orrel-sentry(1).\n";
        return 0;
    case AppLaunchMode::Kind::selfTestPrompt:
    case AppLaunchMode::Kind::screenSave: {
        QTextStream err(stderr);
        err << "This build of Orrel Sentry has no "
            << (mode.kind == AppLaunchMode::Kind::screenSave ? "screen saver host"
                                                             : "self-test prompt")
            << " yet.\n";
        return 2;
    }
    case AppLaunchMode::Kind::normal: break;
    }

    // The panel places itself and stays on top, which a Wayland compositor does not allow a
    // client: there it runs through XWayland. QT_QPA_PLATFORM still wins when set.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "xcb");

    // The panel is small and mostly still: Qt Quick's software renderer draws it for a fraction
    // of the memory a GPU context keeps, and the same on every X server. QT_QUICK_BACKEND wins.
    if (qEnvironmentVariableIsEmpty("QT_QUICK_BACKEND"))
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    // Transparent around the shape where a compositor runs.
    QQuickWindow::setDefaultAlphaBuffer(true);

    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("orrel-sentry"));
    QApplication::setApplicationDisplayName(QStringLiteral("Orrel Sentry"));
    QApplication::setApplicationVersion(BuildProvenance::applicationVersion());
    QApplication::setDesktopFileName(QStringLiteral("dev.orrelsentry.OrrelSentry"));
    // Resident: closing a window never ends the program.
    QApplication::setQuitOnLastWindowClosed(false);

    // One resident program per login session: a second start shows the first one's overview.
    ResidentInstance instance(QDBusConnection::sessionBus());
    if (instance.claim() == InstanceClaiming::Claim::anotherRuns)
        return 0;

    AppDelegate delegate(mode);
    QObject::connect(&instance, &InstanceClaiming::showOverviewRequested, &delegate,
                     &AppDelegate::showOverview);
    // Ctrl-C and a plain kill take the same way out as Quit in the menu.
    UnixSignalWatcher termination;
    QObject::connect(&termination, &UnixSignalWatcher::terminationRequested, &delegate,
                     &AppDelegate::quit);
    if (!delegate.applicationDidFinishLaunching())
        return 1;
    return QApplication::exec();
}
