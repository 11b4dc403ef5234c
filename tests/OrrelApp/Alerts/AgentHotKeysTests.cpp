#include "OrrelApp/Alerts/AgentHotKeys.h"
#include "OrrelApp/Shell/Settings.h"
#include "tests/support/MemorySettingsStore.h"

#include <gtest/gtest.h>

#include <set>

using namespace Qt::StringLiterals;

namespace {

using Action = AgentHotKey::Action;
using Failure = AgentHotKeyRegistering::Failure;

// A desktop that holds what it is given, except the keysyms it was told are taken; like the
// real ones it holds none of a set when any is refused.
class FakeRegistrar : public AgentHotKeyRegistering {
public:
    std::optional<QString> unavailableReason() const override { return unavailable; }

    std::vector<Failure> registerChords(const std::vector<AgentHotKeyChord>& chords) override
    {
        ++registrations;
        std::vector<Failure> failures;
        for (const auto& chord : chords) {
            if (taken.contains(chord.keyCode))
                failures.push_back({chord, 10});
        }
        held = failures.empty() ? chords : std::vector<AgentHotKeyChord>{};
        return failures;
    }

    void unregisterAll() override { held.clear(); }

    // What the desktop does on a press of a held key.
    bool press(std::uint32_t keyCode)
    {
        const auto found = std::ranges::find(held, keyCode, &AgentHotKeyChord::keyCode);
        if (found == held.end() || !onPressed)
            return false;
        onPressed(AgentHotKey{keyCode, found->action});
        return true;
    }

    std::optional<QString> unavailable;
    std::set<std::uint32_t> taken;
    std::vector<AgentHotKeyChord> held;
    int registrations = 0;
};

class AgentHotKeysTest : public ::testing::Test {
protected:
    AgentHotKeys& hotKeys()
    {
        if (!m_hotKeys)
            m_hotKeys = std::make_unique<AgentHotKeys>(
                settings, registrar, [this] { return cardWaiting; },
                [this](Action action) { performed.push_back(action); });
        return *m_hotKeys;
    }

