#include "OrrelApp/Shell/Settings.h"

#include "HerdrClient/Wire/SocketPath.h"
#include "OrrelApp/Platform/SettingsStoring.h"

using namespace Qt::StringLiterals;

namespace {

using Stored = std::optional<QVariant>;

// An INI file holds a boolean as the text "true" or "false".
bool readBool(const Stored& stored, bool fallback)
{
    if (!stored)
        return fallback;
    if (stored->typeId() == QMetaType::Bool)
        return stored->toBool();
    if (stored->typeId() == QMetaType::QString) {
        const QString text = stored->toString();
        if (text == u"true"_s || text == u"false"_s)
            return text == u"true"_s;
    }
    return fallback;
}

std::optional<QString> readString(const Stored& stored)
{
    if (!stored || stored->typeId() != QMetaType::QString)
        return std::nullopt;
    return stored->toString();
}

// An INI file holds a list of one as its element, and an empty list as an invalid value.
QStringList readStringList(const Stored& stored)
{
    if (!stored || !stored->isValid())
        return {};
    switch (stored->typeId()) {
    case QMetaType::QStringList: return stored->toStringList();
    case QMetaType::QString: return {stored->toString()};
    case QMetaType::QVariantList: {
        QStringList names;
        for (const auto& element : stored->toList()) {
            if (element.typeId() != QMetaType::QString)
                return {};
            names << element.toString();
        }
        return names;
    }
    default: return {};
    }
}

std::optional<QByteArray> readData(const Stored& stored)
{
    if (!stored || stored->typeId() != QMetaType::QByteArray)
        return std::nullopt;
    return stored->toByteArray();
}

template <class T>
std::optional<T> decodeJSON(const std::optional<QByteArray>& data)
{
    if (!data)
        return std::nullopt;
    const auto json = JSONValue::parse(*data);
    if (!json)
        return std::nullopt;
    auto decoded = JSONCoding<T>::decode(*json);
    if (!decoded)
        return std::nullopt;
    return std::move(*decoded);
}

template <class E>
E readEnum(const Stored& stored, std::optional<E> (*fromString)(const QString&), E fallback)
{
    const auto text = readString(stored);
    return text ? fromString(*text).value_or(fallback) : fallback;
}

QVariant optionalValue(const std::optional<QString>& value)
{
    return value ? QVariant(*value) : QVariant();
}

template <class T>
QByteArray encodeJSON(const T& value)
{
    return JSONCoding<T>::encode(value).serialized();
}

bool nonEmpty(const std::optional<QString>& text)
{
    return text && !text->isEmpty();
}

} // namespace

