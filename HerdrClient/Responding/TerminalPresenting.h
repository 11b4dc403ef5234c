#pragma once

#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

// A terminal application that can show herdr. On Linux a profile is recognised by the class of
// its windows and started through its desktop entry, or its executable.
struct TerminalProfile {
    QString id;
    QString displayName;
    QString appName;
    QStringList desktopIDs;    // desktop entries, without ".desktop"
    QStringList windowClasses; // WM_CLASS class or instance names
    QStringList executables;

    static const TerminalProfile ghostty;
    static const TerminalProfile terminal;
    static const TerminalProfile iTerm2;
    static const TerminalProfile kitty;
    static const TerminalProfile wezTerm;
    static const TerminalProfile alacritty;
    static const TerminalProfile warp;
    static const TerminalProfile gnomeTerminal;
    static const TerminalProfile konsole;
    static const TerminalProfile foot;
    static const TerminalProfile xterm;
    static const TerminalProfile tilix;
    static const TerminalProfile ptyxis;

    // Every known profile, in the order automatic detection tries them.
    static const std::vector<TerminalProfile>& supported();
    static std::optional<TerminalProfile> withID(const QString& id);

    bool operator==(const TerminalProfile&) const = default;
};

struct TerminalPresentationFailure {
    enum class Kind { ambiguous, applicationUnavailable, noSupportedTerminalRunning };

    Kind kind = Kind::noSupportedTerminalRunning;
    QStringList appNames; // ambiguous: display names, unique and sorted
    QString appName;      // applicationUnavailable

    static TerminalPresentationFailure ambiguous(QStringList names)
    {
        return {Kind::ambiguous, std::move(names), {}};
    }
    static TerminalPresentationFailure applicationUnavailable(QString name)
    {
        return {Kind::applicationUnavailable, {}, std::move(name)};
    }
    static TerminalPresentationFailure noSupportedTerminalRunning()
    {
        return {Kind::noSupportedTerminalRunning, {}, {}};
    }

    bool operator==(const TerminalPresentationFailure&) const = default;
};

// What bringing the terminal forward came to: the terminal shown, or why none could be.
struct TerminalPresentation {
    std::optional<QString> presentedAppName;
    std::optional<TerminalPresentationFailure> failure;

    static TerminalPresentation presented(QString appName) { return {std::move(appName), {}}; }
    static TerminalPresentation unavailable(TerminalPresentationFailure f)
    {
        return {{}, std::move(f)};
    }

    bool operator==(const TerminalPresentation&) const = default;
};

// Brings the terminal that shows herdr to the front.
class TerminalPresenting {
public:
    virtual ~TerminalPresenting() = default;
    virtual TerminalPresentation present() = 0;
};

// The sentence for a jump whose focus worked but whose terminal could not be shown.
QString jumpFailureMessage(const TerminalPresentationFailure& failure);