    MemorySettingsStore store;
    Settings settings{store};
    FakeRegistrar registrar;
    bool cardWaiting = false;
    std::vector<Action> performed;

private:
    std::unique_ptr<AgentHotKeys> m_hotKeys;
};

TEST_F(AgentHotKeysTest, KeysAreHeldOnlyWhileACardWaits)
{
    hotKeys().refresh();
    EXPECT_EQ(hotKeys().state(), AgentHotKeyState::idle());
    EXPECT_EQ(registrar.registrations, 0);
    EXPECT_FALSE(registrar.press('y'));

    cardWaiting = true;
    hotKeys().refresh();
    EXPECT_EQ(hotKeys().state(), AgentHotKeyState::active());
    EXPECT_EQ(registrar.held, settings.agentHotKeyChords());
    EXPECT_EQ(hotKeys().registeredChords(), settings.agentHotKeyChords());
    EXPECT_TRUE(registrar.press('y'));
    EXPECT_TRUE(registrar.press('3'));
    EXPECT_EQ(performed, (std::vector{Action{Action::Kind::approve}, Action::picking(3)}));
    // An unchanged wish asks nothing of the desktop.
    hotKeys().refresh();
    EXPECT_EQ(registrar.registrations, 1);

    cardWaiting = false;
    hotKeys().refresh();
    EXPECT_EQ(hotKeys().state(), AgentHotKeyState::idle());
    EXPECT_TRUE(registrar.held.empty());
    EXPECT_FALSE(hotKeys().registeredChords());
    EXPECT_FALSE(hotKeys().attemptedChords());
}

TEST_F(AgentHotKeysTest, APressThatArrivesAfterTheCardWentDoesNothing)
{
    cardWaiting = true;
    hotKeys().refresh();
    cardWaiting = false;
    // The desktop still delivers a press it had queued before the keys went.
    EXPECT_TRUE(registrar.press('n'));
    EXPECT_TRUE(performed.empty());
}

TEST_F(AgentHotKeysTest, SwitchedOffInSettingsNothingIsHeld)
{
    cardWaiting = true;
    hotKeys().refresh();
    settings.setAgentGlobalHotkeysEnabled(false);
    hotKeys().refresh();
    EXPECT_EQ(hotKeys().state(), AgentHotKeyState::disabled());
    EXPECT_EQ(hotKeys().state().explanation(), u"Agent shortcuts are off in Settings."_s);
    EXPECT_TRUE(registrar.held.empty());
    EXPECT_FALSE(hotKeys().probeSendRecommended());

    settings.setAgentGlobalHotkeysEnabled(true);
    hotKeys().refresh();
    EXPECT_EQ(hotKeys().state(), AgentHotKeyState::active());
    EXPECT_EQ(hotKeys().state().explanation(), u"Active only while a card waits."_s);
}

TEST_F(AgentHotKeysTest, ARefusedSetIsAConflictAndIsNotRetriedUntilItChanges)
{
    registrar.taken = {'n'};
    cardWaiting = true;
    hotKeys().refresh();
    EXPECT_EQ(hotKeys().state(),
              AgentHotKeyState::conflict(u"deny: The desktop could not register this shortcut "
                                         "(error 10). Choose another combination."_s));
    EXPECT_TRUE(registrar.held.empty());
    EXPECT_FALSE(hotKeys().registeredChords());
    EXPECT_EQ(settings.agentRegistrationProblems().size(), 1U);
    EXPECT_TRUE(settings.agentRegistrationProblems().contains(u"deny"_s));

    hotKeys().refresh();
    hotKeys().refresh();
    EXPECT_EQ(registrar.registrations, 1);

    // Moving "deny" elsewhere is a new set: tried at once, and held.
    settings.assign(AppShortcutID::deny, {'x', GlobalKeyboardShortcut::controlMask, u"X"_s});
    hotKeys().refresh();
    EXPECT_EQ(registrar.registrations, 2);
    EXPECT_EQ(hotKeys().state(), AgentHotKeyState::active());
    EXPECT_TRUE(settings.agentRegistrationProblems().empty());
    EXPECT_TRUE(registrar.press('x'));
    EXPECT_EQ(performed, std::vector{Action{Action::Kind::deny}});
}

TEST_F(AgentHotKeysTest, ACardThatComesBackTriesARefusedSetAgain)
{
    registrar.taken = {'y'};
    cardWaiting = true;
    hotKeys().refresh();
    cardWaiting = false;
    hotKeys().refresh();
    registrar.taken.clear();
    cardWaiting = true;
    hotKeys().refresh();
    EXPECT_EQ(registrar.registrations, 2);
    EXPECT_EQ(hotKeys().state(), AgentHotKeyState::active());
}

TEST_F(AgentHotKeysTest, ALateRefusalOfTheHeldSetIsAConflict)
{
    cardWaiting = true;
    hotKeys().refresh();
    registrar.onLateFailure({{settings.agentHotKeyChords().front(), 2}});
    EXPECT_EQ(hotKeys().state().kind, AgentHotKeyState::Kind::conflict);
    EXPECT_TRUE(hotKeys().state().message.startsWith(u"sendRecommended: "_s));
    EXPECT_TRUE(hotKeys().state().message.contains(u"(error 2)"_s));
    EXPECT_FALSE(hotKeys().registeredChords());
    // A refusal that comes after the card went concerns nothing held.
    cardWaiting = false;
    hotKeys().refresh();
    registrar.onLateFailure({{settings.agentHotKeyChords().front(), 2}});
    EXPECT_EQ(hotKeys().state(), AgentHotKeyState::idle());
}

TEST_F(AgentHotKeysTest, WithoutAWayToHoldKeysTheStateSaysSoUntilOneAppears)
{
    registrar.unavailable = u"No global shortcuts here."_s;
    cardWaiting = true;
    hotKeys().refresh();
    EXPECT_EQ(hotKeys().state(), AgentHotKeyState::unavailable(u"No global shortcuts here."_s));
    EXPECT_EQ(registrar.registrations, 0);

    registrar.unavailable.reset();
    registrar.onAvailabilityChanged();
    EXPECT_EQ(hotKeys().state(), AgentHotKeyState::active());
}

TEST_F(AgentHotKeysTest, TheProbeTriesSendRecommendedAloneAndRestoresTheHeldKeys)
{
    EXPECT_FALSE(hotKeys().probeSendRecommended()) << "nothing to try without a card";
    cardWaiting = true;
    hotKeys().refresh();
    EXPECT_EQ(hotKeys().probeSendRecommended(), 0);
    EXPECT_EQ(registrar.held, settings.agentHotKeyChords());

    registrar.taken = {0xff0d};
    EXPECT_EQ(hotKeys().probeSendRecommended(), 10);
    EXPECT_EQ(hotKeys().state().kind, AgentHotKeyState::Kind::conflict);

    settings.disable(AppShortcutID::sendRecommended);
    EXPECT_FALSE(hotKeys().probeSendRecommended());
}

TEST_F(AgentHotKeysTest, StopLetsGoForGood)
{
    cardWaiting = true;
    hotKeys().refresh();
    hotKeys().stop();
    EXPECT_TRUE(registrar.held.empty());
    EXPECT_FALSE(registrar.onPressed);
    hotKeys().refresh();
    EXPECT_TRUE(registrar.held.empty());
    EXPECT_EQ(registrar.registrations, 1);
}

} // namespace
