#pragma once

#include "OrrelApp/Automation/AutomationTarget.h"

#include <coroutine>
#include <map>
#include <set>
#include <vector>

// A target that records every command, refuses the ones it is told to, and holds chosen
// commands until the test releases them.
class FakeAutomationTarget : public AutomationTarget {
public:
    using Kind = AutomationCommand::Kind;

    QJsonObject stateObject;
    QJsonObject successKeys;
    std::map<Kind, QString> refusals;
    std::set<Kind> held;
    std::vector<AutomationCommand> calls;

    ~FakeAutomationTarget() override { release(); }

    QJsonObject state() override { return stateObject; }

    QCoro::Task<std::expected<QJsonObject, QString>> perform(AutomationCommand command) override
    {
        calls.push_back(command);
        if (held.contains(command.kind))
            co_await Hold{this};
        if (const auto refusal = refusals.find(command.kind); refusal != refusals.end())
            co_return std::unexpected(refusal->second);
        co_return successKeys;
    }

    qsizetype heldCount() const { return qsizetype(m_waiting.size()); }

    // Lets every held command finish, in the order they arrived.
    void release()
    {
        held.clear();
        for (std::coroutine_handle<> waiting : std::exchange(m_waiting, {}))
            waiting.resume();
    }

private:
    struct Hold {
        FakeAutomationTarget* target;
        bool await_ready() const noexcept { return false; }
        void await_suspend(std::coroutine_handle<> waiting)
        {
            target->m_waiting.push_back(waiting);
        }
        void await_resume() const noexcept {}
    };

    std::vector<std::coroutine_handle<>> m_waiting;
};
