#pragma once

#include <QString>
#include <QStringView>

#include <optional>

// The enumerations of a prompt. Their text values are what diagnostics, tools and the
// fingerprint write, so they never change.

enum class InteractionKind { approval, question, reviewSubmit, freeText, unknown };
enum class InteractionChoiceKind { option, textEntry, submit, cancel };
enum class InteractionMechanism {
    numberedShortcut,
    explicitShortcut,
    arrowNavigate,
    multiSelect,
    textEntry,
    ambiguous,
    manual
};
enum class InteractionCapability {
    approve,
    deny,
    selectOne,
    selectMany,
    enterText,
    navigateSteps,
    manualTerminal
};
enum class InteractionSourceKind { screen, native };
enum class InteractionConfidence { exact, inferred, fallback };
enum class InteractionDiffLineKind { context, removal, addition };
enum class InteractionSafetyState { fresh, responding, settled, stale };

QString toString(InteractionKind value);
QString toString(InteractionChoiceKind value);
QString toString(InteractionMechanism value);
QString toString(InteractionCapability value);
QString toString(InteractionSourceKind value);
QString toString(InteractionConfidence value);
QString toString(InteractionDiffLineKind value);
QString toString(InteractionSafetyState value);

// The case whose text value is `text` (exact, case-sensitive), or nothing.
template <class E>
std::optional<E> interactionEnumFromString(QStringView text);
