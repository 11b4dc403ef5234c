#pragma once

#include "HerdrClient/Responding/TerminalActivator.h"
#include "HerdrClient/Sessions/RemoteHostConfiguration.h"
#include "HerdrClient/Sessions/ResolvedSession.h"
#include "HerdrClient/Support/Environment.h"
#include "OrrelApp/Alerts/AgentHotKey.h"
#include "OrrelApp/Alerts/GlobalKeyboardShortcut.h"
#include "OrrelApp/Alerts/ShortcutOverrideRecord.h"
#include "OrrelApp/Shell/CompactIndicatorMode.h"
#include "OrrelApp/Shell/SettingsEnums.h"

#include <QDateTime>
#include <QObject>
#include <QStringList>

#include <map>
#include <optional>
#include <vector>

class SettingsStoring;

// The user's preferences. Every stored field is read once here and written through at once by
// its setter; a setter notifies only when the value changed. A stored value that cannot be read
// (another type, an unknown name, broken JSON) reads as the default and stays in the store until
// that field is written again.
class Settings : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool autoExpandOnDone READ autoExpandOnDone WRITE setAutoExpandOnDone NOTIFY
                   autoExpandOnDoneChanged)
    Q_PROPERTY(bool soundEnabled READ soundEnabled WRITE setSoundEnabled NOTIFY soundEnabledChanged)
    Q_PROPERTY(QString soundPack READ soundPack WRITE setSoundPack NOTIFY soundPackChanged)
    Q_PROPERTY(bool respectDND READ respectDND WRITE setRespectDND NOTIFY respectDNDChanged)
    Q_PROPERTY(bool notificationsEnabled READ notificationsEnabled WRITE setNotificationsEnabled
                   NOTIFY notificationsEnabledChanged)
    Q_PROPERTY(bool agentGlobalHotkeysEnabled READ agentGlobalHotkeysEnabled WRITE
                   setAgentGlobalHotkeysEnabled NOTIFY agentGlobalHotkeysEnabledChanged)
    Q_PROPERTY(QString customTerminalAppName READ customTerminalAppName WRITE
                   setCustomTerminalAppName NOTIFY customTerminalAppNameChanged)
    Q_PROPERTY(QString customTerminalBundleID READ customTerminalBundleID WRITE
                   setCustomTerminalBundleID NOTIFY customTerminalBundleIDChanged)
    Q_PROPERTY(
        bool launchAtLogin READ launchAtLogin WRITE setLaunchAtLogin NOTIFY launchAtLoginChanged)
    Q_PROPERTY(bool screenSaverExtraEnabled READ screenSaverExtraEnabled WRITE
                   setScreenSaverExtraEnabled NOTIFY screenSaverExtraEnabledChanged)
    Q_PROPERTY(QStringList ignoredSessionNames READ ignoredSessionNames WRITE setIgnoredSessionNames
                   NOTIFY ignoredSessionNamesChanged)
    Q_PROPERTY(bool setupCompleted READ setupCompleted WRITE setSetupCompleted NOTIFY
                   setupCompletedChanged)
    Q_PROPERTY(bool automaticUpdateChecks READ automaticUpdateChecks WRITE setAutomaticUpdateChecks
                   NOTIFY automaticUpdateChecksChanged)
    Q_PROPERTY(bool isCapturingShortcut READ isCapturingShortcut WRITE setIsCapturingShortcut NOTIFY
                   isCapturingShortcutChanged)

