#pragma once

#include "HerdrClient/Support/Environment.h"
#include "HerdrClient/Wire/HerdrClient.h"
#include "HerdrClient/Wire/JSONValue.h"

#include <QCommandLineParser>
#include <QCoroTask>
#include <QTextStream>

#include <functional>
#include <memory>
#include <vector>

// Exit statuses shared by every command.
namespace ExitStatus {
inline constexpr int success = 0;
inline constexpr int failure = 1;
inline constexpr int usage = 2;
inline constexpr int refused = 3;
} // namespace ExitStatus

// What a command runs with: its own arguments (the command name first), the two output
// streams and the environment.
struct CommandContext {
    QStringList arguments;
    QTextStream* out = nullptr;
    QTextStream* err = nullptr;
    Environment environment;
    // Set when the command printed its help instead of running: a success, not a usage error.
    bool* helpShown = nullptr;

    // One JSON line: keys sorted, one object per line.
    void printJSON(const JSONValue& value) const;
    void print(const QString& text) const;
    // One line on standard error; returns `status` so a command can `co_return fail(...)`.
    int fail(const QString& message, int status = ExitStatus::failure) const;
};

struct OrrelctlCommand {
    QString name;
    QString summary;
    std::function<QCoro::Task<int>(CommandContext)> run;
};

// Every command of orrelctl, sorted by name.
const std::vector<OrrelctlCommand>& orrelctlCommands();

// A command file registers itself with one static instance of this, so that adding a command
// touches no shared list:
//   static const CommandRegistration registration{u"ping"_s, u"..."_s, &runPing};
struct CommandRegistration {
    CommandRegistration(QString name, QString summary,
                        std::function<QCoro::Task<int>(CommandContext)> run);
};

// Parses the command's arguments with `parser`; on a usage error prints it and the usage and
// returns false. With --help it prints the usage, the summary and the options to standard
// output, notes that in `context.helpShown` and returns false, so the command runs no further.
bool parseArguments(QCommandLineParser& parser, const CommandContext& context,
                    const QString& usage);

// The options every command that talks to herdr takes: --socket PATH, --session NAME, --json.
void addConnectionOptions(QCommandLineParser& parser);
void addJSONOption(QCommandLineParser& parser);

// A client for --socket or --session (else the environment's rules), with a request timeout.
std::unique_ptr<HerdrClient> clientFromOptions(const QCommandLineParser& parser,
                                               const CommandContext& context);

// One line for a failed request, with the socket path. A socket that takes no connection asks
// whether herdr runs; every other failure, herdr's own answers first, is told as it happened.
int failRequest(const CommandContext& context, const HerdrClient& client,
                const RequestFailure& failure);

// Text that came from an agent goes to a terminal: no control characters get through.
QString printableText(const QString& text);
