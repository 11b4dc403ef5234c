#include "tools/orrelctl/WatchHost.h"

#include "HerdrClient/Wire/JSONDecoding.h"

#include <QStringList>

using namespace Qt::StringLiterals;

namespace {

QString listOrNone(const std::vector<QString>& ids)
{
    return ids.empty() ? u"none"_s : QStringList(ids.begin(), ids.end()).join(u", "_s);
}

QString itemIDs(const std::vector<AttentionItem>& items)
{
    std::vector<QString> ids;
    for (const auto& item : items)
        ids.push_back(item.id);
    return listOrNone(ids);
}

} // namespace

WatchHost::WatchHost(CommandContext context, bool json)
    : m_context(std::move(context)), m_json(json)
{
    m_clock.start();
}

QCoro::Task<> WatchHost::sessionRuntimeDidObserve(SessionRuntime* runtime,
                                                  StateTransitionResult transitions,
                                                  std::optional<QString>)
{
    QPointer<SessionRuntime> alive{runtime};
    const auto recentOutput = co_await readRecentOutput(runtime);
    if (alive)
        printState(*runtime, transitions, recentOutput);
}

QCoro::Task<std::map<QString, QString>> WatchHost::readRecentOutput(SessionRuntime* runtime)
{
    QPointer<SessionRuntime> alive{runtime};
    std::vector<QString> working;
    for (const auto& [paneID, pane] : runtime->store().panes()) {
        if (runtime->store().derivedStatus(paneID) == RollupStatus::working)
            working.push_back(paneID);
    }
    // One line is all a watch shows of a pane at work.
    ScreenRecentOutputProvider provider(runtime->client(), 40, 1, 400);
    std::map<QString, QString> lines;
    for (const QString& paneID : working) {
        const auto output = co_await provider.recentOutput(paneID);
        if (!alive)
            break;
        if (output && !output->trimmed().isEmpty())
            lines.emplace(paneID, printableText(output->trimmed()));
    }
    co_return lines;
}

void WatchHost::errorChanged(const SessionRuntime& runtime)
{
    if (runtime.errorText() != m_lastPrintedError && runtime.error())
        printState(runtime, {});
}

QString WatchHost::interactionLine(const PendingInteraction& interaction)
{
    QString line = toString(interaction.kind);
    if (interaction.title)
        line += u" \""_s + printableText(*interaction.title) + u'"';
    QStringList choices;
    for (std::size_t i = 0; i < interaction.choices.size(); ++i)
        choices << u"%1. %2"_s.arg(i + 1).arg(printableText(interaction.choices[i].label));
    if (!choices.isEmpty())
        line += u": "_s + choices.join(u" | "_s);
    return line;
}

void WatchHost::printChanged(PaneLines& printed, const QString& paneID, const QString& line)
{
    auto& last = printed.lines[paneID];
    if (last == line)
        return;
    last = line;
    m_context.print(u"  "_s + paneID + u' ' + line);
}

void WatchHost::printState(const SessionRuntime& runtime, const StateTransitionResult& transitions,
                           const std::map<QString, QString>& recentOutput)
{
    m_lastPrintedError = runtime.errorText();
    const double elapsed = double(m_clock.elapsed()) / 1000.0;
    if (m_json) {
        printJSON(runtime, transitions, recentOutput, elapsed);
        return;
    }
    const AgentTree& tree = runtime.agentTree();
    const StateStore& store = runtime.store();
    QStringList roots;
    for (const auto& root : tree.roots()) {
        QString text = root + u" ("_s + toString(store.derivedStatus(root)) + u')';
        if (const auto workers = tree.children(root); !workers.empty())
            text += u" with "_s + listOrNone(workers);
        roots << text;
    }
    const AttentionSnapshot& attention = runtime.attention();
    QString line =
        u"+%1s %2"_s.arg(elapsed, 0, 'f', 3).arg(SessionRuntime::toString(runtime.connection()));
    if (runtime.error())
        line += u": "_s + *runtime.error();
    line += u"; newly blocked: "_s + listOrNone(transitions.newlyBlockedPaneIDs);
    line += u"; newly finished: "_s + listOrNone(transitions.newlyFinishedPaneIDs);
    line += u"; needs you: "_s + itemIDs(attention.needsYou());
    line += u"; in grace: "_s + itemIDs(attention.inGrace());
    line += u"; roots: "_s + (roots.isEmpty() ? u"none"_s : roots.join(u", "_s));
    m_context.print(line);

    const InteractionCoordinator& interactions = runtime.interactions();
    for (const QString& paneID : interactions.attentionOrder()) {
        const auto state = interactions.state(paneID);
        if (state && state->interaction)
            printChanged(m_prompts, paneID, u"waits: "_s + interactionLine(*state->interaction));
        else if (state && state->error)
            printChanged(m_prompts, paneID, u"waits, unread: "_s + *state->error);
    }
    // A pane that stopped waiting may wait again for the same prompt: print it then.
    std::erase_if(m_prompts.lines,
                  [&](const auto& entry) { return !interactions.state(entry.first); });
    for (const auto& [paneID, line] : recentOutput)
        printChanged(m_output, paneID, u"working: "_s + line);
    std::erase_if(m_output.lines,
                  [&](const auto& entry) { return !recentOutput.contains(entry.first); });
    for (const QString& paneID : transitions.newlyFinishedPaneIDs) {
        if (const auto summary = interactions.completionSummary(paneID))
            printChanged(m_summaries, paneID, u"finished: "_s + printableText(*summary));
    }
}

void WatchHost::printJSON(const SessionRuntime& runtime, const StateTransitionResult& transitions,
                          const std::map<QString, QString>& recentOutput, double elapsed)
{
    const AgentTree& tree = runtime.agentTree();
    const StateStore& store = runtime.store();
    JSONValue::Array roots;
    for (const auto& root : tree.roots()) {
        roots.push_back(
            JSONValue::object({{u"paneID"_s, root},
                               {u"status"_s, toString(store.derivedStatus(root))},
                               {u"workers"_s, JSONValue::fromStrings(tree.children(root))}}));
    }
    const InteractionCoordinator& interactions = runtime.interactions();
    JSONValue::Array prompts;
    for (const QString& paneID : interactions.attentionOrder()) {
        const auto state = interactions.state(paneID);
        if (state && state->interaction)
            prompts.push_back(state->interaction->asJSONValue());
    }
    JSONValue::Object summaries;
    for (const QString& paneID : transitions.newlyFinishedPaneIDs) {
        if (const auto summary = interactions.completionSummary(paneID))
            summaries.insert_or_assign(paneID, JSONValue(*summary));
    }
    m_context.printJSON(RecordWriter()
                            .set(u"sessionID"_s, runtime.sessionID())
                            .set(u"elapsed"_s, elapsed)
                            .set(u"connection"_s, SessionRuntime::toString(runtime.connection()))
                            .set(u"error"_s, runtime.error())
                            .set(u"newlyBlockedPaneIDs"_s, transitions.newlyBlockedPaneIDs)
                            .set(u"newlyFinishedPaneIDs"_s, transitions.newlyFinishedPaneIDs)
                            .set(u"roots"_s, JSONValue(std::move(roots)))
                            .set(u"attention"_s, runtime.attention().asJSONValue())
                            .set(u"interactions"_s, JSONValue(std::move(prompts)))
                            .set(u"summaries"_s, JSONValue(std::move(summaries)))
                            .set(u"recentOutput"_s, recentOutput)
                            .value());
}
