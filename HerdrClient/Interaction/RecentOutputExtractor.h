#pragma once

#include <QString>

// The last lines of a pane's output for a preview: at most `lineLimit` lines (at least 1)
// without blank lines at either end, and at most `characterLimit` characters (at least 1). A cut
// keeps the end, and starts on a whole line when the kept text has one.
struct RecentOutputExtractor {
    static QString extract(const QString& from, int lineLimit, int characterLimit);
};
