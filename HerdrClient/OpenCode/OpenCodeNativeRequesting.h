#pragma once

#include "HerdrClient/OpenCode/OpenCodeNativeFailure.h"
#include "HerdrClient/OpenCode/OpenCodePaneDescriptor.h"
#include "HerdrClient/OpenCode/OpenCodePermissionReply.h"
#include "HerdrClient/OpenCode/OpenCodePermissionRequest.h"
#include "HerdrClient/OpenCode/OpenCodeQuestionRequest.h"

#include <QCoroTask>
#include <QString>

#include <expected>
#include <optional>
#include <vector>

// What the native provider and responder ask of an opencode server.
class OpenCodeNativeRequesting {
public:
    template <class T>
    using Result = std::expected<T, OpenCodeNativeFailure>;

    virtual ~OpenCodeNativeRequesting() = default;

    // Every pending permission the server knows of, of all its sessions, oldest first.
    virtual QCoro::Task<Result<std::vector<OpenCodePermissionRequest>>> pendingPermissions(
        OpenCodePaneDescriptor descriptor) = 0;
    // What the person last asked in the descriptor's session, if anything.
    virtual QCoro::Task<Result<std::optional<QString>>> lastUserPrompt(
        OpenCodePaneDescriptor descriptor) = 0;
    virtual QCoro::Task<Result<void>> reply(OpenCodePaneDescriptor descriptor, QString requestID,
                                            OpenCodePermissionReply reply) = 0;
    // Every pending question of all sessions, oldest first; none from a server without them.
    virtual QCoro::Task<Result<std::vector<OpenCodeQuestionRequest>>> pendingQuestions(
        OpenCodePaneDescriptor descriptor) = 0;
    // One list of chosen labels (or typed answers) per question of the request.
    virtual QCoro::Task<Result<void>> answerQuestion(OpenCodePaneDescriptor descriptor,
                                                     QString requestID,
                                                     std::vector<std::vector<QString>> answers) = 0;
    virtual QCoro::Task<Result<void>> rejectQuestion(OpenCodePaneDescriptor descriptor,
                                                     QString requestID) = 0;
};
