#pragma once

#include "HerdrClient/Commands/ProcessCommandRunner.h"
#include "HerdrClient/Wire/AgentStatus.h"
#include "HerdrClient/Wire/JSONValue.h"

#include <QRegularExpression>
#include <QString>
#include <QStringList>

#include <array>
#include <expected>
#include <memory>
#include <optional>
#include <vector>

// A real terminal behind a fake herdr pane: a tmux pane, read with `capture-pane` and typed into
// with `send-keys`, each a tmux client run to its end under a deadline. Holds no state of the
// terminal, so any thread may use it.
class TmuxPane {
public:
    struct Server {
        std::optional<QString> socketName; // tmux -L
        std::optional<QString> socketPath; // tmux -S
    };

    TmuxPane(QString target, Server server);

    QString target() const { return m_target; }

    // What herdr's `pane.read` gives for `source`: the visible rows, or, for the recent sources,
    // up to 1000 rows of history above them as well (joined where they wrapped, for
    // recent_unwrapped). With `ansi`, colours as SGR sequences, except for detection.
    std::expected<QString, QString> read(ReadSource source, bool ansi) const;
    // Keys by herdr's names, all checked before any is sent.
    std::expected<void, QString> sendKeys(const std::vector<QString>& keys) const;
    // Raw text, no Enter after it.
    std::expected<void, QString> sendText(const QString& text) const;

    // One herdr key as a `send-keys` argument: a tmux key name, or text to send literally.
    struct Key {
        QString argument;
        bool literal = false;
        bool operator==(const Key&) const = default;
    };
    static std::expected<Key, QString> tmuxKey(const QString& herdrKey);

private:
    std::expected<QByteArray, QString> run(const QStringList& arguments) const;

    QString m_target;
    Server m_server;
    std::optional<QString> m_executable;
};

// A scenario pane that is a real terminal, and the rule its status follows: `blocked` while the
// screen matches `blockedWhen`, the scenario's own status otherwise.
struct TerminalPane {
    std::shared_ptr<const TmuxPane> tmux;
    std::optional<QRegularExpression> blockedWhen;
    AgentStatus otherwise = AgentStatus::unknown;

    // From the keys "tmux" (the target), "tmux_socket" (a socket name, as -L),
    // "tmux_socket_path" (as -S) and "blocked_when" (a regular expression, ^ and $ at every line)
    // of a scenario pane; nothing when "tmux" is absent. `otherwise` is left to the caller.
    static std::expected<std::optional<TerminalPane>, QString> fromPaneJSON(const JSONValue& pane);
    static constexpr std::array<const char16_t*, 4> paneKeys = {
        u"tmux", u"tmux_socket", u"tmux_socket_path", u"blocked_when"};

    // The status the screen shows now.
    std::expected<AgentStatus, QString> status() const;
};
