#include "tools/orrelctl/Command.h"

#include <QCoreApplication>
#include <algorithm>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {
int printHelp(QTextStream& stream)
{
    stream << "usage: orrelctl COMMAND [OPTIONS]\n\nCommands:\n";
    qsizetype width = 0;
    for (const auto& command : orrelctlCommands())
        width = std::max(width, command.name.size() + 2);
    for (const auto& command : orrelctlCommands())
        stream << "  " << command.name.leftJustified(width) << command.summary << '\n';
    stream << "\nCommands that talk to herdr take --socket PATH or --session NAME, and --json.\n"
              "app talks to the running application at --automation-socket PATH (default: "
              "$ORRELSENTRY_AUTOMATION_SOCKET).\n"
              "orrelctl help COMMAND (or COMMAND --help) tells a command's options.\n";
    stream.flush();
    return 0;
}
} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(u"orrelctl"_s);
    QTextStream out(stdout);
    QTextStream err(stderr);

    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() < 2) {
        printHelp(err);
        return ExitStatus::usage;
    }
    QString name = arguments[1];
    QStringList commandArguments = arguments.mid(1);
    if (name == u"help" || name == u"--help" || name == u"-h") {
        if (arguments.size() < 3)
            return printHelp(out);
        // `help COMMAND` is the command's own --help, so the two never differ.
        name = arguments[2];
        commandArguments = {name, u"--help"_s};
    }
    for (const auto& command : orrelctlCommands()) {
        if (command.name == name) {
            bool helpShown = false;
            CommandContext context{commandArguments, &out, &err, processEnvironment(), &helpShown};
            const int status = QCoro::waitFor(command.run(std::move(context)));
            return helpShown ? ExitStatus::success : status;
        }
    }
    err << "orrelctl: unknown command " << name << "\n";
    printHelp(err);
    return ExitStatus::usage;
}
