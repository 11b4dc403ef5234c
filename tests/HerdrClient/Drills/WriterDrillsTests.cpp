// Every file this program writes, written while the disk is full: the write fails and says so,
// the file that was there keeps every byte, nothing half-made is left beside it, and the next
// write after the disk has room again succeeds. The full disk is a file-size limit, which binds
// root as well, so the drill means the same in any container.
#include "HerdrClient/Capture/CaptureFiles.h"
#include "HerdrClient/Capture/PaneCaptureWriter.h"
#include "HerdrClient/Responding/InteractionDraftStore.h"
#include "tests/HerdrClient/Capture/CaptureTestFiles.h"
#include "tests/support/FileSizeLimit.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// Smaller than anything these writers write, larger than nothing.
constexpr rlim_t fullDisk = 8;

QStringList entries(const QString& directory)
{
    return QDir(directory).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden,
                                     QDir::Name);
}

PendingInteraction question(const QString& title)
{
    PendingInteraction interaction;
    interaction.paneID = u"w1:p1"_s;
    interaction.kind = InteractionKind::question;
    interaction.title = title;
    interaction.presentation.mechanism = InteractionMechanism::textEntry;
    interaction.evidence.agentID = u"claude"_s;
    return interaction;
}

TEST(WriterDrills, ADraftsFileKeepsItsDraftsWhenTheDiskIsFull)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(u"drafts.json"_s);
    const PendingInteraction first = question(u"Which database?"_s);
    InteractionDraftStore store;
    ASSERT_TRUE(store.setText(u"postgres, the one in eu-west"_s, first));
    ASSERT_TRUE(store.save(path));
    const QByteArray before = readFile(path);

    const PendingInteraction second = question(u"Which region?"_s);
    ASSERT_TRUE(store.setText(u"eu-west-3"_s, second));
    {
        FileSizeLimit disk(fullDisk);
        ASSERT_TRUE(disk.isApplied());
        const auto saved = store.save(path);
        ASSERT_FALSE(saved);
        EXPECT_EQ(saved.error().kind, InteractionDraftFileError::Kind::unwritable);
    }
    EXPECT_EQ(readFile(path), before);
    EXPECT_EQ(entries(dir.path()), QStringList{u"drafts.json"_s});
    EXPECT_EQ(InteractionDraftStore::load(path)->drafts().size(), 1u);

    // The draft typed meanwhile was never dropped from memory: the next save has both.
    ASSERT_TRUE(store.save(path));
    EXPECT_EQ(InteractionDraftStore::load(path)->drafts(), store.drafts());
    EXPECT_EQ(store.drafts().size(), 2u);
}

TEST(WriterDrills, ACaptureBundleIsReplacedWholeOrNotAtAll)
{
    QTemporaryDir dir;
    const auto first = PaneCaptureWriter::write(sampleBundle(), dir.path(), false);
    ASSERT_TRUE(first);
    const QStringList files = entries(*first);
    std::map<QString, QByteArray> before;
    for (const QString& name : files)
        before[name] = readFile(QDir(*first).filePath(name));
    const auto changed =
        PaneCaptureBundle::make(sampleBundle().metadata, u"another screen\n"_s, u"another\n"_s);
    {
        FileSizeLimit disk(fullDisk);
        ASSERT_TRUE(disk.isApplied());
        EXPECT_FALSE(PaneCaptureWriter::write(changed, dir.path(), true));
    }
    EXPECT_EQ(entries(dir.path()), QStringList{u"w1_p2.capture"_s}) << "no temporary is left";
    EXPECT_EQ(entries(*first), files);
    for (const auto& [name, bytes] : before)
        EXPECT_EQ(readFile(QDir(*first).filePath(name)), bytes) << name.toStdString();

    const auto replaced = PaneCaptureWriter::write(changed, dir.path(), true);
    ASSERT_TRUE(replaced);
    EXPECT_EQ(PaneCaptureBundle::load(*replaced)->detectionText, u"another screen\n"_s);
    EXPECT_EQ(entries(dir.path()), QStringList{u"w1_p2.capture"_s});
}

TEST(WriterDrills, ANewFixtureDirectoryAppearsOnlyWhenItIsComplete)
{
    QTemporaryDir dir;
    const QString target = dir.filePath(u"claude-approval"_s);
    const CaptureFiles::DirectoryContents files = {{u"screen.txt"_s, "Do you want to proceed?\n"},
                                                   {u"fixture.json"_s, "{\"agent\":\"claude\"}\n"}};
    {
        FileSizeLimit disk(fullDisk);
        ASSERT_TRUE(disk.isApplied());
        EXPECT_FALSE(CaptureFiles::writeDirectoryAtomically(target, files, false));
    }
    EXPECT_TRUE(entries(dir.path()).isEmpty());

    ASSERT_TRUE(CaptureFiles::writeDirectoryAtomically(target, files, false));
    EXPECT_EQ(entries(target), (QStringList{u"fixture.json"_s, u"screen.txt"_s}));
    EXPECT_EQ(readFile(QDir(target).filePath(u"screen.txt"_s)), "Do you want to proceed?\n");
}

} // namespace
