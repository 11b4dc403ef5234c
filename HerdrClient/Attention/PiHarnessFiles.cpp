#include "HerdrClient/Attention/PiHarnessFiles.h"

#include "HerdrClient/Support/BoundedFile.h"

#include <QDir>

using namespace Qt::StringLiterals;

PiHarnessFiles::PiHarnessFiles(QString directory) : m_directory(std::move(directory)) {}

QString PiHarnessFiles::sentinelDirectory(const Environment& environment)
{
    const QString configured = environmentValue(environment, u"ORREL_PI_SENTINEL_DIR"_s);
    return expandTilde(configured.isEmpty() ? u"~/.pi/agent/sentinel"_s : configured, environment);
}

QString PiHarnessFiles::path(const QString& relativeName) const
{
    return QDir(m_directory).filePath(relativeName);
}

std::optional<QByteArray> PiHarnessFiles::changedFile(const QString& relativeName)
{
    const auto signature = BoundedFile::signature(path(relativeName));
    const auto stored = m_signatures.find(relativeName);
    if (!signature) {
        if (stored == m_signatures.end())
            return std::nullopt;
        m_signatures.erase(stored);
        return QByteArray();
    }
    if (stored != m_signatures.end() && stored->second == *signature)
        return std::nullopt;
    const qint64 limit = relativeName == registryFile ? maximumRegistrySize : maximumJournalSize;
    auto data = BoundedFile::read(path(relativeName), limit, BoundedFile::Links::follow);
    if (!data)
        return std::nullopt;
    m_signatures.insert_or_assign(relativeName, *signature);
    return std::move(*data);
}

void PiHarnessFiles::refresh()
{
    if (auto registry = changedFile(registryFile))
        m_registry = std::move(*registry);
    if (auto journal = changedFile(journalFile))
        m_journal = PiHarnessJournal(*journal);
}

std::optional<EscalatedQuestion> PiHarnessFiles::freshEscalation(const QString& id) const
{
    const auto data =
        BoundedFile::read(path(journalFile), maximumJournalSize, BoundedFile::Links::follow);
    if (!data)
        return std::nullopt;
    const PiHarnessJournal journal(*data);
    if (const auto* question = journal.escalation(id))
        return *question;
    return std::nullopt;
}
