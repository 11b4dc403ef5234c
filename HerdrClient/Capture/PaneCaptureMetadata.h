#pragma once

#include "HerdrClient/Wire/AgentStatus.h"
#include "HerdrClient/Wire/JSONDecoding.h"

#include <QString>

#include <optional>

// What a capture bundle says about the moment it was taken: the pane before and after both
// reads, and the size and hash of each text, so that a reader can tell whether the pane moved
// meanwhile and whether the files are still the ones written.
struct PaneCaptureMetadata {
    QString paneID;
    QString terminalID;
    std::optional<QString> agent;
    AgentStatus agentStatusBefore = AgentStatus::unknown;
    AgentStatus agentStatusAfter = AgentStatus::unknown;
    quint64 paneRevisionBefore = 0;
    quint64 paneRevisionAfter = 0;
    std::optional<QString> herdrVersion;
    std::optional<qint64> herdrProtocol;
    QString capturedAt;
    qint64 detectionByteCount = 0;
    qint64 visibleANSIByteCount = 0;
    QString detectionSHA256;
    QString visibleANSISHA256;

    static Decoded<PaneCaptureMetadata> decode(const JSONValue& value);
    JSONValue asJSONValue() const;
    bool operator==(const PaneCaptureMetadata&) const = default;
};
