#pragma once

#include <QString>
#include <QStringList>

// Which of the executable's jobs runs, settled before any other object exists. Printing the
// version or the usage needs no display, so neither makes an application object.
struct AppLaunchMode {
    enum class Kind { normal, screenSave, selfTestPrompt, printVersion, printUsage };

    Kind kind = Kind::normal;
    QString resultPath; // selfTestPrompt

    // From the process's arguments, the program name included. Never fails.
    static AppLaunchMode fromArguments(const QStringList& arguments);

    bool operator==(const AppLaunchMode&) const = default;
};
