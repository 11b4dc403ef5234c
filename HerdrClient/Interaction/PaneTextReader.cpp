#include "HerdrClient/Interaction/PaneTextReader.h"

using namespace Qt::StringLiterals;

PaneReadParams PaneTextReader::recentUnwrappedText(QString paneID, int lines)
{
    PaneReadParams params;
    params.paneID = std::move(paneID);
    params.source = ReadSource::recentUnwrapped;
    params.lines = lines;
    params.format = u"text"_s;
    params.stripAnsi = true;
    return params;
}

QCoro::Task<PaneTextResult> PaneTextReader::read(PaneReadParams params) const
{
    const RequestSendingHandle client = m_client;
    const JSONValue request = params.asJSONValue();
    const RequestResult reply = co_await client.request(u"pane.read"_s, request);
    if (!reply)
        co_return std::unexpected(reply.error());
    auto decoded = PaneReadResult::fromResult(*reply);
    if (!decoded)
        co_return std::unexpected(RequestFailure(
            HerdrError::malformedResponse(u"pane.read"_s, decoded.error().errorDescription())));
    QString text = std::move(decoded->text);
    co_return text;
}
