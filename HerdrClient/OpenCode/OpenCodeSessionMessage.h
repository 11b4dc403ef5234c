#pragma once

#include "HerdrClient/Wire/JSONDecoding.h"

#include <QString>

#include <optional>
#include <vector>

// One message of an opencode session, as far as the person's last request needs it.
struct OpenCodeSessionMessage {
    struct Info {
        QString role;

        static Decoded<Info> decode(const JSONValue& value);
        bool operator==(const Info&) const = default;
    };
    struct Part {
        QString type;
        std::optional<QString> text;
        std::optional<bool> synthetic;
        std::optional<bool> ignored;

        static Decoded<Part> decode(const JSONValue& value);
        bool operator==(const Part&) const = default;
    };

    Info info;
    std::vector<Part> parts;

    // What the person typed: the trimmed text parts that opencode did not add or set aside,
    // joined by newlines. Nothing for other roles or when no such part is left.
    std::optional<QString> userText() const;

    // The newest message that has user text.
    static std::optional<QString> lastUserText(const std::vector<OpenCodeSessionMessage>& messages);

    static Decoded<OpenCodeSessionMessage> decode(const JSONValue& value);
    bool operator==(const OpenCodeSessionMessage&) const = default;
};
