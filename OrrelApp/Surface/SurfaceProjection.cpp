// The pill and the overview as the views and the automation channel read them, with the fixed
// words of the surface and the colours of its tones.
#include "OrrelApp/Surface/SurfaceProjection.h"

#include "OrrelApp/Sessions/SessionRegistry.h"
#include "OrrelApp/Sessions/SessionRuntime.h"
#include "OrrelApp/Surface/AttentionRollupDisplay.h"
#include "OrrelApp/Surface/OrrelSurfaceState.h"
#include "OrrelApp/Surface/OrrelViewModel.h"
#include "OrrelApp/Surface/SurfaceProjectionSupport.h"

#include <QDir>

using namespace Qt::StringLiterals;

namespace SurfaceProjection {

namespace {

// Texts written for another desktop and what this one says in their place. Everything else in
// such a sentence stays as written.
struct PlatformWording {
    QStringView elsewhere;
    QStringView here;
};
constexpr PlatformWording platformWordings[] = {
    {u"macOS could not", u"The desktop could not"},
    {u"System Settings", u"Settings"},
    {u"Command or Control, such as ⌃⌥S.", u"Super or Control, such as Ctrl+Alt+S."},
};

const QString coral = u"#FF6F61"_s;
const QString amber = u"#FFB547"_s;
const QString green = u"#4CD07D"_s;
const QString grey = u"#8E8E93"_s;

QString statusColour(RollupStatus status)
{
    switch (status) {
    case RollupStatus::blocked: return coral;
    case RollupStatus::working:
    case RollupStatus::done: return green;
    case RollupStatus::idle:
    case RollupStatus::unknown: break;
    }
    return grey;
}

QString workerPhrase(int count)
{
    return count == 1 ? u"1 worker"_s : u"%1 workers"_s.arg(count);
}

// The home folder as "~", the way people write a path.
QString abbreviatedPath(const QString& path)
{
    const QString home = QDir::homePath();
    if (!home.isEmpty() && home != u"/"_s && (path == home || path.startsWith(home + u'/')))
        return u"~"_s + path.mid(home.size());
    return path;
}

QVariantMap rowMap(const AttentionBoardRow& row)
{
    const InteractionAttentionDisplayModel& item = row.item;
    return {
        {u"ref"_s, item.ref.id()},
        {u"summary"_s, row.summary},
        {u"meta"_s, optional(row.meta)},
        {u"stateText"_s, row.stateText},
        {u"tone"_s, toString(row.tone)},
        {u"isChild"_s, row.isChild},
        {u"isAnswerable"_s, row.isAnswerable},
        {u"workerCount"_s, row.workerCount},
        {u"taskTitle"_s, item.taskTitle},
        {u"agentName"_s, item.agentName},
        {u"modelName"_s, optional(item.modelName)},
        {u"elapsedText"_s, optional(item.elapsedText)},
        {u"isSelected"_s, item.isSelected},
        {u"isStale"_s, false},
        {u"accessibleName"_s, item.accessibilityLabel()},
    };
}

QVariantMap staleRowMap(const StaleEscalationRow& row)
{
    return {
        {u"ref"_s, row.id},
        {u"summary"_s, row.summary},
        {u"meta"_s, null()},
        {u"stateText"_s, u"unanswerable"_s},
        {u"tone"_s, u"quiet"_s},
        {u"isChild"_s, false},
        {u"isAnswerable"_s, false},
        {u"workerCount"_s, 0},
        {u"taskTitle"_s, row.title},
        {u"agentName"_s, QString()},
        {u"modelName"_s, null()},
        {u"elapsedText"_s, null()},
        {u"isSelected"_s, false},
        {u"isStale"_s, true},
        {u"accessibleName"_s, row.title + u", "_s + row.summary},
    };
}

QVariantMap section(const QString& key, const QString& title, QVariantList rows)
{
    return {{u"key"_s, key}, {u"title"_s, title}, {u"rows"_s, rows}};
}

template <class Rows, class Map>
QVariantList rowList(const Rows& rows, Map map)
{
    QVariantList list;
    for (const auto& row : rows)
        list.push_back(map(row));
    return list;
}

QVariantMap boardMap(const AttentionBoard& board)
{
    QVariantList sections;
    if (!board.needsYou.empty())
        sections.push_back(section(u"needsYou"_s, u"● Needs you · %1"_s.arg(board.needsYou.size()),
                                   rowList(board.needsYou, rowMap)));
    if (!board.grace.empty())
        sections.push_back(
            section(u"grace"_s, u"Blocked, waiting out the grace"_s, rowList(board.grace, rowMap)));
    if (!board.rest.empty())
        sections.push_back(
            section(u"rest"_s, u"Working · waiting · finished"_s, rowList(board.rest, rowMap)));
    if (!board.stale.empty())
        sections.push_back(section(u"stale"_s, u"Hidden · unknown / unanswerable"_s,
                                   rowList(board.stale, staleRowMap)));
    const bool hasWorkers =
        board.hiddenWorkers > 0 || std::ranges::any_of(board.rest, [](const auto& row) {
            return row.workerCount > 0 || row.isChild;
        });
    return {
        {u"sections"_s, sections},
        {u"hiddenLine"_s, board.hiddenWorkers > 0 ? QVariant(workerPhrase(board.hiddenWorkers)
                                                             + u" hidden behind their roots"_s)
                                                  : null()},
        {u"workersNote"_s,
         hasWorkers ? QVariant(u"Workers' questions to their root never alert you"_s) : null()},
        {u"hiddenWorkers"_s, board.hiddenWorkers},
        {u"rootCount"_s, board.rootCount},
    };
}

QVariantMap jumpNoticeMap(const std::optional<JumpNotice>& notice)
{
    if (!notice)
        return {};
    return {{u"text"_s, notice->text}, {u"attachCommand"_s, optional(notice->attachCommand)}};
}

} // namespace

QString forThisDesktop(const QString& text)
{
    QString result = text;
    for (const PlatformWording& wording : platformWordings)
        result.replace(wording.elsewhere.toString(), wording.here.toString());
    return result;
}

QVariantMap pill(const OrrelViewModel& model, const OrrelSurfaceState& surface, Timestamp at)
{
    const CompactSignalSnapshot snapshot = model.compactSignalSnapshot();
    const CompactSignalStyle style = CompactSignalStyle::resolve(snapshot, at);
    const QString status = toString(snapshot.status);
    const auto items = model.attentionItems(at);
    return {
        {u"status"_s, status},
        {u"count"_s, snapshot.count},
        {u"width"_s, style.width},
        {u"opacity"_s, style.opacity},
        {u"triggerRevision"_s, snapshot.triggerRevision},
        {u"revealed"_s, surface.isCompactIndicatorRevealed()},
        {u"pulses"_s, snapshot.status == RollupStatus::blocked && !surface.reduceMotion()},
        {u"colour"_s, statusColour(snapshot.status)},
        {u"taskTitle"_s, optional(AttentionRollupDisplay::pillTaskTitle(items, model.selected()))},
        {u"accessibleName"_s, u"herdr agents — OrrelSentry "_s + status},
        {u"accessibleDescription"_s, u"herdr agents — click to expand"_s},
    };
}

QVariantMap overview(const OrrelViewModel& model, Timestamp at)
{
    QVariantList sessions;
    bool anyConnected = false;
    const SessionRuntime* unavailable = nullptr;
    for (const SessionRuntime* runtime : model.runtimes()) {
        sessions.push_back(QVariantMap{
            {u"id"_s, runtime->sessionID()},
            {u"label"_s, runtime->descriptor().label()},
            {u"connection"_s, SessionRuntime::toString(runtime->connection())},
            {u"error"_s, optional(runtime->error())},
        });
        anyConnected |= runtime->connection() == SessionRuntime::Connection::connected;
        if (!unavailable && runtime->connection() == SessionRuntime::Connection::unavailable)
            unavailable = runtime;
    }
    const std::optional<QString>& discoveryError = model.registry().discoveryError();

    QString state;
    QVariant headline = null();
    QVariant detail = null();
    QVariant footnote = null();
    if (anyConnected) {
        state = model.agentCount() > 0 ? u"board"_s : u"empty"_s;
        if (state == u"empty"_s)
            headline = u"Start an agent under herdr and it will appear here."_s;
    } else if (unavailable || discoveryError
               || (model.runtimes().empty() && !model.isDiscovering())) {
        state = u"unreachable"_s;
        headline = u"herdr isn't reachable. Is the server running?"_s;
        if (unavailable && unavailable->descriptor().isRemote())
            detail = unavailable->descriptor().label() + u" · retrying"_s;
        else if (unavailable)
            detail = u"Local herdr · "_s + abbreviatedPath(unavailable->endpoint().description())
                     + u" · retrying"_s;
        else
            detail = u"Local herdr · ~/.config/herdr/herdr.sock · retrying"_s;
        footnote = u"No asks shown from old data"_s;
    } else {
        state = u"checking"_s;
        headline = u"CHECKING HERDR…"_s;
    }

    const QVariantMap jump = jumpNoticeMap(model.jumpNotice());
    return {
        {u"state"_s, state},
        {u"headline"_s, headline},
        {u"detail"_s, detail},
        {u"footnote"_s, footnote},
        {u"hotkeyNotice"_s, model.hotkeyConflict() ? QVariant(forThisDesktop(
                                u"macOS could not register an agent shortcut. Check each "
                                "action in Settings → Keyboard."_s))
                                                   : null()},
        {u"jumpNotice"_s, jump.isEmpty() ? null() : QVariant(jump)},
        {u"sessions"_s, sessions},
        {u"discoveryError"_s, optional(discoveryError)},
        {u"agentCount"_s, model.agentCount()},
        {u"board"_s, state == u"board"_s ? QVariant(boardMap(model.attentionBoard(at)))
                                         : QVariant(boardMap(AttentionBoard()))},
    };
}

QVariantMap tones()
{
    return {
        {u"hot"_s, coral},  {u"amber"_s, amber},   {u"green"_s, green},
        {u"quiet"_s, grey}, {u"blocked"_s, coral}, {u"working"_s, green},
        {u"done"_s, green}, {u"idle"_s, grey},     {u"unknown"_s, grey},
    };
}

QVariantMap labels()
{
    return {
        {u"overviewTitle"_s, u"herdr agents"_s},
        {u"backToOverview"_s, u"‹ All agents"_s},
        {u"loadingAgent"_s, u"Loading agent…"_s},
        {u"reRead"_s, u"↻ Re-read live ask"_s},
        {u"approve"_s, u"Approve"_s},
        {u"deny"_s, u"Deny"_s},
        {u"previousQuestion"_s, u"‹ Previous question"_s},
        {u"previousQuestionName"_s, u"Previous question"_s},
        {u"questionNavigation"_s, u"Question navigation"_s},
        {u"backToChoices"_s, u"↶ Back to choices"_s},
        {u"cancelQuestionFlow"_s, u"Cancel Question Flow"_s},
        {u"addTextResponse"_s, u"Add an optional text response"_s},
        {u"submitAnswers"_s, u"Submit these answers"_s},
        {u"submitAnswersHelp"_s, u"Review and submit the selected answers"_s},
        {u"answerHint"_s, u"Type your answer…"_s},
        {u"send"_s, u"Send"_s},
        {u"terminalFallback"_s, u"Terminal fallback"_s},
        {u"answerInTerminal"_s, u"Answer in terminal"_s},
        {u"typeWithoutReturn"_s, u"Type Without Return"_s},
        {u"floorHint"_s, u"Type the target to arm"_s},
        {u"escalationHint"_s, u"Type an answer…"_s},
        {u"newTaskHint"_s, u"Give this agent a new task…"_s},
        {u"interrupt"_s, u"Interrupt"_s},
        {u"interruptHelp"_s, u"Asks for confirmation before sending Escape once"_s},
        {u"confirmInterrupt"_s, u"Send Escape"_s},
        {u"confirmInterruptHelp"_s, u"Send Escape once after confirmation"_s},
        {u"keepWorking"_s, u"Keep working"_s},
        {u"retryOutput"_s, u"↻ Read again"_s},
        {u"modeHelp"_s, u"Sends Shift-Tab to the selected agent"_s},
        {u"modeKey"_s, u"⇧⇥"_s},
        {u"jump"_s, u"Jump"_s},
        {u"copyAttachCommand"_s, u"Copy attach command"_s},
        {u"dismissJumpNotice"_s, u"Dismiss jump message"_s},
        {u"dismissReceipt"_s, u"Done"_s},
        {u"reuseDraft"_s, u"Use draft"_s},
        {u"discardDraft"_s, u"Discard"_s},
        {u"showWorkers"_s, u"Show workers"_s},
    };
}

} // namespace SurfaceProjection
