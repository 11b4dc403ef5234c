#pragma once

#include "HerdrClient/Interaction/PendingInteraction.h"
#include "HerdrClient/Responding/PaneInteractionDraft.h"

#include <QString>

#include <expected>
#include <map>
#include <optional>

struct InteractionDraftKey {
    QString paneID;
    InteractionFingerprint fingerprint;

    bool operator==(const InteractionDraftKey&) const = default;
    bool operator<(const InteractionDraftKey& other) const
    {
        return paneID != other.paneID ? paneID < other.paneID : fingerprint < other.fingerprint;
    }
};

struct InteractionDraft {
    InteractionDraftKey key;
    QString text;
    InteractionDraftState state = InteractionDraftState::attached;

    bool operator==(const InteractionDraft&) const = default;
};

// Why a drafts file was not written or not used. Reading falls back to no drafts at all.
struct InteractionDraftFileError {
    enum class Kind { unreadable, malformed, unwritable };

    Kind kind = Kind::unreadable;
    QString detail;

    QString errorDescription() const;
    bool operator==(const InteractionDraftFileError&) const = default;
};

// Drafts keyed by pane and prompt fingerprint, so that a text typed for one question can never
// answer another: when the pane shows another prompt, the old key's draft turns stale and stays
// so until the person confirms it for the prompt it was typed for.
class InteractionDraftStore {
public:
    void observe(const PendingInteraction& interaction);
    void interactionDisappeared(const QString& paneID);
    // Refused (false) when the draft for this very prompt is stale.
    bool setText(QString text, const PendingInteraction& interaction);
    std::optional<InteractionDraft> draft(const PendingInteraction& interaction) const;
    bool confirmReuse(const PendingInteraction& interaction);

    const std::map<InteractionDraftKey, InteractionDraft>& drafts() const { return m_drafts; }

    // The drafts, written atomically. Which prompt each pane shows is not kept: after a restart
    // that is learnt again from the next reads.
    std::expected<void, InteractionDraftFileError> save(const QString& path) const;
    // A file that is missing gives an empty store; one that is too large, or fails any check,
    // is ignored as a whole, since half a file of drafts could pair a text with the wrong prompt.
    static std::expected<InteractionDraftStore, InteractionDraftFileError> load(
        const QString& path);

    static constexpr qint64 maximumFileBytes = 4 * 1024 * 1024;

private:
    void markStale(const InteractionDraftKey& key);

    std::map<InteractionDraftKey, InteractionDraft> m_drafts;
    std::map<QString, InteractionFingerprint> m_visibleFingerprintByPane;
};
