#include "OrrelApp/Platform/ResidentInstance.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>

using namespace Qt::StringLiterals;

namespace {

constexpr int showOverviewTimeoutMilliseconds = 2000;

// What the bus calls. It lives apart so that the claim's own slots stay off the bus.
class ShowOverviewEndpoint : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "dev.orrelsentry.OrrelSentry")

public:
    explicit ShowOverviewEndpoint(InstanceClaiming* owner) : QObject(owner), m_owner(owner) {}

public Q_SLOTS:
    Q_SCRIPTABLE void ShowOverview() { Q_EMIT m_owner->showOverviewRequested(); }

private:
    InstanceClaiming* m_owner;
};

} // namespace

QString ResidentInstance::serviceName()
{
    return u"dev.orrelsentry.OrrelSentry"_s;
}

QString ResidentInstance::objectPath()
{
    return u"/dev/orrelsentry/OrrelSentry"_s;
}

QString ResidentInstance::interfaceName()
{
    return u"dev.orrelsentry.OrrelSentry"_s;
}

ResidentInstance::ResidentInstance(QDBusConnection bus, QObject* parent)
    : InstanceClaiming(parent), m_bus(std::move(bus)), m_endpoint(new ShowOverviewEndpoint(this))
{
}

ResidentInstance::~ResidentInstance()
{
    if (!m_holdsName)
        return;
    m_bus.unregisterObject(objectPath());
    m_bus.unregisterService(serviceName());
}

InstanceClaiming::Claim ResidentInstance::claim()
{
    if (m_holdsName)
        return Claim::claimed;
    if (!m_bus.isConnected() || !m_bus.interface())
        return Claim::unchecked;

    // The object is there before the name, so that a call that follows the name finds it.
    if (!m_bus.registerObject(objectPath(), m_endpoint, QDBusConnection::ExportScriptableSlots)) {
        return Claim::unchecked;
    }
    const auto reply = m_bus.interface()->registerService(
        serviceName(), QDBusConnectionInterface::DontQueueService,
        QDBusConnectionInterface::DontAllowReplacement);
    if (reply.isValid() && reply.value() == QDBusConnectionInterface::ServiceRegistered) {
        m_holdsName = true;
        return Claim::claimed;
    }
    m_bus.unregisterObject(objectPath());
    if (!reply.isValid())
        return Claim::unchecked;

    // Whether or not the resident program answers in time, it holds the name: this one ends.
    auto call = QDBusMessage::createMethodCall(serviceName(), objectPath(), interfaceName(),
                                               u"ShowOverview"_s);
    m_bus.call(call, QDBus::Block, showOverviewTimeoutMilliseconds);
    return Claim::anotherRuns;
}

#include "ResidentInstance.moc"