public:
    using ShortcutOverrides = std::map<QString, ShortcutOverrideRecord>;

    // The store must outlive the settings.
    explicit Settings(SettingsStoring& store, QObject* parent = nullptr);

    std::optional<QString> socketPathOverride() const { return m_socketPathOverride; }
    std::optional<QString> sessionName() const { return m_sessionName; }
    const std::vector<RemoteHostConfiguration>& remoteHosts() const { return m_remoteHosts; }
    bool autoExpandOnDone() const { return m_autoExpandOnDone; }
    bool soundEnabled() const { return m_soundEnabled; }
    QString soundPack() const { return m_soundPack; }
    bool respectDND() const { return m_respectDND; }
    bool notificationsEnabled() const { return m_notificationsEnabled; }
    bool agentGlobalHotkeysEnabled() const { return m_agentGlobalHotkeysEnabled; }
    HotkeyModifier hotkeyModifier() const { return m_hotkeyModifier; }
    const ShortcutOverrides& shortcutOverrides() const { return m_shortcutOverrides; }
    DisplayPlacement displayPlacement() const { return m_displayPlacement; }
    PreferredTerminal preferredTerminal() const { return m_preferredTerminal; }
    QString customTerminalAppName() const { return m_customTerminalAppName; }
    QString customTerminalBundleID() const { return m_customTerminalBundleID; }
    CompactIndicatorMode compactIndicatorMode() const { return m_compactIndicatorMode; }
    std::optional<GlobalKeyboardShortcut> screenSaverShortcut() const
    {
        return m_screenSaverShortcut;
    }
    ScreenSaveStyleID screenSaveStyle() const { return m_screenSaveStyle; }
    bool launchAtLogin() const { return m_launchAtLogin; }
    bool screenSaverExtraEnabled() const { return m_screenSaverExtraEnabled; }
    QStringList ignoredSessionNames() const { return m_ignoredSessionNames; }
    bool setupCompleted() const { return m_setupCompleted; }
    bool accessibilityUpgradeNoticeShown() const { return m_accessibilityUpgradeNoticeShown; }
    bool automaticUpdateChecks() const { return m_automaticUpdateChecks; }
    std::optional<QDateTime> lastUpdateCheckAt() const { return m_lastUpdateCheckAt; }
    std::optional<QString> skippedUpdateVersion() const { return m_skippedUpdateVersion; }

    // Kept in memory only.
    bool isCapturingShortcut() const { return m_isCapturingShortcut; }
    std::optional<QString> shortcutFeedback() const { return m_shortcutFeedback; }
    const std::map<QString, QString>& agentRegistrationProblems() const
    {
        return m_agentRegistrationProblems;
    }

    // An absent optional removes its key.
    void setSocketPathOverride(const std::optional<QString>& value);
    void setSessionName(const std::optional<QString>& value);
    void setRemoteHosts(const std::vector<RemoteHostConfiguration>& value);
    void setAutoExpandOnDone(bool value);
    void setSoundEnabled(bool value);
    void setSoundPack(const QString& value);
    void setRespectDND(bool value);
    void setNotificationsEnabled(bool value);
    void setAgentGlobalHotkeysEnabled(bool value);
    void setHotkeyModifier(HotkeyModifier value);
    void setShortcutOverrides(const ShortcutOverrides& value);
    void setDisplayPlacement(DisplayPlacement value);
    void setPreferredTerminal(PreferredTerminal value);
    void setCustomTerminalAppName(const QString& value);
    void setCustomTerminalBundleID(const QString& value);
    void setCompactIndicatorMode(CompactIndicatorMode value);
    void setScreenSaverShortcut(const std::optional<GlobalKeyboardShortcut>& value);
    void setScreenSaveStyle(ScreenSaveStyleID value);
    void setLaunchAtLogin(bool value);
    void setScreenSaverExtraEnabled(bool value);
    void setIgnoredSessionNames(const QStringList& value);
    void setSetupCompleted(bool value);
    void setAccessibilityUpgradeNoticeShown(bool value);
    void setAutomaticUpdateChecks(bool value);
    void setLastUpdateCheckAt(const std::optional<QDateTime>& value);
    void setSkippedUpdateVersion(const std::optional<QString>& value);

    void setIsCapturingShortcut(bool value);
    void setShortcutFeedback(const std::optional<QString>& value);
    void setAgentRegistrationProblems(const std::map<QString, QString>& value);

    // The one session to watch instead of discovering them: a socket path given by the user, or
    // a session named by the user. Empty texts count as absent.
    std::optional<ResolvedSession> resolvedSession() const;
    // The same rules for a path and a name given some other way, as on a command line.
    static std::optional<ResolvedSession> resolveSession(
        const std::optional<QString>& socketPathOverride, const std::optional<QString>& sessionName,
        const Environment& environment = processEnvironment());

    // The terminal a jump brings forward, and the profiles automatic detection looks for. On
    // Linux the custom "bundle id" holds a desktop id or a window class.
    TerminalActivator::Selection terminalSelection() const;
    std::vector<TerminalProfile> terminalProfiles() const;
    TerminalProfile customTerminalProfile() const;

    // --- Shortcuts: the catalogue's defaults with the user's overrides.
    std::map<AppShortcutID, ResolvedShortcut> resolvedShortcuts() const;
    ResolvedShortcut binding(AppShortcutID id) const;
    // The agent chords to hold while a card waits, in catalogue order; disabled and duplicate
    // ones left out.
    std::vector<AgentHotKeyChord> agentHotKeyChords() const;
    // The screen saver's chord lives in `screenSaverShortcut`, where its registrar reads it;
    // every other case in `shortcutOverrides`.
    void assign(AppShortcutID id, const GlobalKeyboardShortcut& shortcut);
    void disable(AppShortcutID id);
    void resetShortcut(AppShortcutID id);
    // "Ctrl+Alt+Y", or empty when the case has no key.
    QString shortcutLabel(AppShortcutID id) const;

