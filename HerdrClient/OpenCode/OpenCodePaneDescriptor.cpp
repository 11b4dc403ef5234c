#include "HerdrClient/OpenCode/OpenCodePaneDescriptor.h"

using namespace Qt::StringLiterals;

std::optional<OpenCodePaneDescriptor> OpenCodePaneDescriptor::fromPane(const PaneInfo& pane)
{
    if (!pane.tokens || pane.tokens->empty())
        return std::nullopt;
    const auto url = pane.token(endpointToken.toString());
    if (!url)
        return std::nullopt;
    const QUrl endpoint(*url, QUrl::StrictMode);
    if (!isLoopback(endpoint))
        return std::nullopt;
    const auto session = pane.token(sessionToken.toString());
    if (!session || session->trimmed().isEmpty())
        return std::nullopt;
    return OpenCodePaneDescriptor{endpoint, session->trimmed(), pane.token(modelToken.toString())};
}

bool OpenCodePaneDescriptor::isLoopback(const QUrl& url)
{
    if (!url.isValid() || url.scheme() != u"http"_s)
        return false;
    if (!url.userName().isEmpty() || !url.password().isEmpty() || url.hasQuery()
        || url.hasFragment())
        return false;
    // An empty user part ("http://@127.0.0.1") still names a user.
    if (url.authority().contains(u'@'))
        return false;
    const QString host = url.host().toLower();
    return host == u"127.0.0.1"_s || host == u"localhost"_s || host == u"::1"_s;
}
