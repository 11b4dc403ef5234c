#pragma once

#include "HerdrClient/Wire/JSONValue.h"

#include <QString>

#include <vector>

// One step of an answer: key names for `pane.send_keys`, or one text for `pane.send_text`.
struct InteractionResponseOperation {
    enum class Kind { sendKeys, sendText };

    Kind kind = Kind::sendKeys;
    std::vector<QString> keys; // sendKeys
    QString text;              // sendText

    static InteractionResponseOperation sendKeys(std::vector<QString> keys)
    {
        return {Kind::sendKeys, std::move(keys), {}};
    }
    static InteractionResponseOperation sendText(QString text)
    {
        return {Kind::sendText, {}, std::move(text)};
    }

    // The herdr method that carries it.
    QString method() const;
    // Keys joined by blanks, or the text in quotes: for receipts and diagnostics.
    QString description() const;
    // {"keys":[...]} or {"text":"..."}.
    JSONValue asJSONValue() const;

    bool operator==(const InteractionResponseOperation&) const = default;
};
