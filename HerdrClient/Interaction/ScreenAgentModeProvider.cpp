#include "HerdrClient/Interaction/ScreenAgentModeProvider.h"

#include "HerdrClient/Interaction/ScreenText.h"

using namespace Qt::StringLiterals;

namespace {

struct ModePhrase {
    QStringView phrase;
    AgentMode mode;
};

// Tested in this order on each lower-cased line.
constexpr ModePhrase modePhrases[] = {
    {u"bypass permissions", AgentMode::bypassPermissions},
    {u"don't ask mode", AgentMode::dontAsk},
    {u"dont ask mode", AgentMode::dontAsk},
    {u"auto mode on", AgentMode::auto_},
    {u"accept edits on", AgentMode::acceptEdits},
    {u"plan mode on", AgentMode::plan},
    {u"plan mode (shift+tab to cycle)", AgentMode::plan},
    {u"manual mode on", AgentMode::manual},
    {u"default mode", AgentMode::default_},
};

constexpr qint64 statusLines = 16;

} // namespace

std::optional<AgentMode> ScreenAgentModeProvider::detectMode(QStringView agentID,
                                                             const QString& terminalText)
{
    if (!AgentModeCycling::supports(agentID))
        return std::nullopt;
    const QStringList lines = ScreenText::lines(ScreenText::normalizedLineEndings(terminalText));
    for (qsizetype i = lines.size() - 1; i >= 0; --i) {
        const QString line = lines[i].toLower();
        for (const ModePhrase& entry : modePhrases) {
            if (line.contains(entry.phrase))
                return entry.mode;
        }
    }
    return std::nullopt;
}

QCoro::Task<AgentModeReading> ScreenAgentModeProvider::mode(QString paneID, QString agentID) const
{
    if (!AgentModeCycling::supports(agentID))
        co_return std::optional<AgentMode>();
    const PaneTextReader reader = m_reader;
    PaneReadParams params;
    params.paneID = std::move(paneID);
    params.source = ReadSource::visible;
    params.lines = statusLines;
    const PaneTextResult text = co_await reader.read(params);
    if (!text)
        co_return std::unexpected(text.error());
    co_return detectMode(agentID, *text);
}
