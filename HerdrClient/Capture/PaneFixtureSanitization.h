#pragma once

#include "HerdrClient/Wire/JSONDecoding.h"

#include <QString>

// Whether a fixture's texts are the captured ones or replacements someone wrote to remove
// private text.
enum class PaneFixtureSanitization { none, explicitReplacement };

QString toString(PaneFixtureSanitization sanitization);

template <>
struct JSONCoding<PaneFixtureSanitization> {
    static Decoded<PaneFixtureSanitization> decode(const JSONValue& value);
    static JSONValue encode(PaneFixtureSanitization s) { return JSONValue(toString(s)); }
};
