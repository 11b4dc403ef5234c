#include "tests/support/FakeScenario.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QRegularExpression>

#include <algorithm>
#include <set>

using namespace Qt::StringLiterals;

namespace {

QString stripColour(const QString& text)
{
    static const QRegularExpression sequences(
        u"\x1b\\[[0-9;?]*[ -/]*[@-~]|\x1b\\][^\x07\x1b]*(?:\x07|\x1b\\\\)|\x1b[@-Z\\\\-_]"_s);
    QString plain = text;
    return plain.remove(sequences);
}

QString lastLines(const QString& text, qint64 count)
{
    QStringList lines = text.split(u'\n');
    const bool trailingNewline = text.endsWith(u'\n');
    if (trailingNewline)
        lines.removeLast();
    if (count < lines.size())
        lines = lines.mid(lines.size() - count);
    return lines.join(u'\n') + (trailingNewline ? u"\n"_s : QString());
}

JSONValue withMember(const JSONValue& object, const QString& key, const JSONValue& value)
{
    JSONValue::Object copy = object.objectValue() ? *object.objectValue() : JSONValue::Object{};
    copy.insert_or_assign(key, value);
    return JSONValue(std::move(copy));
}

QString memberString(const JSONValue& object, QStringView key)
{
    const JSONValue* m = object.member(key);
    return m && m->stringValue() ? *m->stringValue() : QString();
}

// The members of `object` named in `keys` that it has.
JSONValue::Object picked(const JSONValue& object, std::initializer_list<const char16_t*> keys)
{
    JSONValue::Object result;
    for (const auto* key : keys) {
        if (const JSONValue* v = object.member(QStringView(key)))
            result.emplace(QString::fromUtf16(key), *v);
    }
    return result;
}

// Fills the keys herdr always sends, so that short scenario files still decode as panes.
JSONValue completePane(JSONValue pane)
{
    const QString id = memberString(pane, u"pane_id");
    auto fill = [&](const QString& key, const JSONValue& value) {
        if (!pane.member(key))
            pane = withMember(pane, key, value);
    };
    fill(u"terminal_id"_s,
         u"term_"_s
             + QString::fromLatin1(QCryptographicHash::hash(id.toUtf8(), QCryptographicHash::Sha256)
                                       .toHex()
                                       .left(13)));
    fill(u"workspace_id"_s, id.section(u':', 0, 0));
    fill(u"tab_id"_s, id.section(u':', 0, 0) + u":t1"_s);
    fill(u"focused"_s, false);
    fill(u"agent_status"_s, pane.member(u"agent") ? u"idle"_s : u"unknown"_s);
    fill(u"revision"_s, 0);
    return pane;
}

FakeScreen screenFromJSON(const JSONValue& screen)
{
    FakeScreen result;
    result.visible = memberString(screen, u"visible");
    if (screen.member(u"detection"))
        result.detection = memberString(screen, u"detection");
    if (screen.member(u"recent"))
        result.recent = memberString(screen, u"recent");
    return result;
}

std::expected<FakeReaction, QString> reactionFromJSON(const JSONValue& entry)
{
    FakeReaction reaction;
    if (const JSONValue* keys = entry.member(u"keys")) {
        auto decoded = JSONCoding<std::vector<QString>>::decode(*keys);
        if (!decoded)
            return std::unexpected(
                u"after_keys: keys must be a list of texts: %1"_s.arg(entry.description()));
        reaction.keys = std::move(*decoded);
    }
    if (const JSONValue* text = entry.member(u"text"); text && text->stringValue())
        reaction.text = *text->stringValue();
    if (!reaction.keys == !reaction.text)
        return std::unexpected(
            u"after_keys: each rule needs keys or text: %1"_s.arg(entry.description()));
    if (const JSONValue* screen = entry.member(u"screen"))
        reaction.screen = screenFromJSON(*screen);
    if (entry.member(u"agent_status"))
        reaction.status = agentStatusFromString(memberString(entry, u"agent_status"));
    return reaction;
}

// True for a key herdr's `pane.send_keys` accepts.
bool isValidKey(const QString& key)
{
    static const QRegularExpression named(
        u"^(enter|return|esc|escape|tab|space|backspace|bs|left|right|up|down|f([1-9][0-9]?|1[0-9][0-9]|2[0-4][0-9]|25[0-5])|minus|comma|period|slash|backslash|quote|double_quote|double-quote|semicolon|colon|percent|ampersand|backtick|plus)$"_s,
        QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression modifier(
        u"^(ctrl|control|shift|alt|option|meta|cmd|command|super|hyper)$"_s,
        QRegularExpression::CaseInsensitiveOption);
    if (key == u"+" || (key.size() == 3 && key.startsWith(u"C-", Qt::CaseInsensitive)))
        return true;
    const QStringList parts = key.split(u'+');
    for (qsizetype i = 0; i + 1 < parts.size(); ++i) {
        if (!modifier.match(parts[i].trimmed()).hasMatch())
            return false;
    }
    // The last part is a named key or one user-perceived character.
    const QString last = parts.back().trimmed();
    return named.match(last).hasMatch() || last.size() == 1
           || (last.size() == 2 && last[0].isHighSurrogate());
}

FakeReply paneNotFound(const QString& id)
{
    return FakeReply::error(u"pane_not_found"_s, u"pane %1 not found"_s.arg(id));
}

} // namespace

FakeScenario::FakeScenario(const FakeScenario& other)
{
    *this = other;
}

FakeScenario& FakeScenario::operator=(const FakeScenario& other)
{
    if (this == &other)
        return *this;
    std::scoped_lock lock(m_mutex, other.m_mutex);
    m_header = other.m_header;
    m_workspaces = other.m_workspaces;
    m_tabs = other.m_tabs;
    m_panes = other.m_panes;
    return *this;
}

std::expected<FakeScenario, QString> FakeScenario::load(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::unexpected(
            u"Couldn't read the scenario %1: %2"_s.arg(path, file.errorString()));
    const auto parsed = JSONValue::parse(file.readAll());
    if (!parsed)
        return std::unexpected(
            u"The scenario %1 is not JSON: %2"_s.arg(path, parsed.error().errorDescription()));
    return fromJSON(*parsed, QFileInfo(path).absolutePath());
}

std::expected<FakeScenario, QString> FakeScenario::fromJSON(const JSONValue& scenario,
                                                            const QString& baseDirectory)
{
    if (!scenario.objectValue())
        return std::unexpected(u"A scenario must be a JSON object"_s);
    FakeScenario result;
    JSONValue::Object header = picked(scenario, {u"version", u"protocol", u"focused_workspace_id",
                                                 u"focused_tab_id", u"focused_pane_id"});
    header.try_emplace(u"version"_s, u"0.8.0"_s);
    header.try_emplace(u"protocol"_s, 19);
    result.m_header = JSONValue(std::move(header));

    auto list = [&](QStringView key) {
        std::vector<JSONValue> out;
        if (const JSONValue* v = scenario.member(key); v && v->arrayValue())
            out = *v->arrayValue();
        return out;
    };
    result.m_workspaces = list(u"workspaces");
    result.m_tabs = list(u"tabs");
    for (const JSONValue& entry : list(u"panes")) {
        if (memberString(entry, u"pane_id").isEmpty())
            return std::unexpected(u"Every pane needs a pane_id: %1"_s.arg(entry.description()));
        Pane pane;
        JSONValue::Object record = *entry.objectValue();
        const JSONValue* screen = entry.member(u"screen");
        JSONValue::Object texts =
            screen && screen->objectValue() ? *screen->objectValue() : JSONValue::Object{};
        if (const JSONValue* files = entry.member(u"screen_files"); files && files->objectValue()) {
            for (const auto& [name, value] : *files->objectValue()) {
                QFile file(QDir(baseDirectory).filePath(value.stringValue().value_or(QString())));
                if (!file.open(QIODevice::ReadOnly))
                    return std::unexpected(u"Couldn't read the screen %1: %2"_s.arg(
                        file.fileName(), file.errorString()));
                texts.insert_or_assign(name, QString::fromUtf8(file.readAll()));
            }
        }
        pane.screen = screenFromJSON(JSONValue(std::move(texts)));
        if (const JSONValue* rules = entry.member(u"after_keys"); rules && rules->arrayValue()) {
            for (const JSONValue& rule : *rules->arrayValue()) {
                auto reaction = reactionFromJSON(rule);
                if (!reaction)
                    return std::unexpected(reaction.error());
                pane.reactions.push_back(std::move(*reaction));
            }
        }
        auto terminal = TerminalPane::fromPaneJSON(entry);
        if (!terminal)
            return std::unexpected(terminal.error());
        pane.terminal = std::move(*terminal);
        record.erase(u"screen"_s);
        record.erase(u"screen_files"_s);
        record.erase(u"after_keys"_s);
        for (const auto* key : TerminalPane::paneKeys)
            record.erase(QString::fromUtf16(key));
        pane.record = completePane(JSONValue(std::move(record)));
        if (pane.terminal)
            pane.terminal->otherwise =
                agentStatusFromString(memberString(pane.record, u"agent_status"));
        result.m_panes.push_back(std::move(pane));
    }
    return result;
}

void FakeScenario::install(FakeHerdrServer& server)
{
    {
        std::lock_guard lock(m_mutex);
        m_server = &server;
    }
    server.setPaneExists([this](const QString& id) { return hasPane(id); });
    server.setHandler(u"ping"_s, [this](const FakeRequest&) {
        std::lock_guard lock(m_mutex);
        return FakeReply::result(JSONValue::object(
            {{u"type"_s, u"pong"_s},
             {u"version"_s, *m_header.member(u"version")},
             {u"protocol"_s, *m_header.member(u"protocol")},
             {u"capabilities"_s, JSONValue::object({{u"live_handoff"_s, true}})}}));
    });
    server.setHandler(u"session.snapshot"_s, [this](const FakeRequest&) {
        return FakeReply::result(JSONValue::object(
            {{u"type"_s, u"session_snapshot"_s}, {u"snapshot"_s, snapshotJSON()}}));
    });
    server.setHandler(u"pane.read"_s, [this](const FakeRequest& r) { return read(r.params); });
    server.setHandler(u"pane.get"_s, [this](const FakeRequest& r) {
        const QString id = memberString(r.params, u"pane_id");
        std::lock_guard lock(m_mutex);
        const Pane* pane = find(id);
        return pane ? FakeReply::result(
                   JSONValue::object({{u"type"_s, u"pane_info"_s}, {u"pane"_s, pane->record}}))
                    : paneNotFound(id);
    });
    server.setHandler(u"pane.focus"_s, [this](const FakeRequest& r) {
        const QString id = memberString(r.params, u"pane_id");
        std::lock_guard lock(m_mutex);
        Pane* pane = find(id);
        if (!pane)
            return paneNotFound(id);
        for (auto& p : m_panes)
            p.record = withMember(p.record, u"focused"_s, &p == pane);
        if (memberString(pane->record, u"agent_status") == u"done")
            pane->record = withMember(pane->record, u"agent_status"_s, u"idle"_s);
        m_header = withMember(m_header, u"focused_pane_id"_s, id);
        return FakeReply::result(
            JSONValue::object({{u"type"_s, u"pane_info"_s}, {u"pane"_s, pane->record}}));
    });
    auto sendHandler = [this](const FakeRequest& r) {
        const QString id = memberString(r.params, u"pane_id");
        if (!hasPane(id))
            return paneNotFound(id);
        if (r.method == u"pane.send_keys") {
            const JSONValue* keys = r.params.member(u"keys");
            if (!keys || !keys->arrayValue())
                return FakeReply::error(u"invalid_request"_s, u"invalid request: missing keys"_s);
            for (const auto& key : *keys->arrayValue()) {
                if (!key.stringValue() || !isValidKey(*key.stringValue()))
                    return FakeReply::error(
                        u"invalid_key"_s,
                        u"unsupported key %1"_s.arg(key.stringValue().value_or(key.description())));
            }
        }
        if (auto sent = sendToTerminal(r))
            return *sent;
        react(r);
        return FakeReply::ok();
    };
    server.setHandler(u"pane.report_metadata"_s,
                      [this](const FakeRequest& r) { return reportMetadata(r.params); });
    server.setHandler(u"pane.send_keys"_s, sendHandler);
    server.setHandler(u"pane.send_text"_s, sendHandler);
    // herdr answers a focus with the record it focused.
    auto focus = [this](const std::vector<JSONValue> FakeScenario::*records, const QString& kind) {
        return [this, records, kind](const FakeRequest& r) {
            const QString id = memberString(r.params, kind + u"_id"_s);
            std::lock_guard lock(m_mutex);
            for (const auto& record : this->*records) {
                if (memberString(record, kind + u"_id"_s) == id)
                    return FakeReply::result(
                        JSONValue::object({{u"type"_s, kind + u"_info"_s}, {kind, record}}));
            }
            return FakeReply::error(kind + u"_not_found"_s, u"%1 %2 not found"_s.arg(kind, id));
        };
    };
    server.setHandler(u"tab.focus"_s, focus(&FakeScenario::m_tabs, u"tab"_s));
    server.setHandler(u"workspace.focus"_s, focus(&FakeScenario::m_workspaces, u"workspace"_s));
}

const FakeScenario::Pane* FakeScenario::find(const QString& paneID) const
{
    for (const auto& p : m_panes) {
        if (memberString(p.record, u"pane_id") == paneID)
            return &p;
    }
    return nullptr;
}

FakeScenario::Pane* FakeScenario::find(const QString& paneID)
{
    return const_cast<Pane*>(std::as_const(*this).find(paneID));
}

bool FakeScenario::hasPane(const QString& paneID) const
{
    std::lock_guard lock(m_mutex);
    return find(paneID) != nullptr;
}

std::vector<QString> FakeScenario::paneIDs() const
{
    std::lock_guard lock(m_mutex);
    std::vector<QString> ids;
    for (const auto& p : m_panes)
        ids.push_back(memberString(p.record, u"pane_id"));
    return ids;
}

JSONValue FakeScenario::snapshotJSON() const
{
    std::lock_guard lock(m_mutex);
    JSONValue::Object snapshot = *m_header.objectValue();
    JSONValue::Array panes;
    JSONValue::Array agents;
    for (const auto& p : m_panes) {
        panes.push_back(p.record);
        if (p.record.member(u"agent")) {
            agents.push_back(JSONValue(
                picked(p.record, {u"terminal_id", u"pane_id", u"tab_id", u"workspace_id", u"agent",
                                  u"agent_status", u"focused", u"cwd", u"revision", u"title"})));
        }
    }
    snapshot[u"workspaces"_s] =
        JSONValue(JSONValue::Array(m_workspaces.begin(), m_workspaces.end()));
    snapshot[u"tabs"_s] = JSONValue(JSONValue::Array(m_tabs.begin(), m_tabs.end()));
    snapshot[u"panes"_s] = JSONValue(std::move(panes));
    snapshot[u"agents"_s] = JSONValue(std::move(agents));
    snapshot[u"layouts"_s] = JSONValue(JSONValue::Array{});
    return JSONValue(std::move(snapshot));
}

FakeReply FakeScenario::read(const JSONValue& params) const
{
    const QString id = memberString(params, u"pane_id");
    const QString source = memberString(params, u"source");
    const QString format =
        memberString(params, u"format").isEmpty() ? u"text"_s : memberString(params, u"format");
    std::unique_lock lock(m_mutex);
    const Pane* found = find(id);
    if (!found)
        return paneNotFound(id);
    const Pane pane = *found;
    lock.unlock();
    const auto readSource = readSourceFromString(source);
    if (!readSource)
        return FakeReply::error(u"invalid_request"_s,
                                u"invalid request: unknown variant `%1`"_s.arg(source));
    std::optional<qint64> lines;
    if (const JSONValue* count = params.member(u"lines"); count && count->intValue())
        lines = *count->intValue();
    QString text;
    if (pane.terminal) {
        const auto read = pane.terminal->tmux->read(*readSource, format == u"ansi");
        if (!read)
            return FakeReply::error(u"internal_error"_s, read.error());
        text = *read;
        if (!lines
            && (*readSource == ReadSource::recent || *readSource == ReadSource::recentUnwrapped))
            lines = 80;
    } else if (*readSource == ReadSource::visible) {
        text = format == u"ansi" ? pane.screen.visible : stripColour(pane.screen.visible);
    } else if (*readSource == ReadSource::detection) {
        text = pane.screen.detection.value_or(stripColour(pane.screen.visible));
    } else {
        text = pane.screen.recent.value_or(stripColour(pane.screen.visible));
    }
    bool truncated = false;
    if (lines) {
        const QString cut = lastLines(text, std::min<qint64>(*lines, 1000));
        truncated = cut.size() != text.size();
        text = cut;
    }
    return FakeReply::result(JSONValue::object(
        {{u"type"_s, u"pane_read"_s},
         {u"read"_s,
          JSONValue::object({{u"pane_id"_s, id},
                             {u"workspace_id"_s, memberString(pane.record, u"workspace_id")},
                             {u"tab_id"_s, memberString(pane.record, u"tab_id")},
                             {u"source"_s, source},
                             {u"format"_s, source == u"detection" ? u"text"_s : format},
                             {u"text"_s, text},
                             {u"revision"_s, 0},
                             {u"truncated"_s, truncated}})}}));
}

void FakeScenario::publish(const QString& event, const JSONValue& data)
{
    FakeHerdrServer* server = nullptr;
    {
        std::lock_guard lock(m_mutex);
        server = m_server;
    }
    if (server)
        server->publish(event, data);
}

JSONValue FakeScenario::statusEventData(const JSONValue& record)
{
    return JSONValue(picked(record, {u"pane_id", u"workspace_id", u"agent_status", u"agent",
                                     u"title", u"display_agent"}));
}

void FakeScenario::setPaneStatus(const QString& paneID, AgentStatus status)
{
    JSONValue record;
    {
        std::lock_guard lock(m_mutex);
        Pane* pane = find(paneID);
        if (!pane)
            return;
        pane->record = withMember(pane->record, u"agent_status"_s, toString(status));
        record = pane->record;
    }
    // herdr sends status changes under the dotted name, to per-pane subscribers only.
    publish(u"pane.agent_status_changed"_s, statusEventData(record));
}

void FakeScenario::setScreen(const QString& paneID, FakeScreen screen)
{
    std::lock_guard lock(m_mutex);
    if (Pane* pane = find(paneID))
        pane->screen = std::move(screen);
}

void FakeScenario::addPane(const JSONValue& pane, FakeScreen screen)
{
    const JSONValue record = completePane(pane);
    {
        std::lock_guard lock(m_mutex);
        if (find(memberString(record, u"pane_id")))
            return;
        m_panes.push_back(Pane{record, std::move(screen), {}, {}});
    }
    publish(u"pane_created"_s,
            JSONValue::object({{u"type"_s, u"pane_created"_s}, {u"pane"_s, record}}));
}

void FakeScenario::removePane(const QString& paneID)
{
    QString workspace;
    {
        std::lock_guard lock(m_mutex);
        const Pane* pane = find(paneID);
        if (!pane)
            return;
        workspace = memberString(pane->record, u"workspace_id");
        std::erase_if(m_panes,
                      [&](const Pane& p) { return memberString(p.record, u"pane_id") == paneID; });
    }
    publish(u"pane_closed"_s, JSONValue::object({{u"type"_s, u"pane_closed"_s},
                                                 {u"pane_id"_s, paneID},
                                                 {u"workspace_id"_s, workspace}}));
}

void FakeScenario::transitionTo(const FakeScenario& next)
{
    std::vector<Pane> nextPanes;
    {
        std::scoped_lock lock(m_mutex, next.m_mutex);
        m_header = next.m_header;
        m_workspaces = next.m_workspaces;
        m_tabs = next.m_tabs;
        nextPanes = next.m_panes;
    }
    std::set<QString> nextIDs;
    for (const auto& p : nextPanes)
        nextIDs.insert(memberString(p.record, u"pane_id"));
    for (const auto& id : paneIDs()) {
        if (!nextIDs.contains(id))
            removePane(id);
    }
    for (const auto& p : nextPanes) {
        const QString id = memberString(p.record, u"pane_id");
        QString previousStatus;
        bool known = false;
        {
            std::lock_guard lock(m_mutex);
            if (Pane* existing = find(id)) {
                known = true;
                previousStatus = memberString(existing->record, u"agent_status");
                existing->record = p.record;
                existing->screen = p.screen;
                existing->reactions = p.reactions;
                existing->terminal = p.terminal;
            }
        }
        if (!known) {
            addPane(p.record, p.screen);
            std::lock_guard lock(m_mutex);
            if (Pane* added = find(id))
                added->terminal = p.terminal;
        } else if (previousStatus != memberString(p.record, u"agent_status"))
            publish(u"pane.agent_status_changed"_s, statusEventData(p.record));
    }
}

void FakeScenario::addReaction(const QString& paneID, FakeReaction reaction)
{
    std::lock_guard lock(m_mutex);
    if (Pane* pane = find(paneID))
        pane->reactions.push_back(std::move(reaction));
}

void FakeScenario::react(const FakeRequest& request)
{
    const QString id = memberString(request.params, u"pane_id");
    std::optional<AgentStatus> status;
    {
        std::lock_guard lock(m_mutex);
        Pane* pane = find(id);
        if (!pane)
            return;
        std::optional<std::vector<QString>> keys;
        if (const JSONValue* sent = request.params.member(u"keys")) {
            if (auto decoded = JSONCoding<std::vector<QString>>::decode(*sent))
                keys = std::move(*decoded);
        }
        const QString text = memberString(request.params, u"text");
        const bool isKeys = request.method == u"pane.send_keys";
        const auto rule = std::find_if(
            pane->reactions.begin(), pane->reactions.end(), [&](const FakeReaction& r) {
                return isKeys ? (r.keys && keys && *r.keys == *keys) : (r.text && *r.text == text);
            });
        if (rule == pane->reactions.end())
            return;
        pane->screen = rule->screen;
        status = rule->status;
        pane->reactions.erase(rule);
    }
    if (status)
        setPaneStatus(id, *status);
}

// Tokens only, as a patch the way herdr takes them: a text sets a key, null or an empty text
// clears it, keys not named stay. A change bumps the revision and tells pane.updated.
FakeReply FakeScenario::reportMetadata(const JSONValue& params)
{
    const QString id = memberString(params, u"pane_id");
    const JSONValue* patch = params.member(u"tokens");
    if (memberString(params, u"source").isEmpty() || (patch && !patch->objectValue()))
        return FakeReply::error(u"invalid_request"_s, u"invalid request: source and tokens"_s);
    std::lock_guard lock(m_mutex);
    Pane* pane = find(id);
    if (!pane)
        return paneNotFound(id);
    const JSONValue* present = pane->record.member(u"tokens");
    JSONValue::Object tokens =
        present && present->objectValue() ? *present->objectValue() : JSONValue::Object{};
    const JSONValue::Object before = tokens;
    for (const auto& [name, value] : patch ? *patch->objectValue() : JSONValue::Object{}) {
        const QString text =
            value.stringValue() ? value.stringValue()->trimmed().left(80) : QString();
        if (text.isEmpty())
            tokens.erase(name);
        else
            tokens.insert_or_assign(name, text);
    }
    if (tokens == before)
        return FakeReply::ok();
    pane->record = withMember(pane->record, u"tokens"_s, JSONValue(std::move(tokens)));
    const JSONValue* revision = pane->record.member(u"revision");
    const double next = (revision && revision->doubleValue() ? *revision->doubleValue() : 0) + 1;
    pane->record = withMember(pane->record, u"revision"_s, next);
    publish(u"pane_updated"_s,
            JSONValue::object({{u"type"_s, u"pane_updated"_s}, {u"pane"_s, pane->record}}));
    return FakeReply::ok();
}
