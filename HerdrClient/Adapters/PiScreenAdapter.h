#pragma once

#include "HerdrClient/Interaction/ScreenAdapter.h"

#include <QStringList>

// Reads pi's ask picker: a question between two rules, numbered rows with a free-text row last,
// a tab line for several questions, and the review of the answers.
class PiScreenAdapter final : public ScreenAdapter {
public:
    static constexpr QStringView piAdapterID = u"pi-screen";
    static constexpr QStringView textEntrySentinel = u"Type something.";

    struct Option {
        QString label;
        std::optional<QString> description;
        bool isTextEntry = false;
        std::optional<QString> draft;

        bool operator==(const Option&) const = default;
    };

    struct Picker {
        std::optional<QString> header;
        std::optional<QString> question;
        QStringList answers;
        std::vector<Option> options;
        std::optional<qint64> cursor;
        std::vector<InteractionStep> steps;
        std::optional<qint64> activeStep;
        bool isReview = false;
        std::optional<QString> lastWork;
        QString block;
    };

    QString adapterID() const override;
    std::set<QString> agentIDs() const override;
    PendingInteraction parse(const ScreenAdapterInput& input) const override;

    // The picker in the text; nothing when the screen is not one this reader can drive.
    static std::optional<Picker> parsePicker(const QString& text,
                                             const std::optional<QString>& visibleANSI);
    static std::vector<InteractionStep> parseSteps(QStringView line);
    static std::optional<qint64> activeStepIndex(const std::vector<InteractionStep>& steps,
                                                 const std::optional<QString>& visibleANSI);
    // The agent's last real sentence above line `above`, for the surface.
    static std::optional<QString> lastWork(const QStringList& lines, qsizetype above);
    static bool isMeaningfulWork(const QString& text);
};
