#include "HerdrClient/Wire/RequestSending.h"

QCoro::Task<RequestResult> RequestSendingHandle::request(QString method, JSONValue params) const
{
    if (!m_alive)
        co_return std::unexpected(RequestFailure(SocketError::closed()));
    // The sender is only touched before the suspension; the handle may be gone after it.
    co_return co_await m_client->request(std::move(method), std::move(params));
}
