#include "HerdrClient/Capture/PaneFixtureSanitization.h"

using namespace Qt::StringLiterals;

QString toString(PaneFixtureSanitization sanitization)
{
    switch (sanitization) {
    case PaneFixtureSanitization::none: return u"none"_s;
    case PaneFixtureSanitization::explicitReplacement: break;
    }
    return u"explicit_replacement"_s;
}

Decoded<PaneFixtureSanitization> JSONCoding<PaneFixtureSanitization>::decode(const JSONValue& value)
{
    const auto text = value.stringValue();
    if (text == u"none")
        return PaneFixtureSanitization::none;
    if (text == u"explicit_replacement")
        return PaneFixtureSanitization::explicitReplacement;
    return std::unexpected(DecodingError{u"expected \"none\" or \"explicit_replacement\""_s});
}
