#include "OrrelApp/Automation/HotKeysAutomationState.h"

#include "OrrelApp/Alerts/AgentHotKeys.h"
#include "OrrelApp/Shell/Settings.h"

#include <QJsonArray>

using namespace Qt::StringLiterals;

QJsonObject hotKeysAutomationState(const AgentHotKeys& hotKeys, const Settings& settings)
{
    const AgentHotKeyState& state = hotKeys.state();
    QJsonArray chords;
    for (const AgentHotKeyChord& chord :
         hotKeys.registeredChords().value_or(std::vector<AgentHotKeyChord>{})) {
        chords.append(QJsonObject{{u"id"_s, toString(chord.id)},
                                  {u"keyCode"_s, qint64(chord.keyCode)},
                                  {u"modifiers"_s, qint64(chord.modifiers)},
                                  {u"label"_s, settings.shortcutLabel(chord.id)}});
    }
    return {{u"state"_s, toString(state.kind)},
            {u"message"_s, state.message.isEmpty() ? QJsonValue() : QJsonValue(state.message)},
            {u"registeredChords"_s, chords}};
}
