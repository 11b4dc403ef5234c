#include "HerdrClient/Responding/InteractionDraftStore.h"

#include "HerdrClient/Support/BoundedFile.h"
#include "HerdrClient/Support/SaveFileCommit.h"
#include "HerdrClient/Wire/JSONValue.h"

#include <QRegularExpression>
#include <QSaveFile>

using namespace Qt::StringLiterals;

namespace {

constexpr double fileVersion = 1;
constexpr qsizetype maximumTextLength = 256 * 1024;

bool isFingerprint(const QString& text)
{
    static const QRegularExpression pattern(u"\\A[0-9a-f]{64}\\z"_s);
    return pattern.match(text).hasMatch();
}

std::unexpected<InteractionDraftFileError> malformed(QString detail)
{
    return std::unexpected(
        InteractionDraftFileError{InteractionDraftFileError::Kind::malformed, std::move(detail)});
}

std::optional<InteractionDraft> draftFrom(const JSONValue& entry)
{
    const JSONValue* pane = entry.member(u"paneID");
    const JSONValue* fingerprint = entry.member(u"fingerprint");
    const JSONValue* text = entry.member(u"text");
    const JSONValue* state = entry.member(u"state");
    if (!pane || !fingerprint || !text || !state || !pane->stringValue()
        || !fingerprint->stringValue() || !text->stringValue() || !state->stringValue())
        return std::nullopt;
    const std::optional<InteractionDraftState> draftState =
        interactionDraftStateFromString(*state->stringValue());
    if (pane->stringValue()->isEmpty() || !isFingerprint(*fingerprint->stringValue()) || !draftState
        || text->stringValue()->size() > maximumTextLength)
        return std::nullopt;
    return InteractionDraft{
        {*pane->stringValue(), InteractionFingerprint(*fingerprint->stringValue())},
        *text->stringValue(),
        *draftState};
}

} // namespace

QString InteractionDraftFileError::errorDescription() const
{
    switch (kind) {
    case Kind::unreadable: return u"Couldn't read the saved drafts: %1."_s.arg(detail);
    case Kind::malformed: return u"The saved drafts were not usable: %1."_s.arg(detail);
    case Kind::unwritable: break;
    }
    return u"Couldn't save the drafts: %1."_s.arg(detail);
}

void InteractionDraftStore::observe(const PendingInteraction& interaction)
{
    const InteractionFingerprint fingerprint = interaction.fingerprint();
    const auto visible = m_visibleFingerprintByPane.find(interaction.paneID);
    if (visible != m_visibleFingerprintByPane.end() && visible->second != fingerprint)
        markStale({interaction.paneID, visible->second});
    m_visibleFingerprintByPane.insert_or_assign(interaction.paneID, fingerprint);
}

void InteractionDraftStore::interactionDisappeared(const QString& paneID)
{
    const auto visible = m_visibleFingerprintByPane.find(paneID);
    if (visible == m_visibleFingerprintByPane.end())
        return;
    const InteractionDraftKey key{paneID, visible->second};
    m_visibleFingerprintByPane.erase(visible);
    markStale(key);
}

bool InteractionDraftStore::setText(QString text, const PendingInteraction& interaction)
{
    observe(interaction);
    InteractionDraftKey key{interaction.paneID, interaction.fingerprint()};
    const auto found = m_drafts.find(key);
    if (found != m_drafts.end() && found->second.state == InteractionDraftState::stale)
        return false;
    m_drafts.insert_or_assign(
        key, InteractionDraft{key, std::move(text), InteractionDraftState::attached});
    return true;
}

std::optional<InteractionDraft> InteractionDraftStore::draft(
    const PendingInteraction& interaction) const
{
    const auto found = m_drafts.find({interaction.paneID, interaction.fingerprint()});
    if (found == m_drafts.end())
        return std::nullopt;
    return found->second;
}

bool InteractionDraftStore::confirmReuse(const PendingInteraction& interaction)
{
    const InteractionFingerprint fingerprint = interaction.fingerprint();
    const auto visible = m_visibleFingerprintByPane.find(interaction.paneID);
    if (visible == m_visibleFingerprintByPane.end() || visible->second != fingerprint)
        return false;
    const auto found = m_drafts.find({interaction.paneID, fingerprint});
    if (found == m_drafts.end() || found->second.state != InteractionDraftState::stale)
        return false;
    found->second.state = InteractionDraftState::attached;
    return true;
}

void InteractionDraftStore::markStale(const InteractionDraftKey& key)
{
    const auto found = m_drafts.find(key);
    if (found != m_drafts.end())
        found->second.state = InteractionDraftState::stale;
}

std::expected<void, InteractionDraftFileError> InteractionDraftStore::save(
    const QString& path) const
{
    JSONValue::Array entries;
    for (const auto& [key, draft] : m_drafts) {
        entries.push_back(
            JSONValue::object({{u"paneID"_s, JSONValue(key.paneID)},
                               {u"fingerprint"_s, JSONValue(key.fingerprint.rawValue)},
                               {u"text"_s, JSONValue(draft.text)},
                               {u"state"_s, JSONValue(toString(draft.state))}}));
    }
    const JSONValue document = JSONValue::object(
        {{u"version"_s, JSONValue(fileVersion)}, {u"drafts"_s, JSONValue(std::move(entries))}});

    const auto failed = [&](const QString& detail) {
        return std::unexpected(
            InteractionDraftFileError{InteractionDraftFileError::Kind::unwritable, detail});
    };
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return failed(file.errorString());
    const QByteArray bytes = document.serialized();
    if (file.write(bytes) != bytes.size())
        return failed(file.errorString());
    if (const auto committed = commitSaveFile(file); !committed)
        return failed(committed.error());
    return {};
}

std::expected<InteractionDraftStore, InteractionDraftFileError> InteractionDraftStore::load(
    const QString& path)
{
    const auto bytes = BoundedFile::read(path, maximumFileBytes, BoundedFile::Links::follow);
    if (!bytes) {
        if (bytes.error() == BoundedFile::Failure::missing)
            return InteractionDraftStore{};
        if (bytes.error() == BoundedFile::Failure::tooLarge)
            return malformed(u"the file is too large"_s);
        return std::unexpected(InteractionDraftFileError{
            InteractionDraftFileError::Kind::unreadable, u"not a readable file"_s});
    }
    const auto document = JSONValue::parse(*bytes);
    if (!document)
        return malformed(u"not JSON"_s);
    const JSONValue* version = document->member(u"version");
    const JSONValue* drafts = document->member(u"drafts");
    if (!version || version->doubleValue() != fileVersion)
        return malformed(u"unknown version"_s);
    if (!drafts || !drafts->arrayValue())
        return malformed(u"no list of drafts"_s);

    InteractionDraftStore store;
    for (const JSONValue& entry : *drafts->arrayValue()) {
        std::optional<InteractionDraft> draft = draftFrom(entry);
        if (!draft)
            return malformed(u"a draft failed its checks"_s);
        if (!store.m_drafts.emplace(draft->key, *draft).second)
            return malformed(u"a draft appears twice"_s);
    }
    return store;
}
