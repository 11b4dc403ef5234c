#pragma once

#include "HerdrClient/Attention/PiHarnessJournal.h"
#include "HerdrClient/Support/Environment.h"

#include <QByteArray>
#include <QString>

#include <map>
#include <optional>

// The pi sentinel's directory, watched cheaply: a file is read only when its modification time or
// size changed. Only the local default session has one. Owned by its session runtime.
class PiHarnessFiles {
public:
    static inline const QString registryFile = QStringLiteral("registry.json");
    static inline const QString journalFile = QStringLiteral("questions/questions.jsonl");
    // Generous bounds for files that only grow by small records.
    static constexpr qint64 maximumRegistrySize = 4 * 1024 * 1024;
    static constexpr qint64 maximumJournalSize = 32 * 1024 * 1024;

    explicit PiHarnessFiles(QString directory);

    // ORREL_PI_SENTINEL_DIR when set and not empty, else ".pi/agent/sentinel" under the home.
    static QString sentinelDirectory(const Environment& environment);

    // Rereads the registry and the journal when they changed; a file that went away empties its
    // state.
    void refresh();

    // The new bytes of `relativeName` when its signature changed, empty bytes when it has gone
    // since the last look, nothing when no change is seen (or a read failed: the next call tries
    // again).
    std::optional<QByteArray> changedFile(const QString& relativeName);

    // The question with `id` as the journal on disk holds it now, without touching what
    // `refresh` keeps.
    std::optional<EscalatedQuestion> freshEscalation(const QString& id) const;

    const QString& directory() const { return m_directory; }
    const QByteArray& registry() const { return m_registry; }
    const PiHarnessJournal& journal() const { return m_journal; }

private:
    QString path(const QString& relativeName) const;

    QString m_directory;
    QByteArray m_registry;
    PiHarnessJournal m_journal;
    std::map<QString, QString> m_signatures;
};
