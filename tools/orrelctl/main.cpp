#include "tools/orrelctl/Command.h"

#include <QCoreApplication>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {
int printHelp(QTextStream& stream)
{
    stream << "usage: orrelctl COMMAND [OPTIONS]\n\nCommands:\n";
    for (const auto& command : orrelctlCommands())
        stream << "  " << command.name.leftJustified(12) << command.summary << '\n';
    stream << "\nCommands that talk to herdr take --socket PATH or --session NAME, and --json.\n"
              "app talks to the running application at --automation-socket PATH (default: "
              "$ORRELSENTRY_AUTOMATION_SOCKET).\n";
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
    const QString name = arguments[1];
    if (name == u"help" || name == u"--help" || name == u"-h")
        return printHelp(out);
    for (const auto& command : orrelctlCommands()) {
        if (command.name == name) {
            CommandContext context{arguments.mid(1), &out, &err, processEnvironment()};
            return QCoro::waitFor(command.run(std::move(context)));
        }
    }
    err << "orrelctl: unknown command " << name << "\n";
    printHelp(err);
    return ExitStatus::usage;
}
