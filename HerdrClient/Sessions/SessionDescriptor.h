#pragma once

#include "HerdrClient/Wire/JSONValue.h"

#include <QHash>
#include <QString>

#include <functional>
#include <optional>

// The identity of one herdr session, here or on a host reached over SSH. Its `id` prefixes the
// id of every agent in it.
struct SessionDescriptor {
    // `local` (name) or `remote` (target, name).
    struct Kind {
        QString name;
        std::optional<QString> target; // present for a remote kind

        static Kind local(QString name) { return {std::move(name), std::nullopt}; }
        static Kind remote(QString target, QString name)
        {
            return {std::move(name), std::move(target)};
        }

        bool isRemote() const { return target.has_value(); }
        std::optional<QString> sshTarget() const { return target; }
        bool operator==(const Kind&) const = default;
    };

    static inline const QString defaultSessionName = QStringLiteral("default");
    static inline const QString localDefaultID = QStringLiteral("local:default");

    Kind kind;
    QString serverSocketPath; // on the machine where the session runs
    bool isDefault = false;
    bool isRunning = false;

    static SessionDescriptor localDefault(QString socketPath);

    // "local:<name>" or "ssh:<target>/<name>".
    QString id() const;
    const QString& name() const { return kind.name; }
    bool isRemote() const { return kind.isRemote(); }
    // The name; for a remote session its target, followed by " · " and the name unless it is the
    // default one.
    QString label() const;
    // What a person types to join the session.
    QString attachCommand() const;

    // The program's own record: id, kind, name, target, label, socket path, default, running.
    JSONValue asJSONValue() const;

    bool operator==(const SessionDescriptor&) const = default;
};

inline size_t qHash(const SessionDescriptor& session, size_t seed = 0)
{
    return qHashMulti(seed, session.id(), session.serverSocketPath, session.isDefault,
                      session.isRunning);
}

template <>
struct std::hash<SessionDescriptor> {
    size_t operator()(const SessionDescriptor& session) const noexcept { return qHash(session); }
};
