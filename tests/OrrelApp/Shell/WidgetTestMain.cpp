// The main of tests that need widgets. With it in the executable, the linker takes no main from
// the test support library, whose application object has no widgets.
#include <QApplication>

#include <gtest/gtest.h>

int main(int argc, char* argv[])
{
    // Listing the tests runs this program outside ctest's environment, and never on a display.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
