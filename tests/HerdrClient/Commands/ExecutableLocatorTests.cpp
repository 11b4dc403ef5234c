#include "HerdrClient/Commands/ExecutableLocator.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <set>

using namespace Qt::StringLiterals;

namespace {

TEST(ExecutableLocatorTest, SearchOrderKeepsFirstOccurrences)
{
    const Environment environment{{u"PATH"_s, u"/a::~/b:/a:/usr/bin"_s}, {u"HOME"_s, u"/h"_s}};
    EXPECT_EQ(ExecutableLocator::searchDirectories(environment),
              (QStringList{u"/a"_s, u"/h/b"_s, u"/usr/bin"_s, u"/h/.local/bin"_s,
                           u"/h/.cargo/bin"_s, u"/h/.local/share/mise/shims"_s,
                           u"/h/.nix-profile/bin"_s, u"/opt/homebrew/bin"_s, u"/usr/local/bin"_s,
                           u"/run/current-system/sw/bin"_s, u"/bin"_s}));
    EXPECT_EQ(ExecutableLocator::searchDirectories({}).first(), u"/opt/homebrew/bin"_s)
        << "no HOME: no per-user folders";
}

TEST(ExecutableLocatorTest, LocateByRule)
{
    struct Case {
        const char* name;
        QString program;
        Environment environment;
        std::set<QString> executables;
        std::optional<QString> expected;
    };
    const std::vector<Case> cases = {
        {"per-user folder with an empty PATH",
         u"herdr"_s,
         {{u"PATH"_s, u""_s}, {u"HOME"_s, u"/h"_s}},
         {u"/h/.cargo/bin/herdr"_s},
         u"/h/.cargo/bin/herdr"_s},
        {"PATH before the fixed folders",
         u"ssh"_s,
         {{u"PATH"_s, u"/x:/y"_s}},
         {u"/usr/bin/ssh"_s, u"/y/ssh"_s},
         u"/y/ssh"_s},
        {"override wins",
         u"herdr"_s,
         {{u"PATH"_s, u"/x"_s}, {u"ORRELSENTRY_HERDR_BINARY"_s, u"/opt/h"_s}},
         {u"/x/herdr"_s, u"/opt/h"_s},
         u"/opt/h"_s},
        {"bad override is not followed by the search",
         u"herdr"_s,
         {{u"PATH"_s, u"/x"_s}, {u"ORRELSENTRY_HERDR_BINARY"_s, u"/missing/herdr"_s}},
         {u"/x/herdr"_s},
         std::nullopt},
        {"empty override is no override",
         u"herdr"_s,
         {{u"PATH"_s, u"/x"_s}, {u"ORRELSENTRY_HERDR_BINARY"_s, u""_s}},
         {u"/x/herdr"_s},
         u"/x/herdr"_s},
        {"override is only for herdr",
         u"ssh"_s,
         {{u"PATH"_s, u"/x"_s}, {u"ORRELSENTRY_HERDR_BINARY"_s, u"/opt/h"_s}},
         {u"/opt/h"_s, u"/x/ssh"_s},
         u"/x/ssh"_s},
        {"nothing anywhere", u"herdr"_s, {{u"PATH"_s, u"/x"_s}}, {}, std::nullopt},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const auto accepts = [&c](const QString& path) { return c.executables.contains(path); };
        EXPECT_EQ(ExecutableLocator::locate(c.program, c.environment, accepts), c.expected);
    }
}

TEST(ExecutableLocatorTest, OnlyExecutableFilesCount)
{
    QTemporaryDir root;
    ASSERT_TRUE(root.isValid());
    const QDir dir(root.path());
    for (const char16_t* folder : {u"withFolder", u"withPlainFile", u"withProgram"})
        ASSERT_TRUE(dir.mkpath(QString::fromUtf16(folder)));
    ASSERT_TRUE(dir.mkpath(u"withFolder/herdr"_s));
    for (const auto& [path, mode] :
         {std::pair{u"withPlainFile/herdr"_s, QFile::ReadOwner | QFile::WriteOwner},
          std::pair{u"withProgram/herdr"_s, QFile::ReadOwner | QFile::ExeOwner}}) {
        QFile file(dir.filePath(path));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("#!/bin/sh\n");
        file.close();
        ASSERT_TRUE(file.setPermissions(mode));
    }
    // A folder and a file without the execute bit come first on PATH and are passed over.
    const QString path = dir.filePath(u"withFolder"_s) + u':' + dir.filePath(u"withPlainFile"_s)
                         + u':' + dir.filePath(u"withProgram"_s);
    EXPECT_EQ(ExecutableLocator::locate(u"herdr"_s, {{u"PATH"_s, path}}),
              dir.filePath(u"withProgram/herdr"_s));
}

} // namespace
