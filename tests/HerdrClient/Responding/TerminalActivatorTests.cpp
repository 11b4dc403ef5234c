#include "HerdrClient/Responding/TerminalActivator.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// A window system held in memory: what the activator asked for is recorded.
class FakeDesktop : public DesktopWindowControlling {
public:
    std::vector<RunningWindow> open;
    std::optional<std::uint32_t> active;
    QStringList installedEntries;
    QStringList installedExecutables;
    std::vector<std::uint32_t> activated;
    QStringList launched;

    std::vector<RunningWindow> windows() override { return open; }
    std::optional<std::uint32_t> activeWindow() override { return active; }
    bool activate(const RunningWindow& w) override
    {
        activated.push_back(w.windowID);
        return true;
    }
    bool launchDesktopEntry(const QString& id) override
    {
        if (!installedEntries.contains(id))
            return false;
        launched << id;
        return true;
    }
    bool launchExecutable(const QString& executable) override
    {
        if (!installedExecutables.contains(executable))
            return false;
        launched << executable;
        return true;
    }
};

TEST(TerminalActivator, PreferredTerminalIsRaisedWhenRunningAndStartedOtherwise)
{
    FakeDesktop desktop;
    desktop.installedExecutables = {u"kitty"_s};
    TerminalActivator kitty(TerminalActivator::Preferred{TerminalProfile::kitty}, desktop);
    EXPECT_EQ(kitty.present(), TerminalPresentation::presented(u"kitty"_s));
    // Not running: started, first through a desktop entry that is missing, then its executable.
    EXPECT_EQ(desktop.launched, QStringList{u"kitty"_s});
    EXPECT_TRUE(desktop.activated.empty());

    desktop.launched.clear();
    desktop.open = {{7, 100, u"kitty"_s, u"kitty"_s, u"kitty"_s}};
    EXPECT_EQ(kitty.present(), TerminalPresentation::presented(u"kitty"_s));
    EXPECT_EQ(desktop.activated, std::vector<std::uint32_t>{7});
    EXPECT_TRUE(desktop.launched.isEmpty()) << "a running terminal is not started twice";

    TerminalActivator konsole(TerminalActivator::Preferred{TerminalProfile::konsole}, desktop);
    EXPECT_EQ(konsole.present(),
              TerminalPresentation::unavailable(
                  TerminalPresentationFailure::applicationUnavailable(u"Konsole"_s)));
}

TEST(TerminalActivator, AutomaticChoosesOnlyWhenTheChoiceIsClear)
{
    FakeDesktop desktop;
    TerminalActivator automatic(TerminalActivator::Automatic{}, desktop);
    EXPECT_EQ(automatic.present(), TerminalPresentation::unavailable(
                                       TerminalPresentationFailure::noSupportedTerminalRunning()));

    // Matched by its executable alone, since the class says nothing; no process id is known.
    desktop.open = {{1, 0, u"x"_s, u"Unknown"_s, u"alacritty"_s},
                    {2, 11, u"browser"_s, u"Firefox"_s, u"firefox"_s}};
    EXPECT_EQ(automatic.present(), TerminalPresentation::presented(u"Alacritty"_s));
    EXPECT_EQ(desktop.activated, std::vector<std::uint32_t>{1});

    desktop.activated.clear();
    desktop.open.push_back({3, 12, u"konsole"_s, u"konsole"_s, u"konsole"_s});
    desktop.open.push_back({4, 12, u"konsole"_s, u"konsole"_s, u"konsole"_s});
    desktop.active = 2;
    EXPECT_EQ(automatic.present(),
              TerminalPresentation::unavailable(
                  TerminalPresentationFailure::ambiguous({u"Alacritty"_s, u"Konsole"_s})));
    EXPECT_TRUE(desktop.activated.empty());
    desktop.active = 1;
    EXPECT_EQ(automatic.present(), TerminalPresentation::presented(u"Alacritty"_s));
    EXPECT_EQ(desktop.activated, std::vector<std::uint32_t>{1});

    desktop.activated.clear();
    // Another window of the frontmost terminal's process counts as frontmost.
    desktop.open.push_back({5, 12, u"konsole-dialog"_s, u"Dialog"_s, {}});
    desktop.active = 5;
    EXPECT_EQ(automatic.present(), TerminalPresentation::presented(u"Konsole"_s));
    EXPECT_EQ(desktop.activated, std::vector<std::uint32_t>{3});
}

} // namespace
