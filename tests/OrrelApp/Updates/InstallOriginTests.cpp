#include "OrrelApp/Updates/InstallOrigin.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// A root with a merged /usr (bin is a link to usr/bin) and dpkg's lists of installed files.
class InstallOriginTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(root.isValid());
        ASSERT_TRUE(QDir(root.path()).mkpath(u"usr/bin"_s));
        ASSERT_TRUE(QDir(root.path()).mkpath(u"var/lib/dpkg/info"_s));
        ASSERT_TRUE(QFile::link(root.filePath(u"usr/bin"_s), root.filePath(u"bin"_s)));
        executable = root.filePath(u"usr/bin/orrel-sentry"_s);
        QFile file(executable);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    }

    void writeList(const QString& package, const QStringList& paths)
    {
        QFile list(root.filePath(u"var/lib/dpkg/info/"_s + package + u".list"_s));
        ASSERT_TRUE(list.open(QIODevice::WriteOnly));
        list.write((paths.join(u'\n') + u'\n').toUtf8());
    }

    InstallOrigin origin(const QString& runAs, BuildProvenance provenance) const
    {
        return resolveInstallOrigin(
            {runAs, std::move(provenance), root.filePath(u"var/lib/dpkg/info"_s)});
    }

    QTemporaryDir root;
    QString executable;
    const BuildProvenance packagedBuild{u"1f2e3d4c5b6a"_s, false, u"/build/src"_s};
    const BuildProvenance tarballBuild{{}, false, {}};
};

// The package's binaries carry the source folder of the tree they were built in; dpkg owning
// the file still makes it the package's.
TEST_F(InstallOriginTest, AFileThePackageListsIsThePackages)
{
    writeList(u"orrel-sentry"_s,
              {u"/."_s, root.filePath(u"usr"_s), root.filePath(u"usr/bin/orrel-sentry"_s)});
    EXPECT_EQ(origin(executable, packagedBuild), InstallOrigin::debianPackage);
    // The same file started through the /bin link.
    EXPECT_EQ(origin(root.filePath(u"bin/orrel-sentry"_s), packagedBuild),
              InstallOrigin::debianPackage);
}

TEST_F(InstallOriginTest, ListedUnderTheOtherNameOfAMergedUsr)
{
    writeList(u"orrel-sentry"_s, {root.filePath(u"bin/orrel-sentry"_s)});
    EXPECT_EQ(origin(executable, tarballBuild), InstallOrigin::debianPackage);
}

TEST_F(InstallOriginTest, WithoutThePackagesListItIsTheBuildThatDecides)
{
    // Another package's list, and a list of ours that names only other files.
    writeList(u"orrel-sentry-tools"_s, {executable});
    EXPECT_EQ(origin(executable, packagedBuild), InstallOrigin::development);
    writeList(u"orrel-sentry"_s, {root.filePath(u"usr/bin/orrelctl"_s)});
    EXPECT_EQ(origin(executable, packagedBuild), InstallOrigin::development);
    EXPECT_EQ(origin(executable, tarballBuild), InstallOrigin::manual);
    EXPECT_EQ(origin(executable, {{}, true, {}}), InstallOrigin::development);
}

// A copy of the packaged executable elsewhere, say a build tree, is not the package's file.
TEST_F(InstallOriginTest, ACopyElsewhereIsNotThePackagedFile)
{
    writeList(u"orrel-sentry"_s, {executable});
    ASSERT_TRUE(QDir(root.path()).mkpath(u"home/build"_s));
    const QString copy = root.filePath(u"home/build/orrel-sentry"_s);
    ASSERT_TRUE(QFile::copy(executable, copy));
    EXPECT_EQ(origin(copy, tarballBuild), InstallOrigin::manual);
    EXPECT_EQ(origin(root.filePath(u"home/build/missing"_s), tarballBuild), InstallOrigin::manual);
}

} // namespace
