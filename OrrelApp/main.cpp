#include "HerdrClient/Wire/HerdrClient.h"
#include "OrrelApp/Shell/AppLaunchMode.h"
#include "OrrelApp/Shell/SessionListing.h"

#include <QCoreApplication>
#include <QCoroTask>
#include <QTextStream>

#include <cstdio>

int main(int argc, char* argv[])
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    const auto mode = AppLaunchMode::fromArguments(arguments);

    QTextStream out(stdout);
    QTextStream err(stderr);
    switch (mode.kind) {
    case AppLaunchMode::Kind::selfTestPrompt:
    case AppLaunchMode::Kind::screenSave:
        err << "This build of Orrel Sentry has no "
            << (mode.kind == AppLaunchMode::Kind::screenSave ? "screen saver host"
                                                             : "self-test prompt")
            << " yet.\n";
        return 2;
    case AppLaunchMode::Kind::normal: break;
    }

    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("orrel-sentry"));
    HerdrClient client(std::nullopt, 5.0);
    return QCoro::waitFor(listSession(client, client.socketPath(), out, err));
}
