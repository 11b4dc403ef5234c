#pragma once

#include "HerdrClient/Wire/JSONDecoding.h"

#include <QString>

#include <map>
#include <optional>
#include <vector>

// What a person says the program should make of a fixture's screen. The texts are the words of
// the reading: `interactionKind` and `responseMechanism` are the enumeration texts, `progress`
// is "current/total" with " (N unanswered)" when there is a count.
struct PaneFixtureAnnotations {
    QString name;
    QString interactionKind;
    std::optional<QString> progress;
    std::optional<QString> title;
    std::vector<QString> optionLabels;
    std::vector<QString> optionDescriptions;
    std::optional<QString> selectedChoicePreview;
    std::optional<qint64> observedCursorIndex;
    std::vector<qint64> observedCheckedIndexes;
    QString responseMechanism;
    std::map<QString, std::vector<QString>> expectedResponsePlans;
    std::optional<QString> manifestRule;
    std::vector<QString> notes;

    // Lists and the plan map may be left out of a hand-written file; they read as empty.
    static Decoded<PaneFixtureAnnotations> decode(const JSONValue& value);
    JSONValue asJSONValue() const;
    bool operator==(const PaneFixtureAnnotations&) const = default;
};
