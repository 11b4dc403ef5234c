// attention: who in a session needs the person, once or at every refresh of the session's loop.
#include "tools/orrelctl/Command.h"

#include "HerdrClient/Attention/EpochSeconds.h"
#include "HerdrClient/Attention/SessionAttention.h"
#include "HerdrClient/Sessions/SessionDescriptor.h"
#include "HerdrClient/Wire/Snapshot.h"
#include "HerdrClient/Wire/SocketPath.h"
#include "OrrelApp/Sessions/SessionRuntime.h"

#include <QCoroSignal>
#include <QDateTime>

using namespace Qt::StringLiterals;

namespace {

const QString usage =
    u"attention [--socket PATH | --session NAME] [--watch [--refreshes N]] [--json]"_s;

QString timeText(Timestamp timestamp)
{
    const auto milliseconds = qint64(epochSeconds(timestamp) * 1000.0);
    return QDateTime::fromMSecsSinceEpoch(milliseconds, Qt::UTC).toString(Qt::ISODateWithMs);
}

QString itemLine(const QString& lead, const AttentionItem& item)
{
    QString line = u"%1 %2 pane %3 root %4 reason %5 phase %6 since %7"_s.arg(
        lead, item.id, item.paneID, item.rootPaneID, reasonName(item.reason), toString(item.phase),
        timeText(item.since));
    if (const auto* ask = item.explicitAsk(); ask && !ask->signal.q.isEmpty())
        line += u" question \"%1\""_s.arg(printableText(ask->signal.q));
    if (const auto* escalation = item.escalation())
        line += u" question %1 worker %2"_s.arg(escalation->questionID, escalation->worker);
    return line;
}

QString idList(const std::vector<AttentionItem>& items)
{
    QStringList ids;
    for (const auto& item : items)
        ids.append(item.id);
    return ids.isEmpty() ? u"none"_s : ids.join(u", "_s);
}

QString hiddenCounts(const AttentionSnapshot& snapshot)
{
    QStringList counts;
    for (const auto& [root, count] : snapshot.hiddenChildAskCount)
        counts.append(u"%1 %2"_s.arg(root).arg(count));
    return counts.isEmpty() ? u"none"_s : counts.join(u", "_s);
}

void printSnapshot(const CommandContext& context, const SessionDescriptor& session,
                   const AttentionSnapshot& snapshot, bool json)
{
    if (json) {
        auto record = *snapshot.asJSONValue().objectValue();
        record.insert_or_assign(u"session"_s, JSONValue(session.id()));
        context.printJSON(JSONValue(std::move(record)));
        return;
    }
    context.print(u"session %1 overall %2"_s.arg(session.id(), toString(snapshot.overallStatus)));
    for (const auto& item : snapshot.items)
        context.print(itemLine(u"item"_s, item));
    context.print(u"needs you: "_s + idList(snapshot.needsYou()));
    context.print(u"in grace: "_s + idList(snapshot.inGrace()));
    context.print(u"hidden child asks: "_s + hiddenCounts(snapshot));
    context.print(u"stale escalations: %1"_s.arg(snapshot.staleEscalationCount));
}

// One line per refresh, and one per new alert.
void printRefresh(const CommandContext& context, const AttentionSnapshot& snapshot,
                  const std::vector<AttentionItem>& alerts, Timestamp now, bool json)
{
    if (json) {
        auto record = *snapshot.asJSONValue().objectValue();
        record.insert_or_assign(u"event"_s, JSONValue(u"refresh"_s));
        record.insert_or_assign(u"time"_s, JSONValue(epochSeconds(now)));
        context.printJSON(JSONValue(std::move(record)));
        for (const auto& alert : alerts)
            context.printJSON(JSONValue::object(
                {{u"event"_s, JSONValue(u"alert"_s)}, {u"item"_s, alert.asJSONValue()}}));
        return;
    }
    context.print(u"refresh %1 overall %2; needs you: %3; in grace: %4; hidden child asks: %5; "
                  u"stale escalations: %6"_s
                      .arg(timeText(now), toString(snapshot.overallStatus),
                           idList(snapshot.needsYou()), idList(snapshot.inGrace()),
                           hiddenCounts(snapshot))
                      .arg(snapshot.staleEscalationCount));
    for (const auto& alert : alerts)
        context.print(itemLine(u"alert"_s, alert));
}

// The session behind the options: only herdr's default socket is the local default session,
// whose sentinel directory and ask files are ours to read.
SessionDescriptor sessionFor(const QCommandLineParser& parser, const HerdrClient& client,
                             const Environment& environment)
{
    const QString path = client.socketPath();
    if (path == SocketPath::forSession(SessionDescriptor::defaultSessionName, environment))
        return SessionDescriptor::localDefault(path);
    QString name = parser.isSet(u"session"_s) ? parser.value(u"session"_s) : path;
    return SessionDescriptor{SessionDescriptor::Kind::local(std::move(name)), path, false, true};
}

// Prints each cycle of a runtime; `finished` after the asked number of refreshes.
class WatchHost : public QObject, public SessionRuntimeHost {
    Q_OBJECT
public:
    WatchHost(CommandContext context, bool json, std::optional<qint64> refreshes)
        : m_context(std::move(context)), m_json(json), m_remaining(refreshes)
    {
    }

