#pragma once

#include "OrrelApp/Platform/InstanceClaiming.h"

#include <QDBusConnection>

// The claim as a well-known name on the session bus, with an object whose one method shows the
// overview. The bus gives the name to one connection only, so two programs that start at the
// same moment cannot both win.
class ResidentInstance : public InstanceClaiming {
    Q_OBJECT

public:
    static QString serviceName();
    static QString objectPath();
    static QString interfaceName();

    explicit ResidentInstance(QDBusConnection bus, QObject* parent = nullptr);
    // Gives the name back, so that a program started next becomes the resident one.
    ~ResidentInstance() override;

    // Blocks for at most one short call to the resident program when there is one.
    Claim claim() override;

private:
    QDBusConnection m_bus;
    QObject* m_endpoint;
    bool m_holdsName = false;
};
