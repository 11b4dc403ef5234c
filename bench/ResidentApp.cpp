#include "bench/ResidentApp.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLocalSocket>

#include <unistd.h>

#include <thread>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

ProcessSample sampleProcess(qint64 pid)
{
    ProcessSample result;
    QFile stat(u"/proc/%1/stat"_s.arg(pid));
    if (stat.open(QIODevice::ReadOnly)) {
        const QByteArray text = stat.readAll();
        // Fields after the command name, which may hold blanks, start after its ')'.
        const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
        if (fields.size() > 18) {
            const double ticks = double(sysconf(_SC_CLK_TCK));
            result.cpuSeconds = (fields[11].toDouble() + fields[12].toDouble()) / ticks;
            result.threads = fields[17].toInt();
        }
    }
    QFile status(u"/proc/%1/status"_s.arg(pid));
    if (status.open(QIODevice::ReadOnly)) {
        for (const QByteArray& line : status.readAll().split('\n')) {
            if (line.startsWith("VmRSS:"))
                result.residentMegabytes =
                    line.mid(6).trimmed().split(' ').front().toDouble() / 1024;
        }
    }
    result.descriptors =
        int(QDir(u"/proc/%1/fd"_s.arg(pid)).entryList(QDir::NoDotAndDotDot | QDir::System).size());
    return result;
}

QJsonObject AutomationChannel::request(const QJsonObject& command) const
{
    QLocalSocket socket;
    socket.connectToServer(m_path);
    if (!socket.waitForConnected(5000))
        return {{u"ok"_s, false}, {u"error"_s, u"no automation channel"_s}};
    socket.write(QJsonDocument(command).toJson(QJsonDocument::Compact) + '\n');
    QByteArray line;
    QElapsedTimer timer;
    timer.start();
    while (!line.contains('\n') && timer.elapsed() < 30000) {
        if (!socket.bytesAvailable() && !socket.waitForReadyRead(100)
            && socket.state() != QLocalSocket::ConnectedState)
            break;
        line += socket.readAll();
    }
    return QJsonDocument::fromJson(line.trimmed()).object();
}

QJsonObject AutomationChannel::state() const
{
    return request({{u"cmd"_s, u"state"_s}}).value(u"state"_s).toObject();
}

bool AutomationChannel::waitFor(const std::function<bool(const QJsonObject&)>& holds,
                                std::chrono::milliseconds limit) const
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (std::chrono::steady_clock::now() < deadline) {
        if (holds(state()))
            return true;
        std::this_thread::sleep_for(20ms);
    }
    return false;
}

QProcessEnvironment residentEnvironment(const QString& directory,
                                        const std::vector<ListedSession>& sessions)
{
    QJsonArray listing;
    for (const ListedSession& session : sessions)
        listing.append(QJsonObject{{u"name"_s, session.name},
                                   {u"default"_s, false},
                                   {u"running"_s, true},
                                   {u"socket_path"_s, session.socketPath},
                                   {u"session_dir"_s, QFileInfo(session.socketPath).path()}});
    const QString listingPath = directory + u"/sessions.json"_s;
    QFile listingFile(listingPath);
    if (listingFile.open(QIODevice::WriteOnly))
        listingFile.write(
            QJsonDocument(QJsonObject{{u"sessions"_s, listing}}).toJson(QJsonDocument::Compact));
    const QString herdr = directory + u"/herdr"_s;
    QFile script(herdr);
    if (script.open(QIODevice::WriteOnly))
        script.write("#!/bin/sh\nexec cat '" + listingPath.toUtf8() + "'\n");
    script.close();
    script.setPermissions(script.permissions() | QFileDevice::ExeOwner);

    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"XDG_CONFIG_HOME"_s, directory + u"/config"_s);
    environment.insert(u"HOME"_s, directory);
    environment.insert(u"ORRELSENTRY_HERDR_BINARY"_s, herdr);
    environment.insert(u"ORRELSENTRY_AUTOMATION_SOCKET"_s, directory + u"/automation.sock"_s);
    environment.insert(u"ORRELSENTRY_REDUCE_MOTION"_s, u"1"_s);
    environment.remove(u"HERDR_SOCKET_PATH"_s);
    environment.remove(u"HERDR_SESSION"_s);
    return environment;
}

QString claudeApprovalScreen(const QString& command)
{
    return QString(80, u'─')
           + u"\n Bash command\n\n   %1\n   Run one migration step\n\n"
             " Do you want to proceed?\n ❯ 1. Yes\n   2. Yes, and don't ask "
             "again for npm run migrate commands in /tmp/orrel-bench\n   3. No, "
             "and tell Claude what to do differently (esc)\n\n Esc to cancel\n"_s.arg(command);
}
