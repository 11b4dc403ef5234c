#pragma once

#include "HerdrClient/Wire/PaneInfo.h"

#include <QString>
#include <QStringView>
#include <QUrl>

#include <optional>

// How to reach the opencode server behind one pane, from the tokens the agent gave herdr.
struct OpenCodePaneDescriptor {
    static constexpr QStringView endpointToken = u"opencode_url";
    static constexpr QStringView sessionToken = u"opencode_session";
    static constexpr QStringView modelToken = u"opencode_model";

    QUrl endpoint;
    QString sessionID;
    std::optional<QString> modelID;

    // Nothing unless the pane names a loopback server and a session: a token must never send the
    // session's data to another machine.
    static std::optional<OpenCodePaneDescriptor> fromPane(const PaneInfo& pane);

    // Plain http to 127.0.0.1, ::1 or localhost, with no user, password, query or fragment.
    static bool isLoopback(const QUrl& url);

    bool operator==(const OpenCodePaneDescriptor&) const = default;
};
