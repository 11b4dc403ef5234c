#include "HerdrClient/Interaction/AgentMode.h"

#include <algorithm>
#include <iterator>

using namespace Qt::StringLiterals;

namespace {

struct ModeNames {
    QStringView text;
    QStringView display;
};

// In declaration order, so that a case's number is its index.
constexpr ModeNames names[] = {
    {u"manual", u"Manual"},   {u"acceptEdits", u"Accept Edits"}, {u"plan", u"Plan"},
    {u"auto", u"Auto"},       {u"dontAsk", u"Don't Ask"},        {u"bypassPermissions", u"Bypass"},
    {u"default", u"Default"},
};

} // namespace

QString toString(AgentMode mode)
{
    return names[static_cast<std::size_t>(mode)].text.toString();
}

QString displayName(AgentMode mode)
{
    return names[static_cast<std::size_t>(mode)].display.toString();
}

std::optional<AgentMode> agentModeFromString(QStringView text)
{
    for (std::size_t i = 0; i < std::size(names); ++i) {
        if (names[i].text == text)
            return static_cast<AgentMode>(i);
    }
    return std::nullopt;
}

bool AgentModeCycling::supports(QStringView agentID)
{
    const QString id = agentID.trimmed().toString().toLower();
    return std::ranges::any_of(supportedAgentIDs,
                               [&](QStringView supported) { return supported == id; });
}
