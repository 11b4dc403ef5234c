#pragma once

#include <QString>
#include <QStringList>

// Which of the executable's three jobs runs, settled before any other object exists.
struct AppLaunchMode {
    enum class Kind { normal, screenSave, selfTestPrompt };

    Kind kind = Kind::normal;
    QString resultPath; // selfTestPrompt

    // From the process's arguments, the program name included. Never fails.
    static AppLaunchMode fromArguments(const QStringList& arguments);

    bool operator==(const AppLaunchMode&) const = default;
};
