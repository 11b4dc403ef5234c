#include "HerdrClient/Responding/Actions.h"

QCoro::Task<ActionSendResult> Actions::send(QString method, JSONValue params) const
{
    RequestSending* client = m_client;
    const RequestResult result = co_await client->request(method, std::move(params));
    if (!result)
        co_return std::unexpected(ActionFailure::fromRequest(method, result.error()));
    co_return ActionSendResult{};
}
