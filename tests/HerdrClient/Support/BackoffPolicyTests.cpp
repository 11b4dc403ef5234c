#include "HerdrClient/Support/BackoffPolicy.h"

#include <gtest/gtest.h>

namespace {

TEST(BackoffPolicy, DelaysGrowFromBaseAndStopAtMax)
{
    const BackoffPolicy standard = BackoffPolicy::defaultPolicy();
    const std::vector<std::pair<int, double>> cases = {
        {-3, 0}, {0, 0}, {1, 0.25}, {2, 0.5}, {3, 1}, {4, 2}, {5, 4}, {6, 5}, {7, 5}, {5000, 5}};
    for (const auto& [attempt, seconds] : cases)
        EXPECT_DOUBLE_EQ(standard.delay(attempt).count(), seconds) << "attempt " << attempt;
    EXPECT_DOUBLE_EQ((BackoffPolicy{1, 30, 3}).delay(3).count(), 9);
}

} // namespace
