#pragma once

#include "HerdrClient/Wire/JSONValue.h"

#include <QString>

// A session of `count` panes: claude roots in every state, and a worker under each fifth one.
inline JSONValue sessionScenario(int count)
{
    using namespace Qt::StringLiterals;
    static const char* statuses[] = {"working", "blocked", "idle", "done", "working"};
    JSONValue::Array panes;
    for (int index = 0; index < count; ++index) {
        const QString paneID = u"w%1:p%2"_s.arg(index / 5 + 1).arg(index);
        JSONValue::Object pane{
            {u"pane_id"_s, JSONValue(paneID)},
            {u"agent"_s, JSONValue(index % 2 ? u"claude"_s : u"codex"_s)},
            {u"agent_status"_s, JSONValue(QString::fromLatin1(statuses[index % 5]))},
            {u"cwd"_s, JSONValue(u"/tmp/orrel-bench/project%1"_s.arg(index))}};
        if (index % 5 == 4)
            pane.emplace(
                u"tokens"_s,
                JSONValue(JSONValue::Object{
                    {u"nh_parent"_s, JSONValue(u"w%1:p%2"_s.arg(index / 5 + 1).arg(index - 4))}}));
        panes.push_back(JSONValue(std::move(pane)));
    }
    return JSONValue(JSONValue::Object{{u"panes"_s, JSONValue(std::move(panes))}});
}
