#pragma once

#include "HerdrClient/Interaction/ScreenAdapter.h"

// The reading of a screen nobody understood: the whole screen as the body, no choices, and only
// the terminal to answer it. Adapters that give up hand over to `reading(input)`.
class GenericScreenAdapter final : public ScreenAdapter {
public:
    static constexpr QStringView genericID = u"generic-screen";

    QString adapterID() const override;
    std::set<QString> agentIDs() const override;
    PendingInteraction parse(const ScreenAdapterInput& input) const override;

    static PendingInteraction reading(const ScreenAdapterInput& input,
                                      const QString& providerID = genericID.toString());

    // herdr's revision as the evidence keeps it: absent when it does not fit a signed 64-bit
    // integer.
    static std::optional<qint64> evidenceRevision(const std::optional<quint64>& revision);
};
