#pragma once

#include <QObject>

class QSocketNotifier;

// SIGINT and SIGTERM as a Qt signal on the thread that made the watcher, so that a Ctrl-C or a
// `kill` ends the program through its stop order instead of mid-way. The handler only writes the
// signal's number to a socket; everything else happens on the event loop.
//
// One watcher at a time per process. Destroying it puts the handlers back as they were.
class UnixSignalWatcher : public QObject {
    Q_OBJECT

public:
    explicit UnixSignalWatcher(QObject* parent = nullptr);
    ~UnixSignalWatcher() override;

    // False when the socket or the handlers could not be set up; nothing is caught then.
    bool isWatching() const { return m_notifier != nullptr; }

Q_SIGNALS:
    void terminationRequested(int signalNumber);

private:
    void drain();

    QSocketNotifier* m_notifier = nullptr;
};
