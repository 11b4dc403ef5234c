// install-opencode-plugin: puts Orrel Sentry's opencode plugin in place, or says why not.
#include "tools/orrelctl/Command.h"

#include "OrrelApp/Setup/OpenCodePluginInstaller.h"

using namespace Qt::StringLiterals;

namespace {

QCoro::Task<int> runInstallOpenCodePlugin(CommandContext context)
{
    const QString usage =
        u"install-opencode-plugin [--status | --plan | --uninstall] [--replace]"_s;
    QCommandLineParser parser;
    parser.addOption(QCommandLineOption(u"status"_s, u"only tell what is installed"_s));
    parser.addOption(QCommandLineOption(u"plan"_s, u"tell what an install would write"_s));
    parser.addOption(QCommandLineOption(u"uninstall"_s, u"remove the plugin this program put"_s));
    parser.addOption(
        QCommandLineOption(u"replace"_s, u"replace a different file, saving it as .bak"_s));
    if (!parseArguments(parser, context, usage))
        co_return ExitStatus::usage;
    const int modes = int(parser.isSet(u"status"_s)) + int(parser.isSet(u"plan"_s))
                      + int(parser.isSet(u"uninstall"_s));
    if (!parser.positionalArguments().isEmpty() || modes > 1
        || (parser.isSet(u"replace"_s) && modes != 0))
        co_return context.fail(
            u"orrelctl install-opencode-plugin: wrong arguments\nusage: orrelctl "_s + usage,
            ExitStatus::usage);

    const auto installer = OpenCodePluginInstaller::forUser(context.environment);
    if (parser.isSet(u"plan"_s)) {
        const auto plan = installer.plan();
        context.print(u"write %1 (%2 bytes, sha256 %3) to %4"_s.arg(plan.resourcePath)
                          .arg(plan.byteCount)
                          .arg(plan.sha256, plan.targetPath));
        co_return ExitStatus::success;
    }
    if (!parser.isSet(u"status"_s)) {
        const auto done = parser.isSet(u"uninstall"_s)
                              ? installer.uninstall()
                              : installer.install(parser.isSet(u"replace"_s));
        if (!done)
            co_return context.fail(done.error().errorDescription(), ExitStatus::refused);
    }
    context.print(u"opencode plugin: "_s + toString(installer.status()));
    co_return ExitStatus::success;
}

const CommandRegistration installOpenCodePluginRegistration{
    u"install-opencode-plugin"_s,
    u"install the opencode plugin that lets Orrel Sentry answer opencode over its own server"_s,
    &runInstallOpenCodePlugin};

} // namespace
