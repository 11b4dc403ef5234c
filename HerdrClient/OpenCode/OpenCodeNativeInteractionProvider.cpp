#include "HerdrClient/OpenCode/OpenCodeNativeInteractionProvider.h"

#include "HerdrClient/Interaction/GenericScreenAdapter.h"

#include <QStringList>

#include <ranges>

using namespace Qt::StringLiterals;

namespace {

// Holds everything it needs, so it runs to its end even when the provider is gone.
QCoro::Task<OpenCodeNativeInteractionProvider::ReadingResult> readNative(
    std::optional<OpenCodePaneDescriptor> descriptor,
    std::shared_ptr<OpenCodeNativeRequesting> client, QString paneID,
    std::optional<QString> agentID, std::optional<quint64> paneRevision)
{
    using Provider = OpenCodeNativeInteractionProvider;
    if (!descriptor)
        co_return std::unexpected(
            OpenCodeNativeFailure(OpenCodeNativeProviderError::descriptorMissing(paneID)));
    const auto requests = co_await client->pendingPermissions(*descriptor);
    if (!requests)
        co_return std::unexpected(requests.error());
    const auto request = Provider::newestRequest(*requests, descriptor->sessionID);
    if (!request)
        co_return std::unexpected(
            OpenCodeNativeFailure(OpenCodeNativeProviderError::noPendingPermission(paneID)));

    const auto prompt = co_await client->lastUserPrompt(*descriptor);
    const std::optional<QString> userPrompt = prompt ? *prompt : std::nullopt;
    PendingInteraction interaction =
        Provider::approval(*request, paneID, agentID, paneRevision, userPrompt);
    Provider::Reading reading{*descriptor, std::move(interaction)};
    co_return reading;
}

QCoro::Task<InteractionReadResult> readAsInteraction(
    QCoro::Task<OpenCodeNativeInteractionProvider::ReadingResult> read)
{
    auto reading = co_await std::move(read);
    if (!reading)
        co_return std::unexpected(InteractionReadFailure(reading.error()));
    PendingInteraction interaction = std::move(reading->interaction);
    co_return interaction;
}

} // namespace

OpenCodeNativeInteractionProvider::OpenCodeNativeInteractionProvider(
    const OpenCodePaneRegistry& registry, std::shared_ptr<OpenCodeNativeRequesting> client)
    : m_registry(registry), m_client(std::move(client))
{
}

QCoro::Task<InteractionReadResult> OpenCodeNativeInteractionProvider::interaction(
    QString paneID, std::optional<QString> agentID, std::optional<quint64> paneRevision)
{
    return readAsInteraction(read(std::move(paneID), std::move(agentID), paneRevision));
}

QCoro::Task<OpenCodeNativeInteractionProvider::ReadingResult>
OpenCodeNativeInteractionProvider::read(QString paneID, std::optional<QString> agentID,
                                        std::optional<quint64> paneRevision)
{
    auto descriptor = m_registry.descriptor(paneID);
    return readNative(std::move(descriptor), m_client, std::move(paneID), std::move(agentID),
                      paneRevision);
}

std::optional<OpenCodePermissionRequest> OpenCodeNativeInteractionProvider::newestRequest(
    const std::vector<OpenCodePermissionRequest>& requests, const QString& sessionID)
{
    for (const auto& request : std::views::reverse(requests)) {
        if (request.sessionID == sessionID)
            return request;
    }
    return std::nullopt;
}

PendingInteraction OpenCodeNativeInteractionProvider::approval(
    const OpenCodePermissionRequest& request, const QString& paneID,
    const std::optional<QString>& agentID, const std::optional<quint64>& paneRevision,
    const std::optional<QString>& userPrompt)
{
    const auto joined = [](const std::vector<QString>& lines) -> std::optional<QString> {
        if (lines.empty())
            return std::nullopt;
        return QStringList(lines.begin(), lines.end()).join(u'\n');
    };

    std::vector<InteractionChoice> choices;
    choices.push_back(
        {InteractionChoiceKind::option, u"Allow Once"_s, u"Approve this request once."_s, {}, {}});
    if (!request.always.empty())
        choices.push_back(
            {InteractionChoiceKind::option, u"Always Allow"_s, joined(request.always), {}, {}});
    choices.push_back(
        {InteractionChoiceKind::option, u"Deny"_s, u"Reject this request."_s, {}, {}});

    InteractionEvidence evidence;
    evidence.source = InteractionSourceKind::native;
    evidence.providerID = providerID.toString();
    evidence.agentID = agentID;
    evidence.paneRevision = GenericScreenAdapter::evidenceRevision(paneRevision);
    evidence.confidence = InteractionConfidence::exact;

    InteractionPresentation presentation;
    // No key is ever sent for a native prompt: the responder answers the server.
    presentation.mechanism = InteractionMechanism::manual;

    return PendingInteraction{
        .paneID = paneID,
        .interactionID = request.id,
        .kind = InteractionKind::approval,
        .title =
            request.title.value_or(u"OpenCode requests %1 permission"_s.arg(request.permission)),
        .header = std::nullopt,
        .body = joined(request.patterns),
        .progress = std::nullopt,
        .choices = std::move(choices),
        .steps = {},
        .presentation = presentation,
        .capabilities = {InteractionCapability::approve, InteractionCapability::deny,
                         InteractionCapability::selectOne},
        .evidence = std::move(evidence),
        .contentEvidence = std::nullopt,
        .userPromptContext = userPrompt,
        .safetyState = InteractionSafetyState::fresh,
    };
}
