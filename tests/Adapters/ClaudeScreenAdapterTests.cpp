#include "HerdrClient/Adapters/ClaudeScreenAdapter.h"
#include "tests/Adapters/AdapterTestSupport.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

TEST(ClaudeRealScreens, EditApproval)
{
    const auto source = loadScreenSource(u"claude-real-approval-edit-diff"_s);
    ASSERT_FALSE(source.detection.isEmpty());
    const auto reading = ClaudeScreenAdapter().parse(inputFor(u"claude"_s, source));
    EXPECT_EQ(reading.kind, InteractionKind::approval);
}
