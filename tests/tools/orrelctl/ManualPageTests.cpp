// The manual page and the program's own help describe the same commands, usages and options.
#include "tests/tools/orrelctl/ProgramRun.h"

#include <QFile>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <map>

using namespace Qt::StringLiterals;

namespace {

const QString orrelctl = QStringLiteral(ORRELCTL_PATH);

struct CommandHelp {
    QString usage;
    QString summary;
    // "--socket PATH" and its description, in the order given.
    std::vector<std::pair<QString, QString>> options;
};

QString collapsed(QString text)
{
    return text.replace(QRegularExpression(u"\\s+"_s), u" "_s).trimmed();
}

// Roff down to the words a reader sees: dashes, fonts and the quoting of .B and .I undone.
QString plainRoff(QString line)
{
    line.replace(u"\\-"_s, u"-"_s);
    line.remove(QRegularExpression(u"\\\\f[BIRP]"_s));
    if (line.startsWith(u".B "_s) || line.startsWith(u".I "_s))
        line = line.mid(3).remove(u'"');
    return line;
}

// Each .SS section of the manual, read back into what `help COMMAND` prints.
std::map<QString, CommandHelp> manualSections(const QString& path)
{
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
    std::map<QString, CommandHelp> sections;
    CommandHelp* current = nullptr;
    bool inUsage = false;
    bool optionTitleNext = false;
    const QStringList lines = QString::fromUtf8(file.readAll()).split(u'\n');
    for (const QString& line : lines) {
        if (line.startsWith(u".SH"_s)) {
            current = nullptr;
        } else if (line.startsWith(u".SS "_s)) {
            current = &sections[line.mid(4).trimmed()];
        } else if (!current) {
            continue;
        } else if (line == u".nf"_s) {
            inUsage = true;
        } else if (line == u".fi"_s) {
            inUsage = false;
        } else if (inUsage) {
            current->usage += plainRoff(line) + u' ';
        } else if (line == u".TP"_s) {
            optionTitleNext = true;
        } else if (optionTitleNext) {
            current->options.emplace_back(plainRoff(line), QString());
            optionTitleNext = false;
        } else if (line.startsWith(u'.')) {
            continue;
        } else if (!current->options.empty() && current->options.back().second.isEmpty()) {
            current->options.back().second = plainRoff(line);
        } else if (current->summary.isEmpty()) {
            current->summary = plainRoff(line);
        }
    }
    for (auto& [name, help] : sections)
        help.usage = collapsed(help.usage);
    return sections;
}

CommandHelp programHelp(const QString& command)
{
    const ProgramRun help = run(orrelctl, {u"help"_s, command});
    EXPECT_EQ(help.status, 0) << command.toStdString() << help.err.toStdString();
    const QStringList blocks = help.out.split(u"\n\n"_s);
    EXPECT_GE(blocks.size(), 3) << help.out.toStdString();
    CommandHelp result;
    result.usage = collapsed(blocks.value(0)).remove(QRegularExpression(u"^usage: "_s));
    result.summary = blocks.value(1).trimmed();
    static const QRegularExpression option(u"^\\s+(--[\\w-]+)(?: <(\\w+)>)?\\s+(.+)$"_s);
    for (const QString& line : blocks.value(2).split(u'\n')) {
        const auto match = option.match(line);
        if (!match.hasMatch())
            continue;
        const QString title = match.captured(2).isEmpty()
                                  ? match.captured(1)
                                  : match.captured(1) + u' ' + match.captured(2);
        result.options.emplace_back(title, match.captured(3).trimmed());
    }
    return result;
}

std::string listing(const std::vector<std::pair<QString, QString>>& options)
{
    std::string text;
    for (const auto& [title, description] : options)
        text += (title + u": "_s + description + u'\n').toStdString();
    return text;
}

// The commands as `orrelctl --help` lists them, with their summaries.
std::map<QString, QString> listedCommands()
{
    const ProgramRun help = run(orrelctl, {u"--help"_s});
    EXPECT_EQ(help.status, 0);
    std::map<QString, QString> commands;
    const QString listing = help.out.section(u"Commands:\n"_s, 1).section(u"\n\n"_s, 0, 0);
    for (const QString& line : listing.split(u'\n', Qt::SkipEmptyParts)) {
        const QString trimmed = line.trimmed();
        commands[trimmed.section(u' ', 0, 0)] = trimmed.section(u' ', 1).trimmed();
    }
    return commands;
}

TEST(ManualPage, DescribesEveryCommandAsItsHelpDoes)
{
    const auto manual =
        manualSections(QStringLiteral(ORREL_SOURCE_DIR) + u"/tools/orrelctl/orrelctl.1"_s);
    const auto commands = listedCommands();
    ASSERT_GE(commands.size(), 10u);

    QStringList manualNames, listedNames;
    for (const auto& [name, _] : manual)
        manualNames << name;
    for (const auto& [name, _] : commands)
        listedNames << name;
    EXPECT_EQ(manualNames.join(u' ').toStdString(), listedNames.join(u' ').toStdString());

    for (const auto& [name, summary] : commands) {
        SCOPED_TRACE(name.toStdString());
        const auto section = manual.find(name);
        if (section == manual.end())
            continue;
        const CommandHelp help = programHelp(name);
        EXPECT_EQ(help.summary.toStdString(), summary.toStdString());
        EXPECT_EQ(section->second.summary.toStdString(), help.summary.toStdString());
        EXPECT_EQ(section->second.usage.toStdString(), help.usage.toStdString());
        EXPECT_FALSE(help.options.empty());
        EXPECT_EQ(listing(section->second.options), listing(help.options));
    }
}

TEST(ManualPage, HelpForACommandIsItsOwnHelpOption)
{
    const ProgramRun viaHelp = run(orrelctl, {u"help"_s, u"respond"_s});
    const ProgramRun viaOption = run(orrelctl, {u"respond"_s, u"--help"_s});
    EXPECT_EQ(viaOption.status, 0);
    EXPECT_EQ(viaOption.out, viaHelp.out);
    EXPECT_TRUE(viaOption.out.startsWith(u"usage: orrelctl respond PANE --fingerprint FP"_s))
        << viaOption.out.toStdString();
    // Help ran nothing: no herdr was asked, so none was missed.
    EXPECT_TRUE(viaOption.err.isEmpty()) << viaOption.err.toStdString();

    const ProgramRun unknown = run(orrelctl, {u"help"_s, u"frobnicate"_s});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_TRUE(unknown.err.startsWith(u"orrelctl: unknown command frobnicate"_s));
}

// Packaging scripts and bug reports ask for the version on machines without a display: it is
// printed before Qt looks for one.
TEST(ApplicationVersion, IsPrintedWithoutADisplay)
{
    QProcessEnvironment noDisplay;
    noDisplay.insert(u"DISPLAY"_s, QString());
    noDisplay.insert(u"WAYLAND_DISPLAY"_s, QString());
    noDisplay.insert(u"QT_QPA_PLATFORM"_s, u"xcb"_s);
    const ProgramRun version =
        run(QStringLiteral(ORREL_SENTRY_PATH), {u"--version"_s}, {}, noDisplay);
    EXPECT_EQ(version.status, 0) << version.err.toStdString();
    static const QRegularExpression form(
        u"^Orrel Sentry \\d+\\.\\d+\\.\\d+ \\(([0-9a-f]{12}(-dirty)?|development)\\)\n$"_s);
    EXPECT_TRUE(form.match(version.out).hasMatch()) << version.out.toStdString();
    EXPECT_TRUE(version.err.isEmpty()) << version.err.toStdString();
}

} // namespace
