#include "HerdrClient/Attention/EscalationAnswer.h"

using namespace Qt::StringLiterals;

QString EscalationAnswer::message(const QString& questionID,
                                  const std::optional<QString>& workerTab,
                                  const QString& workerPane, const QString& answer)
{
    const QString worker = workerTab && !workerTab->isEmpty() ? *workerTab : workerPane;
    return u"[orrel] Answer for escalated question "_s + questionID + u" from worker "_s + worker
           + u" ("_s + workerPane + u"): "_s + answer.simplified();
}
