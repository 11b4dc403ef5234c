#pragma once

#include <QString>
#include <QStringView>

#include <optional>

// The sentence in which an agent reported that its turn is done: the last bullet of real prose
// above the input box, not a tool line ("• Ran …") and not the box itself.
struct CompletionSummaryExtractor {
    // Tested, in this order, on the lower-cased text behind a bullet.
    static constexpr QStringView noisePrefixes[] = {
        u"ran ",
        u"running ",
        u"read ",
        u"searched ",
        u"edited ",
        u"wrote ",
        u"explored ",
        u"working ",
        u"you have ",
        u"i\u2019m requesting approval",
        u"i'm requesting approval",
    };
    static constexpr QStringView bullets[] = {u"\u2022 ", u"\u25CF "}; // • ●

    // Nothing when the screen holds no such sentence. Longer than `characterLimit` (at least 1)
    // characters, the text is cut and ends in "…".
    static std::optional<QString> extract(const QString& from, int characterLimit);

    // A line that says something: not blank, not a tool result ("└ …"), not only a rule.
    static bool isMeaningful(QStringView line);
};
