#pragma once

#include <QString>

#include <map>

// A process environment as a plain map, so that rules which read it can be given any environment.
using Environment = std::map<QString, QString>;

Environment processEnvironment();

// The value of `key`, or an empty string when it is not set.
QString environmentValue(const Environment& environment, const QString& key);

// "~" and "~/..." become the home directory (HOME of `environment`, else the process's home).
QString expandTilde(const QString& path, const Environment& environment);
