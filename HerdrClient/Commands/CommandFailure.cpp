#include "HerdrClient/Commands/CommandFailure.h"

using namespace Qt::StringLiterals;

QString CommandFailure::errorDescription() const
{
    switch (kind) {
    case Kind::launchFailed: break;
    case Kind::timedOut:
        return u"Couldn't run %1: it did not finish within %2 seconds and was stopped."_s.arg(
            executable, QString::number(timeoutSeconds));
    }
    return u"Couldn't run "_s + executable + u": "_s + message;
}
