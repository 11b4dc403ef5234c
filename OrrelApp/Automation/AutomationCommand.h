#pragma once

#include <QByteArrayView>
#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <expected>
#include <optional>

// One request of the automation channel, checked: which command, and the arguments it takes, each
// of its proper type. Arguments a command does not take keep their empty values.
struct AutomationCommand {
    enum class Kind {
        state,
        toggle,
        showOverview,
        collapse,
        select,
        answer,
        approve,
        deny,
        recommended,
        armFloor,
        reply,
        typeText,
        beginTextEntry,
        backToChoices,
        sendTask,
        interrupt,
        jump,
        notification,
        screenshot,
        quit,
    };

    // How an argument is checked, and so how a client should send it.
    enum class ArgumentType {
        nonNegativeInteger,
        text,
        nonEmptyText,
        absolutePath,
        notificationAction, // open, jump or dismiss
    };

    Kind kind = Kind::state;
    QString session;  // select, interrupt, jump, notification
    QString pane;     // select, interrupt, jump, notification
    qint64 index = 0; // answer: the choice, from 0
    QString text;     // armFloor, reply, typeText, sendTask
    QString path;     // screenshot: where the PNG goes
    QString action;   // notification: what the person did with it

    // The command's name on the wire ("showOverview").
    QString name() const;
    // Whether a refusal of this command means that nothing reached an agent.
    bool deliversToAgent() const;

    // Checks one request line: a JSON object with a "cmd" and that command's arguments; keys no
    // command knows are ignored. The error is a sentence to send back as it is.
    static std::expected<AutomationCommand, QString> parse(QByteArrayView line);
    static std::expected<AutomationCommand, QString> fromJSON(const QJsonObject& request);

    // Every command name, in the order of `Kind`.
    static QStringList knownNames();
    // The type of a named argument of any command; nothing for a key no command takes.
    static std::optional<ArgumentType> argumentType(const QString& key);

    bool operator==(const AutomationCommand&) const = default;
};
