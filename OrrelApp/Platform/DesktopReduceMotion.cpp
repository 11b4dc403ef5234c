#include "OrrelApp/Platform/DesktopReduceMotion.h"

#include "HerdrClient/Commands/CommandRunning.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QDir>
#include <QSettings>
#include <QtConcurrent>

using namespace Qt::StringLiterals;

namespace {

const QString portalService = u"org.freedesktop.portal.Desktop"_s;
const QString portalPath = u"/org/freedesktop/portal/desktop"_s;
const QString settingsInterface = u"org.freedesktop.portal.Settings"_s;
const QString gnomeGroup = u"org.gnome.desktop.interface"_s;
const QString gnomeKey = u"enable-animations"_s;
const QString kdeGroup = u"org.kde.kdeglobals.KDE"_s;
const QString kdeKey = u"AnimationDurationFactor"_s;

constexpr int portalTimeoutMilliseconds = 1000;
constexpr double gsettingsTimeoutSeconds = 1.0;

// The portal's Read wraps the value in one variant more than the signature says.
QVariant unwrap(QVariant value)
{
    while (value.metaType() == QMetaType::fromType<QDBusVariant>())
        value = value.value<QDBusVariant>().variant();
    return value;
}

std::optional<bool> gnomeReduces(const QVariant& value)
{
    if (value.typeId() != QMetaType::Bool)
        return std::nullopt;
    return !value.toBool();
}

// KDE keeps the factor as text in its file; the portal may hand it over either way.
std::optional<bool> kdeReduces(const QVariant& value)
{
    bool ok = false;
    const double factor = value.toDouble(&ok);
    if (!ok)
        return std::nullopt;
    return factor <= 0.0;
}

} // namespace

DesktopReduceMotion::DesktopReduceMotion(QDBusConnection bus, CommandRunning& commands,
                                         QProcessEnvironment environment, QObject* parent)
    : ReduceMotionWatching(parent), m_bus(std::move(bus)), m_commands(commands),
      m_environment(std::move(environment))
{
    const QString forced = m_environment.value(QString::fromLatin1(overrideVariable));
    if (forced == "1"_L1 || forced == "0"_L1) {
        m_reduce = forced == "1"_L1;
        return;
    }

    connect(&m_gsettings, &QFutureWatcher<std::optional<bool>>::finished, this, [this] {
        if (const auto reduce = m_gsettings.result()) {
            m_gnomeReduces = *reduce;
            update();
        }
    });

    if (!m_bus.isConnected()) {
        readWithoutPortal();
        return;
    }
    m_bus.connect(portalService, portalPath, settingsInterface, u"SettingChanged"_s, this,
                  SLOT(portalSettingChanged(QDBusMessage)));
    readPortal(Source::gnome);
    readPortal(Source::kde);
}

DesktopReduceMotion::~DesktopReduceMotion()
{
    // The worker uses the command runner and ends within its deadline.
    m_gsettings.waitForFinished();
}

void DesktopReduceMotion::readPortal(Source source)
{
    auto call =
        QDBusMessage::createMethodCall(portalService, portalPath, settingsInterface, u"Read"_s);
    call << (source == Source::gnome ? gnomeGroup : kdeGroup)
         << (source == Source::gnome ? gnomeKey : kdeKey);
    auto* watcher =
        new QDBusPendingCallWatcher(m_bus.asyncCall(call, portalTimeoutMilliseconds), this);
    ++m_portalReadsPending;
    connect(
        watcher, &QDBusPendingCallWatcher::finished, this,
        [this, source](QDBusPendingCallWatcher* finished) { portalAnswered(finished, source); });
}

void DesktopReduceMotion::portalAnswered(QDBusPendingCallWatcher* call, Source source)
{
    call->deleteLater();
    --m_portalReadsPending;
    const QDBusPendingReply<QDBusVariant> reply = *call;
    if (!reply.isError()) {
        const QVariant value = unwrap(reply.value().variant());
        auto& reduces = source == Source::gnome ? m_gnomeReduces : m_kdeReduces;
        reduces = source == Source::gnome ? gnomeReduces(value) : kdeReduces(value);
        m_portalAnswered = true;
    } else if (reply.error().name() == "org.freedesktop.portal.Error.NotFound"_L1) {
        // The portal is there and will tell of changes; this desktop just has no such key.
        m_portalAnswered = true;
    }
    if (m_portalReadsPending > 0)
        return;
    if (m_portalAnswered)
        update();
    else
        readWithoutPortal();
}

void DesktopReduceMotion::portalSettingChanged(const QDBusMessage& message)
{
    const QVariantList arguments = message.arguments();
    if (arguments.size() != 3)
        return;
    const QString group = arguments[0].toString();
    const QString key = arguments[1].toString();
    const QVariant plain = unwrap(arguments[2]);
    if (group == gnomeGroup && key == gnomeKey)
        m_gnomeReduces = gnomeReduces(plain);
    else if (group == kdeGroup && key == kdeKey)
        m_kdeReduces = kdeReduces(plain);
    else
        return;
    update();
}

void DesktopReduceMotion::readWithoutPortal()
{
    if (const auto reduce = kdeGlobalsReduce()) {
        m_kdeReduces = reduce;
        update();
        return;
    }
    // gsettings blocks until it answers, so it runs on a worker.
    CommandRunning* commands = &m_commands;
    m_gsettings.setFuture(QtConcurrent::run([commands]() -> std::optional<bool> {
        const auto result = commands->run(u"gsettings"_s, {u"get"_s, gnomeGroup, gnomeKey},
                                          gsettingsTimeoutSeconds);
        if (!result || result->status != 0)
            return std::nullopt;
        const QByteArray answer = result->standardOutput.trimmed();
        if (answer == "true")
            return false;
        if (answer == "false")
            return true;
        return std::nullopt;
    }));
}

// Read only on a KDE desktop: a file left behind by KDE programs says nothing about another.
std::optional<bool> DesktopReduceMotion::kdeGlobalsReduce() const
{
    if (!m_environment.value(u"XDG_CURRENT_DESKTOP"_s).split(u':').contains(u"KDE"_s))
        return std::nullopt;
    QString configHome = m_environment.value(u"XDG_CONFIG_HOME"_s);
    if (configHome.isEmpty())
        configHome = m_environment.value(u"HOME"_s) + u"/.config"_s;
    const QSettings globals(QDir(configHome).filePath(u"kdeglobals"_s), QSettings::IniFormat);
    const QVariant factor = globals.value(u"KDE/AnimationDurationFactor"_s);
    if (!factor.isValid())
        return std::nullopt;
    return kdeReduces(factor);
}

void DesktopReduceMotion::update()
{
    setReduce(m_gnomeReduces.value_or(false) || m_kdeReduces.value_or(false));
}

void DesktopReduceMotion::setReduce(bool reduce)
{
    if (reduce == m_reduce)
        return;
    m_reduce = reduce;
    Q_EMIT reduceMotionChanged(reduce);
}
