#include "HerdrClient/Capture/PaneCapturer.h"

#include "HerdrClient/Wire/PaneParams.h"
#include "HerdrClient/Wire/Snapshot.h"

using namespace Qt::StringLiterals;

namespace {

struct PaneMoment {
    PaneInfo pane;
    std::optional<QString> herdrVersion;
    std::optional<qint64> herdrProtocol;
};

QCoro::Task<std::expected<PaneMoment, PaneCaptureError>> findPane(RequestSending* client,
                                                                  QString paneID)
{
    const auto result =
        co_await client->request(u"session.snapshot"_s, JSONValue(JSONValue::Object{}));
    if (!result)
        co_return std::unexpected(PaneCaptureError::requestFailed(result.error()));
    const auto snapshot = Snapshot::fromResult(*result);
    if (!snapshot)
        co_return std::unexpected(PaneCaptureError::requestFailed(HerdrError::malformedResponse(
            u"session.snapshot"_s, snapshot.error().errorDescription())));
    for (const auto& pane : snapshot->uniquePanes()) {
        if (pane.paneID == paneID)
            co_return PaneMoment{pane, snapshot->version, snapshot->protocol};
    }
    co_return std::unexpected(PaneCaptureError::paneNotFound(paneID));
}

QCoro::Task<std::expected<QString, PaneCaptureError>> readPane(RequestSending* client,
                                                               PaneReadParams params)
{
    const auto result = co_await client->request(u"pane.read"_s, params.asJSONValue());
    if (!result)
        co_return std::unexpected(PaneCaptureError::requestFailed(result.error()));
    auto read = PaneReadResult::fromResult(*result);
    if (!read)
        co_return std::unexpected(PaneCaptureError::unreadablePane(params.paneID, params.source));
    co_return std::move(read->text);
}

} // namespace

QCoro::Task<std::expected<PaneCaptureBundle, PaneCaptureError>> PaneCapturer::capture(
    QString paneID, QString capturedAt)
{
    RequestSending* client = &m_client;
    const auto before = co_await findPane(client, paneID);
    if (!before)
        co_return std::unexpected(before.error());

    PaneReadParams detectionRead;
    detectionRead.paneID = paneID;
    detectionRead.source = ReadSource::detection;
    const auto detection = co_await readPane(client, detectionRead);
    if (!detection)
        co_return std::unexpected(detection.error());

    PaneReadParams visibleRead;
    visibleRead.paneID = paneID;
    visibleRead.source = ReadSource::visible;
    visibleRead.format = u"ansi"_s;
    visibleRead.stripAnsi = false;
    const auto visible = co_await readPane(client, visibleRead);
    if (!visible)
        co_return std::unexpected(visible.error());

    const auto after = co_await findPane(client, paneID);
    if (!after)
        co_return std::unexpected(after.error());

    PaneCaptureMetadata metadata;
    metadata.paneID = paneID;
    metadata.terminalID = before->pane.terminalID;
    metadata.agent = before->pane.agent;
    metadata.agentStatusBefore = before->pane.agentStatus;
    metadata.agentStatusAfter = after->pane.agentStatus;
    metadata.paneRevisionBefore = before->pane.revision;
    metadata.paneRevisionAfter = after->pane.revision;
    metadata.herdrVersion = before->herdrVersion;
    metadata.herdrProtocol = before->herdrProtocol;
    metadata.capturedAt = std::move(capturedAt);
    co_return PaneCaptureBundle::make(std::move(metadata), *detection, *visible);
}
