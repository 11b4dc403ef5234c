#pragma once

#include "HerdrClient/OpenCode/OpenCodeHTTPExchange.h"
#include "HerdrClient/OpenCode/OpenCodeNativeRequesting.h"
#include "HerdrClient/Wire/JSONValue.h"

// opencode's own HTTP interface, over loopback only. It keeps nothing between calls: each call
// copies the limits and runs on a fresh connection, so a call may outlive the client.
class OpenCodeHTTPClient final : public OpenCodeNativeRequesting {
public:
    explicit OpenCodeHTTPClient(OpenCodeHTTPLimits limits = {});

    QCoro::Task<Result<std::vector<OpenCodePermissionRequest>>> pendingPermissions(
        OpenCodePaneDescriptor descriptor) override;
    QCoro::Task<Result<std::optional<QString>>> lastUserPrompt(
        OpenCodePaneDescriptor descriptor) override;
    // The current path first; a server that does not know it (404) gets the older one, once.
    QCoro::Task<Result<void>> reply(OpenCodePaneDescriptor descriptor, QString requestID,
                                    OpenCodePermissionReply reply) override;
    QCoro::Task<Result<std::vector<OpenCodeQuestionRequest>>> pendingQuestions(
        OpenCodePaneDescriptor descriptor) override;
    QCoro::Task<Result<void>> answerQuestion(OpenCodePaneDescriptor descriptor, QString requestID,
                                             std::vector<std::vector<QString>> answers) override;
    QCoro::Task<Result<void>> rejectQuestion(OpenCodePaneDescriptor descriptor,
                                             QString requestID) override;

    // A 2xx answer's body as JSON; any other status, or a body that is not JSON, fails.
    static QCoro::Task<Result<JSONValue>> fetchJSON(OpenCodeHTTPRequest request,
                                                    OpenCodeHTTPLimits limits);
    // Succeeds on any 2xx answer, whatever its body.
    static QCoro::Task<Result<void>> post(OpenCodeHTTPRequest request, OpenCodeHTTPLimits limits);
    // The answer when its status is 2xx.
    static QCoro::Task<OpenCodeHTTPResult> exchange(OpenCodeHTTPRequest request,
                                                    OpenCodeHTTPLimits limits);

    // One path segment, with "/", "?", "#" and ".." unable to leave it.
    static QByteArray segment(const QString& text);

private:
    OpenCodeHTTPLimits m_limits;
};
