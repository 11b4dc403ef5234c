#include "HerdrClient/OpenCode/OpenCodeQuestionRequest.h"

Decoded<OpenCodeQuestionRequest::Option> OpenCodeQuestionRequest::Option::decode(
    const JSONValue& value)
{
    RecordReader reader(value);
    Option option;
    option.label = reader.required<QString>(u"label");
    option.description = reader.optional<QString>(u"description");
    return reader.finish(std::move(option));
}

Decoded<OpenCodeQuestionRequest::Question> OpenCodeQuestionRequest::Question::decode(
    const JSONValue& value)
{
    RecordReader reader(value);
    Question question;
    question.question = reader.required<QString>(u"question");
    question.header = reader.optional<QString>(u"header");
    question.options =
        reader.optional<std::vector<Option>>(u"options").value_or(std::vector<Option>{});
    question.multiple = reader.optional<bool>(u"multiple").value_or(false);
    question.custom = reader.optional<bool>(u"custom").value_or(true);
    return reader.finish(std::move(question));
}

Decoded<OpenCodeQuestionRequest> OpenCodeQuestionRequest::decode(const JSONValue& value)
{
    RecordReader reader(value);
    OpenCodeQuestionRequest request;
    request.id = reader.required<QString>(u"id");
    request.sessionID = reader.required<QString>(u"sessionID");
    request.questions = reader.required<std::vector<Question>>(u"questions");
    return reader.finish(std::move(request));
}
