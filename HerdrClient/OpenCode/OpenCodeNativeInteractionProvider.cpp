#include "HerdrClient/OpenCode/OpenCodeNativeInteractionProvider.h"

#include "HerdrClient/Interaction/GenericScreenAdapter.h"

#include <QStringList>

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
    // A permission blocks the session's work first; a question waits behind it.
    std::optional<OpenCodeQuestionRequest> question;
    if (!request) {
        const auto questions = co_await client->pendingQuestions(*descriptor);
        if (!questions)
            co_return std::unexpected(questions.error());
        question = Provider::newestRequest(*questions, descriptor->sessionID);
        if (!question)
            co_return std::unexpected(
                OpenCodeNativeFailure(OpenCodeNativeProviderError::noPendingPermission(paneID)));
    }

    const auto prompt = co_await client->lastUserPrompt(*descriptor);
    const std::optional<QString> userPrompt = prompt ? *prompt : std::nullopt;
    PendingInteraction interaction =
        request ? Provider::approval(*request, paneID, agentID, paneRevision, userPrompt)
                : Provider::question(*question, paneID, agentID, paneRevision, userPrompt);
    Provider::Reading reading{*descriptor, std::move(interaction)};
    co_return reading;
}

InteractionEvidence nativeEvidence(const std::optional<QString>& agentID,
                                   const std::optional<quint64>& paneRevision)
{
    InteractionEvidence evidence;
    evidence.source = InteractionSourceKind::native;
    evidence.providerID = OpenCodeNativeInteractionProvider::providerID.toString();
    evidence.agentID = agentID;
    evidence.paneRevision = GenericScreenAdapter::evidenceRevision(paneRevision);
    evidence.confidence = InteractionConfidence::exact;
    return evidence;
}

std::optional<QString> joined(const std::vector<QString>& lines)
{
    if (lines.empty())
        return std::nullopt;
    return QStringList(lines.begin(), lines.end()).join(u'\n');
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

PendingInteraction OpenCodeNativeInteractionProvider::approval(
    const OpenCodePermissionRequest& request, const QString& paneID,
    const std::optional<QString>& agentID, const std::optional<quint64>& paneRevision,
    const std::optional<QString>& userPrompt)
{
    std::vector<InteractionChoice> choices;
    choices.push_back(
        {InteractionChoiceKind::option, u"Allow Once"_s, u"Approve this request once."_s, {}, {}});
    if (!request.always.empty())
        choices.push_back(
            {InteractionChoiceKind::option, u"Always Allow"_s, joined(request.always), {}, {}});
    choices.push_back(
        {InteractionChoiceKind::option, u"Deny"_s, u"Reject this request."_s, {}, {}});

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
        .evidence = nativeEvidence(agentID, paneRevision),
        .contentEvidence = std::nullopt,
        .userPromptContext = userPrompt,
        .safetyState = InteractionSafetyState::fresh,
    };
}

PendingInteraction OpenCodeNativeInteractionProvider::question(
    const OpenCodeQuestionRequest& request, const QString& paneID,
    const std::optional<QString>& agentID, const std::optional<quint64>& paneRevision,
    const std::optional<QString>& userPrompt)
{
    PendingInteraction interaction{
        .paneID = paneID,
        .interactionID = request.id,
        .kind = InteractionKind::question,
        .title = std::nullopt,
        .header = std::nullopt,
        .body = std::nullopt,
        .progress = std::nullopt,
        .choices = {},
        .steps = {},
        .presentation = {},
        .capabilities = {},
        .evidence = nativeEvidence(agentID, paneRevision),
        .contentEvidence = std::nullopt,
        .userPromptContext = userPrompt,
        .safetyState = InteractionSafetyState::fresh,
    };
    // No key is ever sent for a native prompt: the responder answers the server.
    interaction.presentation.mechanism = InteractionMechanism::manual;

    if (request.questions.size() != 1) {
        std::vector<QString> lines;
        for (const auto& asked : request.questions) {
            interaction.steps.push_back({asked.header.value_or(asked.question), false, false});
            lines.push_back(asked.question);
        }
        interaction.title = u"OpenCode asks %1 questions"_s.arg(request.questions.size());
        interaction.body = joined(lines);
        interaction.capabilities = {InteractionCapability::deny,
                                    InteractionCapability::manualTerminal};
        return interaction;
    }

    const auto& asked = request.questions.front();
    interaction.title = asked.question;
    if (asked.header && !asked.header->trimmed().isEmpty())
        interaction.header = asked.header;
    for (const auto& option : asked.options)
        interaction.choices.push_back(
            {InteractionChoiceKind::option, option.label, option.description, {}, {}});
    interaction.capabilities = {InteractionCapability::selectOne, InteractionCapability::deny};
    if (asked.custom) {
        interaction.choices.push_back(
            {InteractionChoiceKind::textEntry, u"Type your own answer"_s, std::nullopt, {}, {}});
        interaction.capabilities.insert(InteractionCapability::enterText);
    }
    return interaction;
}
