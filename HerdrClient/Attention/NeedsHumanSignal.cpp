#include "HerdrClient/Attention/NeedsHumanSignal.h"

#include "HerdrClient/Support/BoundedFile.h"

#include <QDir>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

using Category = HardFloorVerdict::Category;

namespace {

std::optional<QString> textMember(const JSONValue& object, QStringView key)
{
    const JSONValue* member = object.member(key);
    return member ? member->stringValue() : std::nullopt;
}

bool isTokenIDCharacter(QChar c)
{
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9')
           || c == u'_' || c == u'-';
}

} // namespace

QString toString(NeedsHumanSignal::Kind kind)
{
    switch (kind) {
    case NeedsHumanSignal::Kind::question: return u"question"_s;
    case NeedsHumanSignal::Kind::approval: return u"approval"_s;
    case NeedsHumanSignal::Kind::escalation: return u"escalation"_s;
    }
    return {};
}

Decoded<NeedsHumanSignal::Kind> JSONCoding<NeedsHumanSignal::Kind>::decode(const JSONValue& value)
{
    const auto text = value.stringValue();
    for (const auto kind : {NeedsHumanSignal::Kind::question, NeedsHumanSignal::Kind::approval,
                            NeedsHumanSignal::Kind::escalation}) {
        if (text == toString(kind))
            return kind;
    }
    return std::unexpected(DecodingError{u"expected question, approval or escalation"_s});
}

std::optional<Category> NeedsHumanSignal::Floor::categoryFromWord(const QString& word)
{
    const QString lower = word.toLower();
    if (lower.startsWith(u"prod"_s) || lower == u"deploy"_s)
        return Category::production;
    if (lower.startsWith(u"money"_s) || lower.contains(u"charge"_s) || lower.contains(u"payment"_s))
        return Category::money;
    if (lower.startsWith(u"destruct"_s) || lower.contains(u"delete"_s))
        return Category::destructive;
    if (lower.startsWith(u"secur"_s) || lower.contains(u"credential"_s))
        return Category::security;
    return std::nullopt;
}

NeedsHumanSignal::Floor NeedsHumanSignal::Floor::decode(const JSONValue& value)
{
    Floor floor;
    if (const auto flag = value.boolValue()) {
        floor.isFloor = *flag;
    } else if (const auto word = value.stringValue()) {
        floor.category = categoryFromWord(*word);
        floor.isFloor = floor.category.has_value();
    } else if (value.objectValue()) {
        auto word = textMember(value, u"class");
        if (!word)
            word = textMember(value, u"category");
        if (word)
            floor.category = categoryFromWord(*word);
        floor.target = textMember(value, u"target");
        floor.reason = textMember(value, u"reason");
        floor.command = textMember(value, u"command");
        floor.isFloor = floor.category.has_value() || floor.target.has_value();
    }
    return floor;
}

JSONValue NeedsHumanSignal::Floor::asJSONValue() const
{
    std::optional<QString> categoryText;
    if (category)
        categoryText = toString(*category);
    return RecordWriter()
        .set(u"isFloor"_s, isFloor)
        .set(u"category"_s, categoryText)
        .set(u"target"_s, target)
        .set(u"reason"_s, reason)
        .set(u"command"_s, command)
        .value();
}

std::optional<QString> NeedsHumanSignal::idFromToken(const QString& token)
{
    // The id names a file, so nothing but a plain name gets through: no dots, no slashes.
    if (token.toUtf8().size() > maximumTokenSize || !token.startsWith(u"v1:"_s))
        return std::nullopt;
    const QString id = token.mid(3);
    if (id.isEmpty() || !std::all_of(id.cbegin(), id.cend(), isTokenIDCharacter))
        return std::nullopt;
    return id;
}

QString NeedsHumanSignal::asksDirectory(const Environment& environment)
{
    return expandTilde(u"~/.pi/agent/orrel/asks"_s, environment);
}

Decoded<NeedsHumanSignal> NeedsHumanSignal::fromJSON(const JSONValue& value)
{
    if (!value.objectValue())
        return std::unexpected(DecodingError{u"expected an object"_s});
    RecordReader reader(value);
    NeedsHumanSignal signal;
    signal.v = reader.required<qint64>(u"v");
    signal.id = reader.required<QString>(u"id");
    signal.kind = reader.required<Kind>(u"kind");
    signal.q = reader.required<QString>(u"q");
    signal.header = reader.optional<QString>(u"header");
    signal.options = reader.optional<std::vector<QString>>(u"options");
    signal.rec = reader.optional<qint64>(u"rec");
    signal.since = reader.required<double>(u"since");
    signal.onBehalfOf = reader.optional<QString>(u"onBehalfOf");
    signal.pane = reader.optional<QString>(u"pane");
    if (const JSONValue* floor = value.member(u"floor"); floor && !floor->isNull())
        signal.floor = Floor::decode(*floor);
    return reader.finish(std::move(signal));
}

JSONValue NeedsHumanSignal::asJSONValue() const
{
    return RecordWriter()
        .set(u"v"_s, v)
        .set(u"id"_s, id)
        .set(u"kind"_s, kind)
        .set(u"q"_s, q)
        .set(u"header"_s, header)
        .set(u"options"_s, options)
        .set(u"rec"_s, rec)
        .set(u"since"_s, since)
        .set(u"onBehalfOf"_s, onBehalfOf)
        .set(u"pane"_s, pane)
        .set(u"floor"_s, floor)
        .value();
}

std::optional<NeedsHumanSignal> NeedsHumanSignal::decode(
    const std::optional<std::map<QString, QString>>& tokens, const std::optional<QString>& paneID,
    const QString& directory, bool loadDetails)
{
    if (!tokens)
        return std::nullopt;
    const auto token = tokens->find(u"nh"_s);
    if (token == tokens->end())
        return std::nullopt;
    const auto id = idFromToken(token->second);
    if (!id)
        return std::nullopt;

    NeedsHumanSignal base;
    base.id = *id;
    base.pane = paneID;
    if (!loadDetails)
        return base;

    // An ask file is never followed through a link: the token names a file in this directory.
    const auto data = BoundedFile::read(QDir(directory).filePath(*id + u".json"_s), maximumFileSize,
                                        BoundedFile::Links::refuse);
    if (!data)
        return base;
    auto file = fromAskFile(*data, *id, paneID);
    return file ? std::move(*file) : base;
}

std::optional<NeedsHumanSignal> NeedsHumanSignal::fromAskFile(QByteArrayView data,
                                                              const QString& id,
                                                              const std::optional<QString>& paneID)
{
    const auto json = JSONValue::parse(data);
    if (!json)
        return std::nullopt;
    auto file = fromJSON(*json);
    if (!file || file->v != 1 || file->id != id || file->q.isEmpty())
        return std::nullopt;
    if (file->pane && paneID && *file->pane != *paneID)
        return std::nullopt;
    if (!std::isfinite(file->since) || file->since < 0)
        return std::nullopt;
    if (file->rec) {
        const auto count = file->options ? qint64(file->options->size()) : 0;
        if (*file->rec < 0 || *file->rec >= count)
            return std::nullopt;
    }
    return std::move(*file);
}
