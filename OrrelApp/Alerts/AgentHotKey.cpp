#include "OrrelApp/Alerts/AgentHotKey.h"

using namespace Qt::StringLiterals;

std::optional<AgentHotKey::Action> AgentHotKey::Action::forShortcut(AppShortcutID id)
{
    using ID = AppShortcutID;
    switch (id) {
    case ID::sendRecommended: return Action{Kind::sendRecommended};
    case ID::previousStep: return Action{Kind::previousStep};
    case ID::nextStep: return Action{Kind::nextStep};
    case ID::arrowDown: return Action{Kind::arrowDown};
    case ID::arrowUp: return Action{Kind::arrowUp};
    case ID::approve: return Action{Kind::approve};
    case ID::deny: return Action{Kind::deny};
    case ID::previousAgent:
    case ID::nextAgent:
    case ID::sendTask:
    case ID::screenSaver: return std::nullopt;
    default: break;
    }
    return picking(int(id) - int(ID::pick1) + 1);
}

QString AgentHotKey::Action::name() const
{
    switch (kind) {
    case Kind::pick: return u"pick%1"_s.arg(pick);
    case Kind::sendRecommended: return u"sendRecommended"_s;
    case Kind::previousStep: return u"previousStep"_s;
    case Kind::nextStep: return u"nextStep"_s;
    case Kind::arrowUp: return u"arrowUp"_s;
    case Kind::arrowDown: return u"arrowDown"_s;
    case Kind::approve: return u"approve"_s;
    case Kind::deny: return u"deny"_s;
    }
    return {};
}

std::optional<QString> AgentHotKeyState::explanation() const
{
    switch (kind) {
    case Kind::active: return u"Active only while a card waits."_s;
    case Kind::disabled: return u"Agent shortcuts are off in Settings."_s;
    case Kind::conflict:
    case Kind::unavailable: return message;
    case Kind::idle: break;
    }
    return std::nullopt;
}

QString toString(AgentHotKeyState::Kind kind)
{
    using Kind = AgentHotKeyState::Kind;
    switch (kind) {
    case Kind::conflict: return u"conflict"_s;
    case Kind::disabled: return u"disabled"_s;
    case Kind::idle: return u"idle"_s;
    case Kind::active: return u"active"_s;
    case Kind::unavailable: return u"unavailable"_s;
    }
    return {};
}
