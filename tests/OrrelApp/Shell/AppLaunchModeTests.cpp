#include "OrrelApp/Shell/AppLaunchMode.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

TEST(AppLaunchMode, SelectsTheJobFromTheArguments)
{
    using K = AppLaunchMode::Kind;
    struct Case {
        QStringList arguments;
        AppLaunchMode expected;
    };
    const Case cases[] = {
        {{u"/usr/bin/orrel-sentry"_s}, {K::normal, {}}},
        {{u"orrel-sentry"_s, u"selftest"_s, u"--result"_s, u"/tmp/x"_s},
         {K::selfTestPrompt, u"/tmp/x"_s}},
        {{u"orrel-sentry"_s, u"selftest"_s, u"-v"_s, u"--result"_s, u"/r"_s},
         {K::selfTestPrompt, u"/r"_s}},
        // An incomplete self-test form is not a self-test.
        {{u"orrel-sentry"_s, u"selftest"_s, u"--result"_s}, {K::normal, {}}},
        {{u"orrel-sentry"_s, u"SELFTEST"_s, u"--result"_s, u"/r"_s}, {K::normal, {}}},
        {{u"/opt/x/ScreenSave"_s}, {K::screenSave, {}}},
        {{u"orrel-sentry"_s, u"--SCREENSAVE"_s}, {K::screenSave, {}}},
        {{u"orrel-sentry"_s, u"screensave"_s}, {K::screenSave, {}}},
        {{u"orrel-sentry"_s, u"foo"_s, u"--screensave"_s}, {K::normal, {}}},
        {{}, {K::normal, {}}},
        {{u"orrel-sentry"_s, u"--version"_s}, {K::printVersion, {}}},
        {{u"orrel-sentry"_s, u"-h"_s, u"screensave"_s}, {K::printUsage, {}}},
        // Only as the first argument: a later one may be a value.
        {{u"orrel-sentry"_s, u"selftest"_s, u"--result"_s, u"--version"_s},
         {K::selfTestPrompt, u"--version"_s}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(AppLaunchMode::fromArguments(c.arguments), c.expected)
            << c.arguments.join(u' ').toStdString();
}

} // namespace
