#include "tests/support/FakeHerdrCommand.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cstdio>

using namespace Qt::StringLiterals;

FakeHerdrCommand::FakeHerdrCommand()
{
    const QByteArray dir = m_directory.path().toUtf8();
    // Anything but the listing is a usage error, as with herdr; every run is counted first.
    const QByteArray script =
        "#!/bin/sh\n"
        "dir='"
        + dir
        + "'\n"
          "echo \"$*\" >> \"$dir/runs\"\n"
          "if [ \"$*\" != 'session list --json' ]; then\n"
          "  echo \"error: unexpected arguments: $*\" >&2; exit 2\n"
          "fi\n"
          "case \"$(cat \"$dir/mode\")\" in\n"
          "hang) exec sleep 3600 ;;\n"
          "fail) cat \"$dir/stderr\" >&2; exit \"$(cat \"$dir/status\")\" ;;\n"
          "*) cat \"$dir/stdout\" ;;\n"
          "esac\n";
    write(u"herdr"_s, script);
    QFile::setPermissions(path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    list({});
}

QString FakeHerdrCommand::path() const
{
    return m_directory.filePath(u"herdr"_s);
}

void FakeHerdrCommand::list(std::vector<Session> sessions)
{
    std::ranges::stable_sort(sessions, [](const Session& a, const Session& b) {
        if (a.isDefault != b.isDefault)
            return a.isDefault;
        return a.name < b.name;
    });
    QJsonArray entries;
    for (const Session& session : sessions) {
        entries.append(QJsonObject{
            {u"name"_s, session.name},
            {u"default"_s, session.isDefault},
            {u"running"_s, session.running},
            {u"socket_path"_s, session.socketPath},
            {u"session_dir"_s, QFileInfo(session.socketPath).path()},
        });
    }
    write(u"stdout"_s,
          QJsonDocument(QJsonObject{{u"sessions"_s, entries}}).toJson(QJsonDocument::Compact)
              + '\n');
    setMode("list");
}

void FakeHerdrCommand::printGarbage(const QByteArray& text)
{
    write(u"stdout"_s, text);
    setMode("list");
}

void FakeHerdrCommand::fail(int status, const QByteArray& message)
{
    write(u"stderr"_s, message);
    write(u"status"_s, QByteArray::number(status));
    setMode("fail");
}

void FakeHerdrCommand::hang()
{
    setMode("hang");
}

int FakeHerdrCommand::runCount() const
{
    QFile runs(m_directory.filePath(u"runs"_s));
    if (!runs.open(QIODevice::ReadOnly))
        return 0;
    return int(runs.readAll().count('\n'));
}

void FakeHerdrCommand::setMode(const QByteArray& mode)
{
    write(u"mode"_s, mode);
}

void FakeHerdrCommand::write(const QString& name, const QByteArray& contents) const
{
    // A run under way reads either the old file or the new one, never half of one.
    const QString target = m_directory.filePath(name);
    const QString staging = target + u".new"_s;
    QFile file(staging);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        file.write(contents);
        file.close();
        std::rename(QFile::encodeName(staging).constData(), QFile::encodeName(target).constData());
    }
}
