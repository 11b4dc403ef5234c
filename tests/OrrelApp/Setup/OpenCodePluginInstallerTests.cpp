#include "OrrelApp/Setup/OpenCodePluginInstaller.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QByteArray bundled = "// orrel-sentry-opencode-plugin 3\nexport const P = async () => ({})\n";

class OpenCodePluginInstallerTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(home.isValid());
        ASSERT_TRUE(QDir(home.path()).mkpath(u".config/opencode"_s));
    }

    QString config() const { return home.filePath(u".config/opencode"_s); }
    OpenCodePluginInstaller installer() const { return {config(), bundled}; }

    static void put(const QString& path, const QByteArray& bytes)
    {
        ASSERT_TRUE(QDir().mkpath(QFileInfo(path).path()));
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }
    static QByteArray contents(const QString& path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    QTemporaryDir home;
};

TEST_F(OpenCodePluginInstallerTest, FindsOpenCodesFolderFromTheEnvironment)
{
    EXPECT_EQ(OpenCodePluginInstaller::configDirectory({{u"HOME"_s, u"/h"_s}}),
              u"/h/.config/opencode"_s);
    EXPECT_EQ(OpenCodePluginInstaller::configDirectory(
                  {{u"HOME"_s, u"/h"_s}, {u"XDG_CONFIG_HOME"_s, u"/x"_s}}),
              u"/x/opencode"_s);
}

TEST_F(OpenCodePluginInstallerTest, InstallsIntoAFreshFolderAndThenHasNothingToDo)
{
    EXPECT_TRUE(
        std::holds_alternative<OpenCodePluginInstaller::NotInstalled>(installer().status()));
    ASSERT_TRUE(installer().install(false));
    EXPECT_EQ(contents(installer().appCopyPath()), bundled);
    EXPECT_TRUE(installer().appCopyPath().endsWith(u"/plugins/orrel-sentry.ts"_s));
    EXPECT_TRUE(std::holds_alternative<OpenCodePluginInstaller::Installed>(installer().status()));
    EXPECT_TRUE(installer().install(false));
    EXPECT_FALSE(QFile::exists(installer().backupPath()));
}

TEST_F(OpenCodePluginInstallerTest, RefusesWithoutOpenCode)
{
    const OpenCodePluginInstaller missing(home.filePath(u"nowhere"_s), bundled);
    EXPECT_TRUE(std::holds_alternative<OpenCodePluginInstaller::OpenCodeMissing>(missing.status()));
    const auto failed = missing.install(true);
    ASSERT_FALSE(failed);
    EXPECT_EQ(failed.error().kind, OpenCodePluginInstaller::Failure::Kind::opencodeMissing);
    EXPECT_FALSE(QDir(home.filePath(u"nowhere"_s)).exists());
    EXPECT_TRUE(missing.uninstall());
}

TEST_F(OpenCodePluginInstallerTest, AnOlderVersionOfOursIsUpdatedAndRemovable)
{
    const QByteArray older = "// orrel-sentry-opencode-plugin 2\nold\n";
    put(installer().appCopyPath(), older);
    const auto status = installer().status();
    ASSERT_TRUE(std::holds_alternative<OpenCodePluginInstaller::Outdated>(status));
    EXPECT_EQ(std::get<OpenCodePluginInstaller::Outdated>(status).version, 2);
    ASSERT_TRUE(installer().install(false));
    EXPECT_EQ(contents(installer().appCopyPath()), bundled);

    put(installer().appCopyPath(), older);
    ASSERT_TRUE(installer().uninstall());
    EXPECT_FALSE(QFile::exists(installer().appCopyPath()));
}

