#include "HerdrClient/Interaction/InteractionParts.h"

#include <algorithm>

std::optional<InteractionProgress> InteractionProgress::ofWizard(
    const std::vector<InteractionStep>& steps, std::optional<qint64> activeStep, bool isReview)
{
    const auto questions = std::count_if(steps.begin(), steps.end(),
                                         [](const InteractionStep& s) { return !s.isSubmit; });
    if (questions == 0)
        return std::nullopt;
    InteractionProgress progress;
    progress.total = questions;
    progress.unanswered = std::count_if(steps.begin(), steps.end(), [](const InteractionStep& s) {
        return !s.isSubmit && !s.isAnswered;
    });
    if (isReview)
        progress.current = questions;
    else if (activeStep)
        progress.current = *activeStep + 1;
    return progress;
}
