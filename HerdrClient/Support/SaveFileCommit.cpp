#include "HerdrClient/Support/SaveFileCommit.h"

std::expected<void, QString> commitSaveFile(QSaveFile& file)
{
    if (!file.flush() || file.error() != QFileDevice::NoError) {
        const QString reason = file.errorString();
        file.cancelWriting();
        return std::unexpected(reason);
    }
    if (!file.commit())
        return std::unexpected(file.errorString());
    return {};
}
