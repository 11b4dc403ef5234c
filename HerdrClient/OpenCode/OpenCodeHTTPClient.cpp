#include "HerdrClient/OpenCode/OpenCodeHTTPClient.h"

#include "HerdrClient/OpenCode/OpenCodeSessionMessage.h"

using namespace Qt::StringLiterals;

namespace {

using Failure = OpenCodeNativeFailure;

template <class T>
OpenCodeNativeRequesting::Result<std::vector<T>> decodeList(const JSONValue& value)
{
    auto decoded = JSONCoding<std::vector<T>>::decode(value);
    if (!decoded)
        return std::unexpected(Failure(OpenCodeNativeProviderError::invalidResponse()));
    return std::move(*decoded);
}

// Requests are built outside the coroutines: g++ 12 mishandles aggregate temporaries and braced
// lists inside them.
OpenCodeHTTPRequest get(const OpenCodePaneDescriptor& descriptor, QByteArray target)
{
    return {"GET", descriptor.endpoint, std::move(target), std::nullopt};
}

QByteArray messagesTarget(const OpenCodePaneDescriptor& descriptor)
{
    return "session/" + OpenCodeHTTPClient::segment(descriptor.sessionID) + "/message?limit=100";
}

OpenCodeHTTPRequest replyRequest(const OpenCodePaneDescriptor& descriptor, const QString& requestID,
                                 OpenCodePermissionReply reply)
{
    const QByteArray target = "permission/" + OpenCodeHTTPClient::segment(requestID) + "/reply";
    return {"POST", descriptor.endpoint, target,
            JSONValue::object({{u"reply"_s, toString(reply)}}).serialized()};
}

// For servers from before the permission routes of their own.
OpenCodeHTTPRequest olderReplyRequest(const OpenCodePaneDescriptor& descriptor,
                                      const QString& requestID, OpenCodePermissionReply reply)
{
    const QByteArray target = "session/" + OpenCodeHTTPClient::segment(descriptor.sessionID)
                              + "/permissions/" + OpenCodeHTTPClient::segment(requestID);
    return {"POST", descriptor.endpoint, target,
            JSONValue::object({{u"response"_s, toString(reply)}}).serialized()};
}

bool isNotFound(const OpenCodeNativeRequesting::Result<void>& sent)
{
    const auto* refused = sent ? nullptr : sent.error().providerError();
    return refused && refused->kind == OpenCodeNativeProviderError::Kind::rejectedStatus
           && refused->status == 404;
}

QCoro::Task<OpenCodeNativeRequesting::Result<std::vector<OpenCodePermissionRequest>>>
fetchPermissions(OpenCodePaneDescriptor descriptor, OpenCodeHTTPLimits limits)
{
    OpenCodeHTTPRequest request = get(descriptor, "permission");
    const auto json = co_await OpenCodeHTTPClient::fetchJSON(std::move(request), limits);
    if (!json)
        co_return std::unexpected(json.error());
    co_return decodeList<OpenCodePermissionRequest>(*json);
}

QCoro::Task<OpenCodeNativeRequesting::Result<std::optional<QString>>> fetchLastUserPrompt(
    OpenCodePaneDescriptor descriptor, OpenCodeHTTPLimits limits)
{
    OpenCodeHTTPRequest request = get(descriptor, messagesTarget(descriptor));
    const auto json = co_await OpenCodeHTTPClient::fetchJSON(std::move(request), limits);
    if (!json)
        co_return std::unexpected(json.error());
    const auto messages = decodeList<OpenCodeSessionMessage>(*json);
    if (!messages)
        co_return std::unexpected(messages.error());
    std::optional<QString> text = OpenCodeSessionMessage::lastUserText(*messages);
    co_return text;
}

QCoro::Task<OpenCodeNativeRequesting::Result<void>> postReply(OpenCodePaneDescriptor descriptor,
                                                              QString requestID,
                                                              OpenCodePermissionReply reply,
                                                              OpenCodeHTTPLimits limits)
{
    OpenCodeHTTPRequest request = replyRequest(descriptor, requestID, reply);
    auto sent = co_await OpenCodeHTTPClient::post(std::move(request), limits);
    if (!isNotFound(sent))
        co_return sent;
    OpenCodeHTTPRequest older = olderReplyRequest(descriptor, requestID, reply);
    co_return co_await OpenCodeHTTPClient::post(std::move(older), limits);
}

QCoro::Task<OpenCodeNativeRequesting::Result<std::vector<OpenCodeQuestionRequest>>> fetchQuestions(
    OpenCodePaneDescriptor descriptor, OpenCodeHTTPLimits limits)
{
    OpenCodeHTTPRequest request = get(descriptor, "question");
    const auto json = co_await OpenCodeHTTPClient::fetchJSON(std::move(request), limits);
    // A server from before questions has none to ask.
    if (!json && isNotFound(std::unexpected(json.error())))
        co_return std::vector<OpenCodeQuestionRequest>{};
    if (!json)
        co_return std::unexpected(json.error());
    co_return decodeList<OpenCodeQuestionRequest>(*json);
}

OpenCodeHTTPRequest answerRequest(const OpenCodePaneDescriptor& descriptor,
                                  const QString& requestID,
                                  const std::vector<std::vector<QString>>& answers)
{
    JSONValue::Array lists;
    for (const auto& labels : answers)
        lists.push_back(JSONValue::fromStrings(labels));
    const QByteArray target = "question/" + OpenCodeHTTPClient::segment(requestID) + "/reply";
    return {"POST", descriptor.endpoint, target,
            JSONValue::object({{u"answers"_s, JSONValue(std::move(lists))}}).serialized()};
}

OpenCodeHTTPRequest rejectRequest(const OpenCodePaneDescriptor& descriptor,
                                  const QString& requestID)
{
    const QByteArray target = "question/" + OpenCodeHTTPClient::segment(requestID) + "/reject";
    return {"POST", descriptor.endpoint, target, QByteArray("{}")};
}

} // namespace