Settings::Settings(SettingsStoring& store, QObject* parent) : QObject(parent), m_store(store)
{
    auto stored = [&](const QString& key) { return m_store.value(key); };
    m_socketPathOverride = readString(stored(u"socketPathOverride"_s));
    m_sessionName = readString(stored(u"sessionName"_s));
    m_remoteHosts =
        decodeJSON<std::vector<RemoteHostConfiguration>>(readData(stored(u"remoteHosts"_s)))
            .value_or(std::vector<RemoteHostConfiguration>{});
    m_autoExpandOnDone = readBool(stored(u"autoExpandOnDone"_s), false);
    m_soundEnabled = readBool(stored(u"soundEnabled"_s), true);
    m_soundPack = readString(stored(u"soundPack"_s)).value_or(u"default"_s);
    m_respectDND = readBool(stored(u"respectDND"_s), true);
    m_notificationsEnabled = readBool(stored(u"notificationsEnabled"_s), true);
    m_agentGlobalHotkeysEnabled = readBool(stored(u"agentGlobalHotkeysEnabled"_s), true);
    m_hotkeyModifier = readEnum(stored(u"hotkeyModifier"_s), &hotkeyModifierFromString,
                                HotkeyModifier::controlOption);
    // Older settings hold the overrides as a JSON string rather than data.
    const auto overrides = stored(u"appShortcutOverrides"_s);
    const auto overridesText = readString(overrides);
    m_shortcutOverrides =
        decodeJSON<ShortcutOverrides>(overridesText ? overridesText->toUtf8() : readData(overrides))
            .value_or(ShortcutOverrides{});
    m_displayPlacement = readEnum(stored(u"displayPlacement"_s), &displayPlacementFromString,
                                  DisplayPlacement::orrelDisplay);
    m_preferredTerminal = readEnum(stored(u"preferredTerminal"_s), &preferredTerminalFromString,
                                   PreferredTerminal::automatic);
    m_customTerminalAppName = readString(stored(u"customTerminalAppName"_s)).value_or(QString());
    m_customTerminalBundleID = readString(stored(u"customTerminalBundleID"_s)).value_or(QString());
    m_compactIndicatorMode =
        readEnum(stored(u"compactIndicatorMode"_s), &compactIndicatorModeFromString,
                 CompactIndicatorMode::revealOnHover);
    const auto shortcutData = readData(stored(u"screenSaverShortcut"_s));
    m_screenSaverShortcut = decodeJSON<GlobalKeyboardShortcut>(shortcutData);
    m_screenSaveStyle = readEnum(stored(u"screenSaveStyle"_s), &screenSaveStyleIDFromString,
                                 ScreenSaveStyleID::classic);
    m_launchAtLogin = readBool(stored(u"launchAtLogin"_s), false);
    // A shortcut recorded before the switch existed meant the extra was wanted.
    m_screenSaverExtraEnabled =
        readBool(stored(u"screenSaverExtraEnabled"_s), shortcutData.has_value());
    m_ignoredSessionNames = readStringList(stored(u"ignoredSessionNames"_s));
    m_setupCompleted = readBool(stored(u"setupCompleted"_s), false);
    m_accessibilityUpgradeNoticeShown =
        readBool(stored(u"accessibilityUpgradeNoticeShown"_s), false);
    m_automaticUpdateChecks = readBool(stored(u"automaticUpdateChecks"_s), true);
    if (const auto date = stored(u"lastUpdateCheckAt"_s);
        date && date->typeId() == QMetaType::QDateTime && date->toDateTime().isValid())
        m_lastUpdateCheckAt = date->toDateTime();
    m_skippedUpdateVersion = readString(stored(u"skippedUpdateVersion"_s));
}

template <class T>
void Settings::assign(const QString& key, const QVariant& stored, T& field, const T& value,
                      void (Settings::*changed)())
{
    if (stored.isValid())
        m_store.setValue(key, stored);
    else
        m_store.remove(key);
    keep(field, value, changed);
}

template <class T>
void Settings::keep(T& field, const T& value, void (Settings::*changed)())
{
    if (field == value)
        return;
    field = value;
    Q_EMIT(this->*changed)();
}

void Settings::setSocketPathOverride(const std::optional<QString>& value)
{
    assign(u"socketPathOverride"_s, optionalValue(value), m_socketPathOverride, value,
           &Settings::socketPathOverrideChanged);
}

void Settings::setSessionName(const std::optional<QString>& value)
{
    assign(u"sessionName"_s, optionalValue(value), m_sessionName, value,
           &Settings::sessionNameChanged);
}

void Settings::setRemoteHosts(const std::vector<RemoteHostConfiguration>& value)
{
    assign(u"remoteHosts"_s, encodeJSON(value), m_remoteHosts, value,
           &Settings::remoteHostsChanged);
}

void Settings::setAutoExpandOnDone(bool value)
{
    assign(u"autoExpandOnDone"_s, value, m_autoExpandOnDone, value,
           &Settings::autoExpandOnDoneChanged);
}

void Settings::setSoundEnabled(bool value)
{
    assign(u"soundEnabled"_s, value, m_soundEnabled, value, &Settings::soundEnabledChanged);
}

void Settings::setSoundPack(const QString& value)
{
    assign(u"soundPack"_s, value, m_soundPack, value, &Settings::soundPackChanged);
}

void Settings::setRespectDND(bool value)
{
    assign(u"respectDND"_s, value, m_respectDND, value, &Settings::respectDNDChanged);
}

