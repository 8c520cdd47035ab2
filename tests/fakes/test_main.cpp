#include <QCoreApplication>

#include <gtest/gtest.h>

#include <clocale>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    std::setlocale(LC_NUMERIC, "C"); // the media engine refuses another numeric locale
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