OpenCodeHTTPClient::OpenCodeHTTPClient(OpenCodeHTTPLimits limits) : m_limits(limits) {}

QCoro::Task<OpenCodeNativeRequesting::Result<std::vector<OpenCodePermissionRequest>>>
OpenCodeHTTPClient::pendingPermissions(OpenCodePaneDescriptor descriptor)
{
    return fetchPermissions(std::move(descriptor), m_limits);
}

QCoro::Task<OpenCodeNativeRequesting::Result<std::optional<QString>>>
OpenCodeHTTPClient::lastUserPrompt(OpenCodePaneDescriptor descriptor)
{
    return fetchLastUserPrompt(std::move(descriptor), m_limits);
}

QCoro::Task<OpenCodeNativeRequesting::Result<void>> OpenCodeHTTPClient::reply(
    OpenCodePaneDescriptor descriptor, QString requestID, OpenCodePermissionReply reply)
{
    return postReply(std::move(descriptor), std::move(requestID), reply, m_limits);
}

QCoro::Task<OpenCodeNativeRequesting::Result<std::vector<OpenCodeQuestionRequest>>>
OpenCodeHTTPClient::pendingQuestions(OpenCodePaneDescriptor descriptor)
{
    return fetchQuestions(std::move(descriptor), m_limits);
}

QCoro::Task<OpenCodeNativeRequesting::Result<void>> OpenCodeHTTPClient::answerQuestion(
    OpenCodePaneDescriptor descriptor, QString requestID, std::vector<std::vector<QString>> answers)
{
    return post(answerRequest(descriptor, requestID, answers), m_limits);
}

QCoro::Task<OpenCodeNativeRequesting::Result<void>> OpenCodeHTTPClient::rejectQuestion(
    OpenCodePaneDescriptor descriptor, QString requestID)
{
    return post(rejectRequest(descriptor, requestID), m_limits);
}

QCoro::Task<OpenCodeNativeRequesting::Result<JSONValue>> OpenCodeHTTPClient::fetchJSON(
    OpenCodeHTTPRequest request, OpenCodeHTTPLimits limits)
{
    const auto response = co_await exchange(std::move(request), limits);
    if (!response)
        co_return std::unexpected(response.error());
    auto json = JSONValue::parse(response->body);
    if (!json)
        co_return std::unexpected(Failure(OpenCodeNativeProviderError::invalidResponse()));
    co_return std::move(*json);
}

QCoro::Task<OpenCodeNativeRequesting::Result<void>> OpenCodeHTTPClient::post(
    OpenCodeHTTPRequest request, OpenCodeHTTPLimits limits)
{
    const auto response = co_await exchange(std::move(request), limits);
    if (!response)
        co_return std::unexpected(response.error());
    co_return {};
}

QCoro::Task<OpenCodeHTTPResult> OpenCodeHTTPClient::exchange(OpenCodeHTTPRequest request,
                                                             OpenCodeHTTPLimits limits)
{
    OpenCodeHTTPResult response = co_await OpenCodeHTTPExchange::send(std::move(request), limits);
    if (response && (response->status < 200 || response->status > 299))
        co_return std::unexpected(
            Failure(OpenCodeNativeProviderError::rejectedStatus(response->status)));
    co_return response;
}

QByteArray OpenCodeHTTPClient::segment(const QString& text)
{
    QByteArray encoded = QUrl::toPercentEncoding(text);
    // "." and ".." are legal unreserved text but mean something in a path.
    if (encoded == "." || encoded == "..")
        encoded.replace('.', "%2E");
    return encoded;
}
