#include "tools/orrelctl/BoardPrinter.h"

#include "HerdrClient/Wire/JSONDecoding.h"
#include "OrrelApp/Sessions/SessionRegistry.h"
#include "OrrelApp/Sessions/SessionRuntime.h"
#include "OrrelApp/Surface/OrrelViewModel.h"

#include <QDateTime>

using namespace Qt::StringLiterals;

namespace {

JSONValue sessionsJSON(const OrrelViewModel& model)
{
    JSONValue::Array sessions;
    for (SessionRuntime* runtime : model.runtimes())
        sessions.push_back(
            RecordWriter()
                .set(u"id"_s, runtime->sessionID())
                .set(u"label"_s, runtime->descriptor().label())
                .set(u"connection"_s, SessionRuntime::toString(runtime->connection()))
                .set(u"error"_s, runtime->error())
                .value());
    return JSONValue(std::move(sessions));
}

JSONValue pillJSON(const OrrelViewModel& model, Timestamp at)
{
    const CompactSignalSnapshot snapshot = model.compactSignalSnapshot();
    const CompactSignalStyle style = CompactSignalStyle::resolve(snapshot, at);
    return RecordWriter()
        .set(u"status"_s, toString(snapshot.status))
        .set(u"count"_s, qint64(snapshot.count))
        .set(u"width"_s, double(style.width))
        .set(u"opacity"_s, style.opacity)
        .set(u"triggerRevision"_s, qint64(snapshot.triggerRevision))
        .value();
}

QString rowLine(const AttentionBoardRow& row)
{
    QString line = u"  %1%2  [%3, %4]  %5"_s.arg(
        row.isChild ? u"└ "_s : QString(), row.item.ref.id(), row.stateText, toString(row.tone),
        printableText(row.item.taskTitle));
    line += u"\n      "_s + printableText(row.summary);
    if (row.meta)
        line += u"\n      "_s + printableText(*row.meta);
    if (row.workerCount > 0)
        line += u"\n      workers: %1"_s.arg(row.workerCount);
    return line;
}

void appendSection(QStringList& lines, const QString& name,
                   const std::vector<AttentionBoardRow>& rows)
{
    lines << u"%1 (%2)"_s.arg(name).arg(rows.size());
    for (const AttentionBoardRow& row : rows)
        lines << rowLine(row);
}

} // namespace

JSONValue BoardPrinter::boardJSON(const OrrelViewModel& model, Timestamp at)
{
    JSONValue::Array refs;
    for (const AgentRef& ref : model.needsYouRefs())
        refs.push_back(JSONValue(ref.id()));
    return RecordWriter()
        .set(u"sessions"_s, sessionsJSON(model))
        .set(u"discoveryError"_s, model.registry().discoveryError())
        .set(u"pill"_s, pillJSON(model, at))
        .set(u"needsYouRefs"_s, JSONValue(std::move(refs)))
        .set(u"board"_s, model.attentionBoard(at).asJSONValue())
        .value();
}

QString BoardPrinter::boardText(const OrrelViewModel& model, Timestamp at)
{
    QStringList lines;
    for (SessionRuntime* runtime : model.runtimes()) {
        QString line = u"session %1  %2"_s.arg(runtime->sessionID(),
                                               SessionRuntime::toString(runtime->connection()));
        if (runtime->error())
            line += u"  "_s + printableText(*runtime->error());
        lines << line;
    }
    if (model.runtimes().empty())
        lines << u"no sessions"_s;
    if (const auto error = model.registry().discoveryError())
        for (const QString& line : error->split(u'\n'))
            lines << u"discovery: "_s + printableText(line);
    const CompactSignalSnapshot snapshot = model.compactSignalSnapshot();
    const CompactSignalStyle style = CompactSignalStyle::resolve(snapshot, at);
    lines << u"pill: %1 · count %2 · width %3 · opacity %4 · trigger %5"_s
                 .arg(toString(snapshot.status))
                 .arg(snapshot.count)
                 .arg(style.width)
                 .arg(style.opacity)
                 .arg(snapshot.triggerRevision);
    QStringList refs;
    for (const AgentRef& ref : model.needsYouRefs())
        refs << ref.id();
    lines << u"needs you: "_s + (refs.isEmpty() ? u"none"_s : refs.join(u", "_s));
    const AttentionBoard board = model.attentionBoard(at);
    appendSection(lines, u"Needs you"_s, board.needsYou);
    appendSection(lines, u"Grace"_s, board.grace);
    appendSection(lines, u"Others"_s, board.rest);
    if (!board.stale.empty()) {
        lines << u"Stale (%1)"_s.arg(board.stale.size());
        for (const StaleEscalationRow& row : board.stale)
            lines << u"  %1  %2\n      %3"_s.arg(row.id, printableText(row.title),
                                                 printableText(row.summary));
    }
    lines << u"roots %1 · hidden workers %2"_s.arg(board.rootCount).arg(board.hiddenWorkers);
    return lines.join(u'\n');
}

void BoardPrinter::print(const OrrelViewModel& model, Timestamp at)
{
    const QString text =
        m_json ? QString::fromUtf8(boardJSON(model, at).serialized()) : boardText(model, at);
    if (text == m_lastPrinted)
        return;
    m_lastPrinted = text;
    if (m_json || !m_watch) {
        m_context.print(text);
        return;
    }
    const QString time = QDateTime::fromSecsSinceEpoch(std::chrono::system_clock::to_time_t(at))
                             .toString(u"HH:mm:ss"_s);
    m_context.print(u"── %1 ──\n%2\n"_s.arg(time, text));
}
