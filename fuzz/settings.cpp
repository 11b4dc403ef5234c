// The user's settings file, read by the INI store and turned into the program's settings, with
// everything derived from them that the program reads at start.
#include "FuzzSupport.h"

#include "OrrelApp/Platform/IniSettingsStore.h"
#include "OrrelApp/Shell/Settings.h"

#include <QDateTime>
#include <QFile>
#include <QTemporaryDir>

#include <memory>

namespace {

std::unique_ptr<QTemporaryDir> folder;
qint64 inputNumber = 0;

void readSettings(const QString& path)
{
    IniSettingsStore store(path);
    (void)store.keys();
    Settings settings(store);
    (void)settings.resolvedShortcuts();
    (void)settings.agentHotKeyChords();
    (void)settings.terminalProfiles();
    (void)settings.terminalSelection();
    const Environment environment{{QStringLiteral("HOME"), QStringLiteral("/nonexistent")}};
    (void)Settings::resolveSession(settings.socketPathOverride(), settings.sessionName(),
                                   environment);
    for (const auto& [id, record] : settings.shortcutOverrides())
        (void)id;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    FuzzSupport::makeDeterministic();
    folder = std::make_unique<QTemporaryDir>();
    FUZZ_CHECK(folder->isValid());
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    // QSettings keeps what it read of a path until the file's size or time changes, so every
    // input is given a time of its own.
    const QString path = folder->filePath(QStringLiteral("orrelsentry.conf"));
    {
        QFile file(path);
        FUZZ_CHECK(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        FUZZ_CHECK(file.write(reinterpret_cast<const char*>(data), qint64(size)) == qint64(size));
        FUZZ_CHECK(file.setFileTime(QDateTime::fromSecsSinceEpoch(++inputNumber),
                                    QFileDevice::FileModificationTime));
    }
    readSettings(path);
    return 0;
}