    QCoro::Task<> sessionRuntimeDidObserve(SessionRuntime* runtime, StateTransitionResult,
                                           std::optional<QString>) override
    {
        printRefresh(m_context, runtime->attention(), runtime->takeNewAlerts(), m_clock.now(),
                     m_json);
        // Queued, so that the runtime is not ended inside its own cycle.
        if (m_remaining && --*m_remaining == 0)
            QMetaObject::invokeMethod(this, &WatchHost::finished, Qt::QueuedConnection);
        co_return;
    }
    bool usesPerPaneStatusSubscriptions(const SessionRuntime&) const override { return true; }
    bool isVisibleSession(const SessionRuntime&) const override { return true; }
    bool preservesResolvedSelection() const override { return false; }
    bool isSurfaceExpanded() const override { return true; }

Q_SIGNALS:
    void finished();

private:
    CommandContext m_context;
    Clock m_clock = Clock::system();
    bool m_json;
    std::optional<qint64> m_remaining;
};

QCoro::Task<int> runAttention(CommandContext context)
{
    QCommandLineParser parser;
    addConnectionOptions(parser);
    addJSONOption(parser);
    parser.addOption(QCommandLineOption(u"watch"_s, u"print every refresh"_s));
    parser.addOption(
        QCommandLineOption(u"refreshes"_s, u"stop watching after N refreshes"_s, u"N"_s));
    if (!parseArguments(parser, context, usage))
        co_return ExitStatus::usage;
    if (!parser.positionalArguments().isEmpty())
        co_return context.fail(u"orrelctl attention: unexpected argument %1"_s.arg(
                                   parser.positionalArguments().first()),
                               ExitStatus::usage);
    std::optional<qint64> refreshes;
    if (parser.isSet(u"refreshes"_s)) {
        bool ok = false;
        refreshes = parser.value(u"refreshes"_s).toLongLong(&ok);
        if (!ok || *refreshes < 1 || !parser.isSet(u"watch"_s))
            co_return context.fail(u"orrelctl attention: --refreshes takes a positive number "
                                   u"and needs --watch\nusage: orrelctl "_s
                                       + usage,
                                   ExitStatus::usage);
    }
    const bool json = parser.isSet(u"json"_s);
    auto client = clientFromOptions(parser, context);
    const SessionDescriptor session = sessionFor(parser, *client, context.environment);

    if (!parser.isSet(u"watch"_s)) {
        const auto result =
            co_await client->request(u"session.snapshot"_s, JSONValue(JSONValue::Object{}));
        if (!result)
            co_return failRequest(context, *client, result.error());
        const auto snapshot = Snapshot::fromResult(*result);
        if (!snapshot)
            co_return context.fail(u"herdr's snapshot could not be read: %1"_s.arg(
                snapshot.error().errorDescription()));
        std::map<QString, PaneInfo> panes;
        for (const auto& pane : snapshot->uniquePanes())
            panes.emplace(pane.paneID, pane);
        SessionAttention attention(session.id() == SessionDescriptor::localDefaultID,
                                   context.environment);
        printSnapshot(context, session, attention.refresh(panes, Clock::system().now()), json);
        co_return ExitStatus::success;
    }

    const HerdrEndpoint endpoint = HerdrEndpoint::unixSocket(client->socketPath());
    SessionRuntime::Dependencies dependencies;
    dependencies.client = std::move(client);
    dependencies.environment = context.environment;
    SessionRuntime runtime(session, endpoint, std::move(dependencies));
    WatchHost host(context, json, refreshes);
    runtime.start(&host);
    runtime.startEventTask(host.usesPerPaneStatusSubscriptions(runtime));
    co_await qCoro(&host, &WatchHost::finished);
    runtime.stop();
    co_await runtime.stopped();
    if (!runtime.waitForEventStreamExit(std::chrono::seconds(2)))
        co_return context.fail(u"orrelctl attention: the event stream did not close in time"_s);
    co_return ExitStatus::success;
}

const CommandRegistration registration{
    u"attention"_s, u"show who in a session needs you, once or at every refresh"_s, &runAttention};

} // namespace

#include "AttentionCommand.moc"
