#include "HerdrClient/Interaction/InteractionEnums.h"

#include <iterator>

using namespace Qt::StringLiterals;

namespace {

// The text values in declaration order, so that a case's number is its index.
template <class E>
struct EnumNames;

template <>
struct EnumNames<InteractionKind> {
    static constexpr QStringView names[]{u"approval", u"question", u"reviewSubmit", u"freeText",
                                         u"unknown"};
};
template <>
struct EnumNames<InteractionChoiceKind> {
    static constexpr QStringView names[]{u"option", u"textEntry", u"submit", u"cancel"};
};
template <>
struct EnumNames<InteractionMechanism> {
    static constexpr QStringView names[]{
        u"numberedShortcut", u"explicitShortcut", u"arrowNavigate", u"multiSelect",
        u"textEntry",        u"ambiguous",        u"manual"};
};
template <>
struct EnumNames<InteractionCapability> {
    static constexpr QStringView names[]{u"approve",       u"deny",      u"selectOne",
                                         u"selectMany",    u"enterText", u"navigateSteps",
                                         u"manualTerminal"};
};
template <>
struct EnumNames<InteractionSourceKind> {
    static constexpr QStringView names[]{u"screen", u"native"};
};
template <>
struct EnumNames<InteractionConfidence> {
    static constexpr QStringView names[]{u"exact", u"inferred", u"fallback"};
};
template <>
struct EnumNames<InteractionDiffLineKind> {
    static constexpr QStringView names[]{u"context", u"removal", u"addition"};
};
template <>
struct EnumNames<InteractionSafetyState> {
    static constexpr QStringView names[]{u"fresh", u"responding", u"settled", u"stale"};
};

template <class E>
QString name(E value)
{
    const auto index = static_cast<std::size_t>(value);
    const auto& names = EnumNames<E>::names;
    if (index >= std::size(names))
        return {};
    return names[index].toString();
}

} // namespace

template <class E>
std::optional<E> interactionEnumFromString(QStringView text)
{
    const auto& names = EnumNames<E>::names;
    for (std::size_t i = 0; i < std::size(names); ++i) {
        if (text == names[i])
            return static_cast<E>(i);
    }
    return std::nullopt;
}

template std::optional<InteractionKind> interactionEnumFromString(QStringView);
template std::optional<InteractionChoiceKind> interactionEnumFromString(QStringView);
template std::optional<InteractionMechanism> interactionEnumFromString(QStringView);
template std::optional<InteractionCapability> interactionEnumFromString(QStringView);
template std::optional<InteractionSourceKind> interactionEnumFromString(QStringView);
template std::optional<InteractionConfidence> interactionEnumFromString(QStringView);
template std::optional<InteractionDiffLineKind> interactionEnumFromString(QStringView);
template std::optional<InteractionSafetyState> interactionEnumFromString(QStringView);

QString toString(InteractionKind value)
{
    return name(value);
}
QString toString(InteractionChoiceKind value)
{
    return name(value);
}
QString toString(InteractionMechanism value)
{
    return name(value);
}
QString toString(InteractionCapability value)
{
    return name(value);
}
QString toString(InteractionSourceKind value)
{
    return name(value);
}
QString toString(InteractionConfidence value)
{
    return name(value);
}
QString toString(InteractionDiffLineKind value)
{
    return name(value);
}
QString toString(InteractionSafetyState value)
{
    return name(value);
}
