#include "OrrelApp/Alerts/SoundEngine.h"

#include "OrrelApp/Platform/SettingsStoring.h"
#include "OrrelApp/Platform/SoundEffectAlertSound.h"
#include "OrrelApp/Shell/Settings.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <map>

using namespace Qt::StringLiterals;

namespace {

class EmptyStore : public SettingsStoring {
public:
    std::optional<QVariant> value(const QString&) const override { return std::nullopt; }
    void setValue(const QString&, const QVariant&) override {}
    void remove(const QString&) override {}
    QStringList keys() const override { return {}; }
};

class FakeSound : public AlertSound {
public:
    explicit FakeSound(bool loaded) : loaded(loaded) {}
    bool isLoaded() const override { return loaded; }
    void setVolume(double v) override { volume = v; }
    void play() override { ADD_FAILURE() << "the engine plays through its playback"; }

    bool loaded;
    double volume = 1.0;
};

TEST(SoundEngine, PlaysOnlyWhenSettingsDesktopAndSoundAllow)
{
    struct Case {
        const char* name;
        bool soundEnabled;
        bool respectDND;
        bool doNotDisturb;
        std::optional<bool> sound; // absent: no sound; false: one that did not load
        bool plays;
        bool asksDesktop;
    };
    const Case cases[] = {
        {"everything allows it", true, true, false, true, true, true},
        {"sound switched off", false, true, false, true, false, false},
        {"do not disturb respected", true, true, true, true, false, true},
        {"do not disturb ignored", true, false, true, true, true, false},
        {"no sound", true, false, false, std::nullopt, false, false},
        {"a sound that did not load", true, false, false, false, false, false},
    };
    for (const auto& c : cases) {
        EmptyStore store;
        Settings settings(store);
        settings.setSoundEnabled(c.soundEnabled);
        settings.setRespectDND(c.respectDND);
        FakeSound* sound = c.sound ? new FakeSound(*c.sound) : nullptr;
        int played = 0;
        int asked = 0;
        SoundEngine engine(
            std::unique_ptr<AlertSound>(sound), [&](AlertSound& s) { played += &s == sound; },
            [&] { return ++asked, c.doNotDisturb; }, &settings);
        EXPECT_EQ(engine.playAlert(), c.plays) << c.name;
        EXPECT_EQ(played, c.plays ? 1 : 0) << c.name;
        EXPECT_EQ(asked > 0, c.asksDesktop) << c.name;
        if (c.plays) {
            EXPECT_DOUBLE_EQ(sound->volume, 0.35) << c.name;
        }
    }
}

TEST(SoundEngine, AMissingResourceLeavesTheEngineSilent)
{
    const auto url = SoundEngine::soundURL(u":/sounds/no-such.wav"_s);
    EXPECT_EQ(url, std::nullopt);
    EmptyStore store;
    Settings settings(store);
    int played = 0;
    SoundEngine engine(
        url ? std::make_unique<SoundEffectAlertSound>(*url) : nullptr,
        [&](AlertSound&) { ++played; }, [] { return false; }, &settings);
    EXPECT_FALSE(engine.playAlert());
    EXPECT_EQ(played, 0);
}

int messages = 0;

// Decoding needs no audio device, so the chime loads on any machine; playing it without a device
// is silence, and playing it often prints nothing.
TEST(SoundEngine, TheBuiltInChimeLoadsAndPlaysQuietly)
{
    const auto url = SoundEngine::soundURL();
    ASSERT_TRUE(url) << "the resource is compiled into the application";
    const auto chime = std::make_unique<SoundEffectAlertSound>(*url);
    ASSERT_TRUE(processEventsUntil([&] { return chime->isLoaded(); }, std::chrono::seconds(10)));
    messages = 0;
    const auto previous = qInstallMessageHandler(
        [](QtMsgType, const QMessageLogContext&, const QString&) { ++messages; });
    chime->setVolume(SoundEngine::alertVolume);
    for (int i = 0; i < 5; ++i) {
        chime->play();
        QCoreApplication::processEvents();
    }
    qInstallMessageHandler(previous);
    EXPECT_EQ(messages, 0);
}

} // namespace
