#include "HerdrClient/Support/Environment.h"

#include <QDir>
#include <QProcessEnvironment>

using namespace Qt::StringLiterals;

Environment processEnvironment()
{
    Environment result;
    const auto system = QProcessEnvironment::systemEnvironment();
    for (const auto& key : system.keys())
        result.emplace(key, system.value(key));
    return result;
}

QString environmentValue(const Environment& environment, const QString& key)
{
    const auto it = environment.find(key);
    return it == environment.end() ? QString() : it->second;
}

QString expandTilde(const QString& path, const Environment& environment)
{
    if (path != u"~" && !path.startsWith(u"~/"))
        return path;
    QString home = environmentValue(environment, u"HOME"_s);
    if (home.isEmpty())
        home = QDir::homePath();
    return home + path.mid(1);
}
