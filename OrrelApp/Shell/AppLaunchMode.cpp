#include "OrrelApp/Shell/AppLaunchMode.h"

#include <QFileInfo>

using namespace Qt::StringLiterals;

AppLaunchMode AppLaunchMode::fromArguments(const QStringList& arguments)
{
    if (arguments.size() > 1 && arguments[1] == u"--version")
        return {Kind::printVersion, {}};
    if (arguments.size() > 1 && (arguments[1] == u"--help" || arguments[1] == u"-h"))
        return {Kind::printUsage, {}};
    if (arguments.size() > 1 && arguments[1] == u"selftest") {
        const qsizetype flag = arguments.indexOf(u"--result"_s, 2);
        if (flag >= 0 && flag + 1 < arguments.size())
            return {Kind::selfTestPrompt, arguments[flag + 1]};
    }
    if (!arguments.isEmpty() && QFileInfo(arguments[0]).fileName().toLower() == u"screensave")
        return {Kind::screenSave, {}};
    if (arguments.size() > 1) {
        const QString first = arguments[1].toLower();
        if (first == u"screensave" || first == u"--screensave")
            return {Kind::screenSave, {}};
    }
    return {Kind::normal, {}};
}
