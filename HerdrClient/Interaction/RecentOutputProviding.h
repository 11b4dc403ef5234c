#pragma once

#include "HerdrClient/Wire/HerdrError.h"

#include <QCoroTask>
#include <QString>

#include <expected>

using RecentOutputResult = std::expected<QString, RequestFailure>;

// Anything that gives the last lines a pane printed. A read may outlive the provider: an
// implementation takes what it needs before it first suspends.
class RecentOutputProviding {
public:
    virtual ~RecentOutputProviding() = default;

    virtual QCoro::Task<RecentOutputResult> recentOutput(QString paneID) = 0;
};
