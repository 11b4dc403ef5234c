#include "HerdrClient/OpenCode/RoutedInteractionProvider.h"
#include "HerdrClient/OpenCode/RoutedInteractionResponder.h"
#include "tests/HerdrClient/OpenCode/OpenCodeTestSupport.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// Answers every read with a failure, or with an interaction that names this reader, and
// remembers which panes it was asked about.
class NamedProvider final : public InteractionProviding {
public:
    NamedProvider(QString name, bool fails) : m_name(std::move(name)), m_fails(fails) {}

    QCoro::Task<InteractionReadResult> interaction(QString paneID, std::optional<QString>,
                                                   std::optional<quint64>) override
    {
        asked.push_back(paneID);
        if (m_fails)
            co_return std::unexpected(InteractionProviderError::unreadablePane(paneID));
        PendingInteraction interaction;
        interaction.paneID = paneID;
        interaction.evidence.providerID = m_name;
        co_return interaction;
    }

    std::vector<QString> asked;

private:
    QString m_name;
    bool m_fails;
};

class NamedResponder final : public InteractionResponding {
public:
    using InteractionResponding::respond;
    QCoro::Task<InteractionResponseOutcome> respond(InteractionResponseRequest request,
                                                    InteractionPhaseCallback) override
    {
        asked.push_back(request.paneID);
        co_return std::unexpected(InteractionResponderError::staleInteraction(
            request.expectedFingerprint, PendingInteraction{}));
    }

    std::vector<QString> asked;
};

const QString loopback = u"http://127.0.0.1:4096"_s;

} // namespace

TEST(RoutedInteraction, PanesThatNameALoopbackServerGoNativeAndAllOthersToTheScreen)
{
    PaneInfo claude;
    claude.paneID = u"claude"_s;
    claude.agent = u"claude"_s;
    const OpenCodePaneRegistry registry = registryOf({
        openCodePane(u"native"_s, loopback, u"ses_1"_s),
        openCodePane(u"remote"_s, u"http://203.0.113.9:4096"_s, u"ses_2"_s),
        openCodePane(u"sessionless"_s, {{u"opencode_url"_s, loopback}}),
        claude,
    });
    NamedProvider native(u"native"_s, false);
    NamedProvider screen(u"screen"_s, false);
    RoutedInteractionProvider provider(registry, native, screen);
    NamedResponder nativeResponder;
    NamedResponder screenResponder;
    RoutedInteractionResponder responder(registry, nativeResponder, screenResponder);

    for (const QString& pane :
         {u"native"_s, u"remote"_s, u"sessionless"_s, u"claude"_s, u"unknown"_s}) {
        const auto read = runTask(provider.interaction(pane, std::nullopt, std::nullopt));
        ASSERT_TRUE(read);
        EXPECT_EQ(read->evidence.providerID, pane == u"native"_s ? u"native"_s : u"screen"_s)
            << pane.toStdString();
        runTask(responder.respond(
            InteractionResponseRequest{pane, {}, {}, {}, InteractionResponseIntent::approve()}));
    }
    EXPECT_EQ(native.asked, std::vector<QString>{u"native"_s});
    EXPECT_EQ(nativeResponder.asked, std::vector<QString>{u"native"_s});
    EXPECT_EQ(screen.asked.size(), 4u);
    EXPECT_EQ(screenResponder.asked.size(), 4u);
}

TEST(RoutedInteraction, ANativeFailureIsNotReadFromTheScreen)
{
    OpenCodePaneRegistry registry = registryOf({openCodePane(u"p"_s, loopback, u"ses_1"_s)});
    NamedProvider native(u"native"_s, true);
    NamedProvider screen(u"screen"_s, false);
    RoutedInteractionProvider provider(registry, native, screen);
    EXPECT_FALSE(runTask(provider.interaction(u"p"_s, std::nullopt, std::nullopt)));
    EXPECT_TRUE(screen.asked.empty());

    // Once the tokens are gone, the same pane is a screen again.
    PaneInfo plain;
    plain.paneID = u"p"_s;
    registry.replace({plain});
    EXPECT_TRUE(runTask(provider.interaction(u"p"_s, std::nullopt, std::nullopt)));
    EXPECT_EQ(screen.asked, std::vector<QString>{u"p"_s});
}
