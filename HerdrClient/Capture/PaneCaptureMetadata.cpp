#include "HerdrClient/Capture/PaneCaptureMetadata.h"

using namespace Qt::StringLiterals;

Decoded<PaneCaptureMetadata> PaneCaptureMetadata::decode(const JSONValue& value)
{
    RecordReader r(value);
    PaneCaptureMetadata m;
    m.paneID = r.required<QString>(u"pane_id");
    m.terminalID = r.required<QString>(u"terminal_id");
    m.agent = r.optional<QString>(u"agent");
    m.agentStatusBefore = r.required<AgentStatus>(u"agent_status_before");
    m.agentStatusAfter = r.required<AgentStatus>(u"agent_status_after");
    m.paneRevisionBefore = r.required<quint64>(u"pane_revision_before");
    m.paneRevisionAfter = r.required<quint64>(u"pane_revision_after");
    m.herdrVersion = r.optional<QString>(u"herdr_version");
    m.herdrProtocol = r.optional<qint64>(u"herdr_protocol");
    m.capturedAt = r.required<QString>(u"captured_at");
    m.detectionByteCount = r.required<qint64>(u"detection_byte_count");
    m.visibleANSIByteCount = r.required<qint64>(u"visible_ansi_byte_count");
    m.detectionSHA256 = r.required<QString>(u"detection_sha256");
    m.visibleANSISHA256 = r.required<QString>(u"visible_ansi_sha256");
    return r.finish(m);
}

JSONValue PaneCaptureMetadata::asJSONValue() const
{
    return RecordWriter()
        .set(u"pane_id"_s, paneID)
        .set(u"terminal_id"_s, terminalID)
        .set(u"agent"_s, agent)
        .set(u"agent_status_before"_s, agentStatusBefore)
        .set(u"agent_status_after"_s, agentStatusAfter)
        .set(u"pane_revision_before"_s, paneRevisionBefore)
        .set(u"pane_revision_after"_s, paneRevisionAfter)
        .set(u"herdr_version"_s, herdrVersion)
        .set(u"herdr_protocol"_s, herdrProtocol)
        .set(u"captured_at"_s, capturedAt)
        .set(u"detection_byte_count"_s, detectionByteCount)
        .set(u"visible_ansi_byte_count"_s, visibleANSIByteCount)
        .set(u"detection_sha256"_s, detectionSHA256)
        .set(u"visible_ansi_sha256"_s, visibleANSISHA256)
        .value();
}
