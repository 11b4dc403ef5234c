#include "OrrelApp/Surface/OrrelPresentation.h"

using namespace Qt::StringLiterals;

QString toString(OrrelExpansionOrigin origin)
{
    return origin == OrrelExpansionOrigin::automatic ? u"automatic"_s : u"manual"_s;
}

std::optional<OrrelFocusContext> OrrelPresentation::focusContext() const
{
    if (const auto* focused = std::get_if<Focused>(&m_value))
        return focused->context;
    return std::nullopt;
}

QString OrrelPresentation::toString() const
{
    if (isFocused())
        return u"focused"_s;
    return isOverview() ? u"overview"_s : u"compact"_s;
}
