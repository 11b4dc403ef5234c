#pragma once

#include "HerdrClient/Sessions/SSHTunnelConfiguration.h"

#include <QString>

// Turns what ssh wrote on standard error into a sentence a person can act on. The text is
// matched without regard to case; the first matching rule wins.
namespace SSHTunnelReasons {

// Why a run of ssh ended, from its last words and its exit status.
QString explain(const QString& standardError, qint32 status, const QString& target);

// Why a run that kept running never answered through the forward in time.
QString readinessFailure(const QString& standardError, const SSHTunnelConfiguration& configuration);

QString invalidTarget(const QString& target);
QString sshNotFound();
QString launchFailed(const QString& message);

} // namespace SSHTunnelReasons
