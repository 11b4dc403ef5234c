#pragma once

#include "HerdrClient/Interaction/InteractionProviding.h"
#include "HerdrClient/OpenCode/OpenCodeNativeRequesting.h"
#include "HerdrClient/OpenCode/OpenCodePaneRegistry.h"

#include <memory>

// Reads an opencode pane from its server instead of its screen: the newest permission request of
// the pane's session becomes an approval with the request's id; without one, the session's
// newest question becomes a question, also with its request's id.
//
// The registry must outlive the provider; it is consulted only when a call starts. The client is
// shared, so a call may outlive the provider.
class OpenCodeNativeInteractionProvider final : public InteractionProviding {
public:
    static constexpr QStringView providerID = u"opencode-native";

    // The interaction and the server it was read from, which is where its answer must go.
    struct Reading {
        OpenCodePaneDescriptor descriptor;
        PendingInteraction interaction;
    };
    using ReadingResult = std::expected<Reading, OpenCodeNativeFailure>;

    OpenCodeNativeInteractionProvider(const OpenCodePaneRegistry& registry,
                                      std::shared_ptr<OpenCodeNativeRequesting> client);

    QCoro::Task<InteractionReadResult> interaction(QString paneID, std::optional<QString> agentID,
                                                   std::optional<quint64> paneRevision) override;
    QCoro::Task<ReadingResult> read(QString paneID, std::optional<QString> agentID,
                                    std::optional<quint64> paneRevision);

    // The approval for one request. A failed look-up of the person's last words leaves
    // `userPrompt` absent and changes nothing else.
    static PendingInteraction approval(const OpenCodePermissionRequest& request,
                                       const QString& paneID, const std::optional<QString>& agentID,
                                       const std::optional<quint64>& paneRevision,
                                       const std::optional<QString>& userPrompt);

    // A request of one question: its options in order, then opencode's own answer row unless
    // the question forbids it. A request of several questions is shown whole but can only be
    // dismissed from here; its answers are given in the terminal. Either way no key is sent.
    static PendingInteraction question(const OpenCodeQuestionRequest& request,
                                       const QString& paneID, const std::optional<QString>& agentID,
                                       const std::optional<quint64>& paneRevision,
                                       const std::optional<QString>& userPrompt);

    // The newest request of the session, since the lists run from oldest to newest.
    template <class Request>
    static std::optional<Request> newestRequest(const std::vector<Request>& requests,
                                                const QString& sessionID)
    {
        for (auto it = requests.rbegin(); it != requests.rend(); ++it) {
            if (it->sessionID == sessionID)
                return *it;
        }
        return std::nullopt;
    }

private:
    const OpenCodePaneRegistry& m_registry;
    std::shared_ptr<OpenCodeNativeRequesting> m_client;
};