void Settings::setNotificationsEnabled(bool value)
{
    assign(u"notificationsEnabled"_s, value, m_notificationsEnabled, value,
           &Settings::notificationsEnabledChanged);
}

void Settings::setAgentGlobalHotkeysEnabled(bool value)
{
    assign(u"agentGlobalHotkeysEnabled"_s, value, m_agentGlobalHotkeysEnabled, value,
           &Settings::agentGlobalHotkeysEnabledChanged);
}

void Settings::setHotkeyModifier(HotkeyModifier value)
{
    assign(u"hotkeyModifier"_s, toString(value), m_hotkeyModifier, value,
           &Settings::hotkeyModifierChanged);
}

void Settings::setShortcutOverrides(const ShortcutOverrides& value)
{
    assign(u"appShortcutOverrides"_s, encodeJSON(value), m_shortcutOverrides, value,
           &Settings::shortcutOverridesChanged);
}

void Settings::setDisplayPlacement(DisplayPlacement value)
{
    assign(u"displayPlacement"_s, toString(value), m_displayPlacement, value,
           &Settings::displayPlacementChanged);
}

void Settings::setPreferredTerminal(PreferredTerminal value)
{
    assign(u"preferredTerminal"_s, toString(value), m_preferredTerminal, value,
           &Settings::preferredTerminalChanged);
}

void Settings::setCustomTerminalAppName(const QString& value)
{
    assign(u"customTerminalAppName"_s, value, m_customTerminalAppName, value,
           &Settings::customTerminalAppNameChanged);
}

void Settings::setCustomTerminalBundleID(const QString& value)
{
    assign(u"customTerminalBundleID"_s, value, m_customTerminalBundleID, value,
           &Settings::customTerminalBundleIDChanged);
}

void Settings::setCompactIndicatorMode(CompactIndicatorMode value)
{
    assign(u"compactIndicatorMode"_s, toString(value), m_compactIndicatorMode, value,
           &Settings::compactIndicatorModeChanged);
}

void Settings::setScreenSaverShortcut(const std::optional<GlobalKeyboardShortcut>& value)
{
    assign(u"screenSaverShortcut"_s, value ? QVariant(encodeJSON(*value)) : QVariant(),
           m_screenSaverShortcut, value, &Settings::screenSaverShortcutChanged);
}

void Settings::setScreenSaveStyle(ScreenSaveStyleID value)
{
    assign(u"screenSaveStyle"_s, toString(value), m_screenSaveStyle, value,
           &Settings::screenSaveStyleChanged);
}

void Settings::setLaunchAtLogin(bool value)
{
    assign(u"launchAtLogin"_s, value, m_launchAtLogin, value, &Settings::launchAtLoginChanged);
}

void Settings::setScreenSaverExtraEnabled(bool value)
{
    assign(u"screenSaverExtraEnabled"_s, value, m_screenSaverExtraEnabled, value,
           &Settings::screenSaverExtraEnabledChanged);
}

void Settings::setIgnoredSessionNames(const QStringList& value)
{
    assign(u"ignoredSessionNames"_s, value, m_ignoredSessionNames, value,
           &Settings::ignoredSessionNamesChanged);
}

void Settings::setSetupCompleted(bool value)
{
    assign(u"setupCompleted"_s, value, m_setupCompleted, value, &Settings::setupCompletedChanged);
}

void Settings::setAccessibilityUpgradeNoticeShown(bool value)
{
    assign(u"accessibilityUpgradeNoticeShown"_s, value, m_accessibilityUpgradeNoticeShown, value,
           &Settings::accessibilityUpgradeNoticeShownChanged);
}

void Settings::setAutomaticUpdateChecks(bool value)
{
    assign(u"automaticUpdateChecks"_s, value, m_automaticUpdateChecks, value,
           &Settings::automaticUpdateChecksChanged);
}

void Settings::setLastUpdateCheckAt(const std::optional<QDateTime>& value)
{
    assign(u"lastUpdateCheckAt"_s, value ? QVariant(*value) : QVariant(), m_lastUpdateCheckAt,
           value, &Settings::lastUpdateCheckAtChanged);
}

