#pragma once

#include <QObject>

// One resident program per user session. The first to start keeps running; one started after it
// hands the wish to see the overview over to the first, and ends.
class InstanceClaiming : public QObject {
    Q_OBJECT

public:
    enum class Claim {
        // This process is the resident one.
        claimed,
        // Another one already runs and was asked to show its overview: end this one.
        anotherRuns,
        // There is no way to find out; run as if alone.
        unchecked,
    };

    using QObject::QObject;

    virtual Claim claim() = 0;

Q_SIGNALS:
    // A later start asked the resident program to show its overview.
    void showOverviewRequested();
};
