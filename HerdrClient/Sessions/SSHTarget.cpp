#include "HerdrClient/Sessions/SSHTarget.h"

namespace SSHTarget {

bool isValid(const QString& target)
{
    if (target.isEmpty() || target.startsWith(u'-'))
        return false;
    for (const QChar c : target) {
        if (c.isSpace() || c.category() == QChar::Other_Control)
            return false;
    }
    return true;
}

} // namespace SSHTarget
