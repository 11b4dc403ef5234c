#pragma once

#include <QJsonObject>

class AgentHotKeys;
class Settings;

// The agent hot keys as a script reads them under "hotkeys": the state's word, its sentence
// (null unless a conflict or an unavailable desktop has one), and the chords held now, each
// with its case, keysym, modifier mask and label.
QJsonObject hotKeysAutomationState(const AgentHotKeys& hotKeys, const Settings& settings);
