#pragma once

#include "HerdrClient/Wire/AgentStatus.h"
#include "HerdrClient/Wire/JSONDecoding.h"

#include <QString>

#include <optional>
#include <vector>

// The parameters of `pane.read`.
struct PaneReadParams {
    QString paneID;
    ReadSource source = ReadSource::visible;
    std::optional<qint64> lines;
    std::optional<QString> format; // "text" or "ansi"
    std::optional<bool> stripAnsi;

    static Decoded<PaneReadParams> decode(const JSONValue& value);
    JSONValue asJSONValue() const;
    bool operator==(const PaneReadParams&) const = default;
};

struct PaneSendTextParams {
    QString paneID;
    QString text;

    static Decoded<PaneSendTextParams> decode(const JSONValue& value);
    JSONValue asJSONValue() const;
    bool operator==(const PaneSendTextParams&) const = default;
};

struct PaneSendKeysParams {
    QString paneID;
    std::vector<QString> keys;

    static Decoded<PaneSendKeysParams> decode(const JSONValue& value);
    JSONValue asJSONValue() const;
    bool operator==(const PaneSendKeysParams&) const = default;
};

// The parameters of `pane.get` and `pane.focus`.
struct FocusParams {
    QString paneID;

    static Decoded<FocusParams> decode(const JSONValue& value);
    JSONValue asJSONValue() const;
    bool operator==(const FocusParams&) const = default;
};

// The `read` member of a `pane.read` reply.
struct PaneReadResult {
    QString text;
    std::optional<QString> source;
    std::optional<QString> format;
    std::optional<QString> paneID;

    // Decodes the result of `pane.read`: its `read` member, which must be present.
    static Decoded<PaneReadResult> fromResult(const JSONValue& result);
    static Decoded<PaneReadResult> decode(const JSONValue& value);
    JSONValue asJSONValue() const;
    bool operator==(const PaneReadResult&) const = default;
};
