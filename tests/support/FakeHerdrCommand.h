#pragma once

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

#include <vector>

// A `herdr` executable that answers `session list --json` the way real herdr prints it, from
// files the test rewrites between runs: a listing, garbage, a failure, or no answer at all. The
// folder it lies in is meant to go first on a PATH, here or on the far side of an sshd.
class FakeHerdrCommand {
public:
    struct Session {
        QString name;
        QString socketPath;
        bool running = true;
        bool isDefault = false;
    };

    FakeHerdrCommand();

    bool isValid() const { return m_directory.isValid(); }
    QString directory() const { return m_directory.path(); }
    QString path() const;

    // herdr's one line: the default entry first whether or not it runs, the others by name.
    void list(std::vector<Session> sessions);
    void printGarbage(const QByteArray& text);
    // Exits with `status` after writing `message` on standard error.
    void fail(int status, const QByteArray& message);
    // Sleeps until it is killed.
    void hang();
    // How many times it was run, with any arguments.
    int runCount() const;

private:
    void setMode(const QByteArray& mode);
    void write(const QString& name, const QByteArray& contents) const;

    QTemporaryDir m_directory;
};
