#include "OrrelApp/Shell/SessionListing.h"

#include "HerdrClient/Wire/Snapshot.h"
#include "OrrelApp/Shell/SnapshotTable.h"

using namespace Qt::StringLiterals;

QCoro::Task<int> listSession(RequestSending& client, QString socketPath, QTextStream& out,
                             QTextStream& err)
{
    const auto result =
        co_await client.request(u"session.snapshot"_s, JSONValue(JSONValue::Object{}));
    if (!result) {
        const RequestFailure& failure = result.error();
        // Only a herdr that was never heard from is asked whether it runs; an answer speaks for
        // itself.
        if (failure.isUnreachable())
            err << "Couldn't reach herdr — is it running?\n"
                << "  socket: " << socketPath << "\n"
                << "  " << failure.errorDescription() << "\n";
        else
            err << failure.errorDescription() << "\n"
                << "  socket: " << socketPath << "\n";
        err.flush();
        co_return 1;
    }
    const auto snapshot = Snapshot::fromResult(*result);
    if (!snapshot) {
        err << "herdr's snapshot could not be read: " << snapshot.error().errorDescription() << "\n"
            << "  socket: " << socketPath << "\n";
        err.flush();
        co_return 1;
    }
    out << formatSnapshotTable(*snapshot);
    out.flush();
    co_return 0;
}