TEST_F(OpenCodePluginInstallerTest, AFileNotOursIsKeptUnlessReplacingAndThenBackedUp)
{
    // The same version with other bytes, a newer version and a stranger's file are all left alone.
    for (const QByteArray& theirs :
         {QByteArray("// orrel-sentry-opencode-plugin 3\nedited\n"),
          QByteArray("// orrel-sentry-opencode-plugin 4\nnewer\n"), QByteArray("mine\n")}) {
        SCOPED_TRACE(theirs.toStdString());
        put(installer().appCopyPath(), theirs);
        const auto status = installer().status();
        ASSERT_TRUE(std::holds_alternative<OpenCodePluginInstaller::Different>(status));
        EXPECT_EQ(std::get<OpenCodePluginInstaller::Different>(status).size, theirs.size());

        auto refused = installer().install(false);
        ASSERT_FALSE(refused);
        EXPECT_EQ(refused.error().kind,
                  OpenCodePluginInstaller::Failure::Kind::differentFileExists);
        refused = installer().uninstall();
        ASSERT_FALSE(refused);
        EXPECT_EQ(refused.error().kind, OpenCodePluginInstaller::Failure::Kind::notOurs);
        EXPECT_EQ(contents(installer().appCopyPath()), theirs);

        ASSERT_TRUE(installer().install(true));
        EXPECT_EQ(contents(installer().backupPath()), theirs);
        EXPECT_TRUE(
            std::holds_alternative<OpenCodePluginInstaller::Installed>(installer().status()));
    }
}

TEST_F(OpenCodePluginInstallerTest, NeverAddsASecondCopyBesideAnotherOne)
{
    const QString target = home.filePath(u"harness/plugin.ts"_s);
    put(target, bundled);
    const QString link = config() + u"/plugins/opencode-orrel-sentry.ts"_s;
    ASSERT_TRUE(QDir(config()).mkdir(u"plugins"_s));
    ASSERT_TRUE(QFile::link(target, link));

    auto status = installer().status();
    ASSERT_TRUE(std::holds_alternative<OpenCodePluginInstaller::Harness>(status));
    EXPECT_EQ(std::get<OpenCodePluginInstaller::Harness>(status).resolvedPath, target);
    const auto refused = installer().install(true);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().kind, OpenCodePluginInstaller::Failure::Kind::harnessCopyActive);
    EXPECT_FALSE(QFile::exists(installer().appCopyPath()));

    // Ours beside it goes on uninstall; theirs stays whatever happens.
    put(installer().appCopyPath(), bundled);
    status = installer().status();
    EXPECT_TRUE(std::get<OpenCodePluginInstaller::Harness>(status).alsoAppCopy);
    ASSERT_TRUE(installer().uninstall());
    EXPECT_FALSE(QFile::exists(installer().appCopyPath()));
    EXPECT_TRUE(QFileInfo(link).isSymLink());

    put(installer().appCopyPath(), "mine\n");
    const auto kept = installer().uninstall();
    ASSERT_FALSE(kept);
    EXPECT_EQ(kept.error().kind, OpenCodePluginInstaller::Failure::Kind::notOurs);
    EXPECT_EQ(contents(installer().appCopyPath()), "mine\n");
}

TEST_F(OpenCodePluginInstallerTest, OurFileInTheOlderFolderCountsAsAnotherCopy)
{
    put(config() + u"/plugin/orrel-sentry.ts"_s, bundled);
    EXPECT_TRUE(std::holds_alternative<OpenCodePluginInstaller::Harness>(installer().status()));
}

TEST_F(OpenCodePluginInstallerTest, AWriteThatFailsSaysWhereAndWhy)
{
    ASSERT_TRUE(QDir(config()).mkdir(u"plugins"_s));
    QFile::setPermissions(config() + u"/plugins"_s, QFile::ReadOwner | QFile::ExeOwner);
    if (QFileInfo(config() + u"/plugins"_s).isWritable())
        GTEST_SKIP() << "running as a user that writes anywhere";
    const auto failed = installer().install(false);
    ASSERT_FALSE(failed);
    EXPECT_EQ(failed.error().kind, OpenCodePluginInstaller::Failure::Kind::writeFailed);
    EXPECT_EQ(failed.error().errorDescription(),
              installer().appCopyPath() + u": permission denied"_s);
}

TEST(OpenCodePluginResource, TheCarriedPluginIsMarkedAndPlanned)
{
    const auto carried = OpenCodePluginInstaller::forUser({{u"HOME"_s, u"/h"_s}});
    const auto plan = carried.plan();
    EXPECT_GT(plan.byteCount, 1000);
    EXPECT_EQ(plan.targetPath, u"/h/.config/opencode/plugins/orrel-sentry.ts"_s);
    EXPECT_EQ(plan.sha256.size(), 64);
    QFile resource(OpenCodePluginInstaller::resourcePath.toString());
    ASSERT_TRUE(resource.open(QIODevice::ReadOnly));
    EXPECT_TRUE(OpenCodePluginInstaller::markedVersion(resource.readAll()).has_value());
}

} // namespace
