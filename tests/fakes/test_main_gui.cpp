#include <QApplication>

#include <gtest/gtest.h>

#include <clocale>

int main(int argc, char **argv)
{
    // Windows are tested offscreen unless a platform is asked for (e.g. xcb under Xvfb).
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    std::setlocale(LC_NUMERIC, "C");
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