Q_SIGNALS:
    void socketPathOverrideChanged();
    void sessionNameChanged();
    void remoteHostsChanged();
    void autoExpandOnDoneChanged();
    void soundEnabledChanged();
    void soundPackChanged();
    void respectDNDChanged();
    void notificationsEnabledChanged();
    void agentGlobalHotkeysEnabledChanged();
    void hotkeyModifierChanged();
    void shortcutOverridesChanged();
    void displayPlacementChanged();
    void preferredTerminalChanged();
    void customTerminalAppNameChanged();
    void customTerminalBundleIDChanged();
    void compactIndicatorModeChanged();
    void screenSaverShortcutChanged();
    void screenSaveStyleChanged();
    void launchAtLoginChanged();
    void screenSaverExtraEnabledChanged();
    void ignoredSessionNamesChanged();
    void setupCompletedChanged();
    void accessibilityUpgradeNoticeShownChanged();
    void automaticUpdateChecksChanged();
    void lastUpdateCheckAtChanged();
    void skippedUpdateVersionChanged();
    void isCapturingShortcutChanged();
    void shortcutFeedbackChanged();
    void agentRegistrationProblemsChanged();

private:
    // Stores `stored` under `key` (an invalid QVariant removes the key), then takes `value` and
    // emits `changed` when it differs from `field`.
    template <class T>
    void assign(const QString& key, const QVariant& stored, T& field, const T& value,
                void (Settings::*changed)());
    template <class T>
    void keep(T& field, const T& value, void (Settings::*changed)());

    SettingsStoring& m_store;

    std::optional<QString> m_socketPathOverride;
    std::optional<QString> m_sessionName;
    std::vector<RemoteHostConfiguration> m_remoteHosts;
    bool m_autoExpandOnDone = false;
    bool m_soundEnabled = true;
    QString m_soundPack;
    bool m_respectDND = true;
    bool m_notificationsEnabled = true;
    bool m_agentGlobalHotkeysEnabled = true;
    HotkeyModifier m_hotkeyModifier = HotkeyModifier::controlOption;
    ShortcutOverrides m_shortcutOverrides;
    DisplayPlacement m_displayPlacement = DisplayPlacement::orrelDisplay;
    PreferredTerminal m_preferredTerminal = PreferredTerminal::automatic;
    QString m_customTerminalAppName;
    QString m_customTerminalBundleID;
    CompactIndicatorMode m_compactIndicatorMode = CompactIndicatorMode::revealOnHover;
    std::optional<GlobalKeyboardShortcut> m_screenSaverShortcut;
    ScreenSaveStyleID m_screenSaveStyle = ScreenSaveStyleID::classic;
    bool m_launchAtLogin = false;
    bool m_screenSaverExtraEnabled = false;
    QStringList m_ignoredSessionNames;
    bool m_setupCompleted = false;
    bool m_accessibilityUpgradeNoticeShown = false;
    bool m_automaticUpdateChecks = true;
    std::optional<QDateTime> m_lastUpdateCheckAt;
    std::optional<QString> m_skippedUpdateVersion;

    bool m_isCapturingShortcut = false;
    std::optional<QString> m_shortcutFeedback;
    std::map<QString, QString> m_agentRegistrationProblems;
};
