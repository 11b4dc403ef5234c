#pragma once

#include "HerdrClient/Wire/JSONDecoding.h"

#include <QString>

#include <vector>

// Questions that an opencode session waits on the person for, as its server lists them. One
// request may hold several questions; its answer holds one list of labels per question.
struct OpenCodeQuestionRequest {
    struct Option {
        QString label;
        std::optional<QString> description;

        static Decoded<Option> decode(const JSONValue& value);
        bool operator==(const Option&) const = default;
    };
    struct Question {
        QString question;
        std::optional<QString> header;
        std::vector<Option> options;
        bool multiple = false;
        bool custom = true; // opencode offers its own answer row unless told not to

        static Decoded<Question> decode(const JSONValue& value);
        bool operator==(const Question&) const = default;
    };

    QString id;
    QString sessionID;
    std::vector<Question> questions;

    static Decoded<OpenCodeQuestionRequest> decode(const JSONValue& value);
    bool operator==(const OpenCodeQuestionRequest&) const = default;
};