void Settings::setSkippedUpdateVersion(const std::optional<QString>& value)
{
    assign(u"skippedUpdateVersion"_s, optionalValue(value), m_skippedUpdateVersion, value,
           &Settings::skippedUpdateVersionChanged);
}

void Settings::setIsCapturingShortcut(bool value)
{
    keep(m_isCapturingShortcut, value, &Settings::isCapturingShortcutChanged);
}

void Settings::setShortcutFeedback(const std::optional<QString>& value)
{
    keep(m_shortcutFeedback, value, &Settings::shortcutFeedbackChanged);
}

void Settings::setAgentRegistrationProblems(const std::map<QString, QString>& value)
{
    keep(m_agentRegistrationProblems, value, &Settings::agentRegistrationProblemsChanged);
}

std::optional<ResolvedSession> Settings::resolvedSession() const
{
    return resolveSession(m_socketPathOverride, m_sessionName);
}

std::optional<ResolvedSession> Settings::resolveSession(
    const std::optional<QString>& socketPathOverride, const std::optional<QString>& sessionName,
    const Environment& environment)
{
    QString name;
    QString path;
    if (nonEmpty(socketPathOverride)) {
        path = *socketPathOverride;
        if (nonEmpty(sessionName))
            name = *sessionName;
        else
            name = path == SocketPath::defaultPath(environment)
                       ? SessionDescriptor::defaultSessionName
                       : u"custom"_s;
    } else if (nonEmpty(sessionName)) {
        name = *sessionName;
        path = SocketPath::forSession(name, environment);
    } else {
        return std::nullopt;
    }
    SessionDescriptor descriptor{SessionDescriptor::Kind::local(name), path,
                                 name == SessionDescriptor::defaultSessionName, true};
    return ResolvedSession{std::move(descriptor), HerdrEndpoint::unixSocket(path)};
}

TerminalProfile Settings::customTerminalProfile() const
{
    TerminalProfile profile;
    profile.id = u"custom"_s;
    profile.appName = m_customTerminalAppName;
    profile.displayName =
        m_customTerminalAppName.isEmpty() ? u"Custom terminal"_s : m_customTerminalAppName;
    if (!m_customTerminalBundleID.isEmpty()) {
        profile.desktopIDs = {m_customTerminalBundleID};
        profile.windowClasses = {m_customTerminalBundleID};
    }
    return profile;
}

std::vector<TerminalProfile> Settings::terminalProfiles() const
{
    auto profiles = TerminalProfile::supported();
    if (m_preferredTerminal == PreferredTerminal::custom)
        profiles.push_back(customTerminalProfile());
    return profiles;
}

TerminalActivator::Selection Settings::terminalSelection() const
{
    using P = PreferredTerminal;
    auto preferred = [](const TerminalProfile& profile) {
        return TerminalActivator::Preferred{profile};
    };
    switch (m_preferredTerminal) {
    case P::automatic: return TerminalActivator::Automatic{terminalProfiles()};
    case P::custom: return preferred(customTerminalProfile());
    case P::ghostty: return preferred(TerminalProfile::ghostty);
    case P::terminal: return preferred(TerminalProfile::terminal);
    case P::iTerm2: return preferred(TerminalProfile::iTerm2);
    case P::kitty: return preferred(TerminalProfile::kitty);
    case P::wezTerm: return preferred(TerminalProfile::wezTerm);
    case P::alacritty: return preferred(TerminalProfile::alacritty);
    case P::warp: return preferred(TerminalProfile::warp);
    case P::gnomeTerminal: return preferred(TerminalProfile::gnomeTerminal);
    case P::konsole: return preferred(TerminalProfile::konsole);
    case P::foot: return preferred(TerminalProfile::foot);
    case P::xterm: return preferred(TerminalProfile::xterm);
    case P::tilix: return preferred(TerminalProfile::tilix);
    case P::ptyxis: return preferred(TerminalProfile::ptyxis);
    }
    return TerminalActivator::Automatic{terminalProfiles()};
}
