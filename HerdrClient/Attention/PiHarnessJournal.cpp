#include "HerdrClient/Attention/PiHarnessJournal.h"

#include "HerdrClient/Attention/EpochSeconds.h"

#include <map>
#include <set>

using namespace Qt::StringLiterals;

namespace {

std::optional<QString> text(const JSONValue* value, QStringView key)
{
    if (!value)
        return std::nullopt;
    const JSONValue* member = value->member(key);
    return member ? member->stringValue() : std::nullopt;
}

std::optional<QString> nonEmptyText(const JSONValue* value, QStringView key)
{
    auto result = text(value, key);
    if (result && result->isEmpty())
        return std::nullopt;
    return result;
}

// A question record, or nothing when its owner or child cannot be told.
std::optional<EscalatedQuestion> questionRecord(const QString& id, const JSONValue& line)
{
    EscalatedQuestion question;
    question.id = id;
    const auto owner = nonEmptyText(line.member(u"owner"), u"paneId");
    if (!owner)
        return std::nullopt;
    question.ownerPaneID = *owner;

    const JSONValue* child = line.member(u"child");
    if (!child || !child->objectValue())
        return std::nullopt;
    const auto childKind = text(child, u"kind");
    auto childPane = nonEmptyText(child, u"paneId");
    if (!childPane && childKind == u"pi-subagent"_s)
        childPane = nonEmptyText(child, u"id");
    if (!childPane)
        return std::nullopt;
    question.childPaneID = *childPane;
    if (childKind)
        question.childKind = *childKind;

    const JSONValue* first =
        line.member(u"questions") ? line.member(u"questions")->element(0) : nullptr;
    if (first && first->objectValue()) {
        if (const auto asked = nonEmptyText(first, u"question"))
            question.question = *asked;
        question.header = text(first, u"header");
        if (const JSONValue* options = first->member(u"options");
            options && options->arrayValue()) {
            for (const auto& option : *options->arrayValue()) {
                const auto label = text(&option, u"label");
                if (!label)
                    continue;
                question.options.push_back(*label);
                question.optionDescriptions.push_back(text(&option, u"description"));
            }
        }
        if (const JSONValue* created = first->member(u"createdAt")) {
            if (const auto milliseconds = created->doubleValue())
                question.since = timestampFromEpochSeconds(*milliseconds / 1000.0);
        }
    }

    question.originPaneID = nonEmptyText(line.member(u"origin"), u"paneId");
    if (!question.originPaneID)
        question.originPaneID = nonEmptyText(line.member(u"work"), u"originPane");
    return question;
}

} // namespace

PiHarnessJournal::PiHarnessJournal(QByteArrayView data)
{
    std::map<QString, EscalatedQuestion> questions;
    std::set<QString> known, confirmed, started, resolved;

    qsizetype start = 0;
    while (start < data.size()) {
        qsizetype end = data.indexOf('\n', start);
        if (end < 0)
            end = data.size();
        const QByteArrayView piece = data.sliced(start, end - start);
        start = end + 1;
        if (piece.isEmpty())
            continue;
        const auto line = JSONValue::parse(piece);
        if (!line || !line->objectValue())
            continue;
        const auto id = text(&*line, u"questionId");
        if (!id)
            continue;

        const JSONValue* type = line->member(u"type");
        if (!type) {
            if (auto question = questionRecord(*id, *line))
                questions.insert_or_assign(*id, std::move(*question));
            continue;
        }
        const auto event = type->stringValue();
        if (!event)
            continue;
        if (*event == u"escalate-intent"_s) {
            known.insert(*id);
        } else if (*event == u"escalated"_s) {
            known.insert(*id);
            confirmed.insert(*id);
        } else if (*event == u"resolve-intent"_s) {
            started.insert(*id);
        } else if (*event == u"answered"_s || *event == u"escalation-resolved"_s) {
            resolved.insert(*id);
        } else if (*event == u"rebound"_s) {
            const auto owner = nonEmptyText(line->member(u"owner"), u"paneId");
            const auto question = questions.find(*id);
            if (owner && question != questions.end())
                question->second.ownerPaneID = *owner;
        }
    }

    for (auto& [id, question] : questions) {
        if (!known.contains(id) || resolved.contains(id))
            continue;
        question.notificationConfirmed = confirmed.contains(id);
        question.resolutionStarted = started.contains(id);
        escalations.push_back(std::move(question));
    }
}

const EscalatedQuestion* PiHarnessJournal::escalation(const QString& id) const
{
    for (const auto& question : escalations) {
        if (question.id == id)
            return &question;
    }
    return nullptr;
}
