#include <gtest/gtest.h>

#include <QCoreApplication>
#include <clocale>

// Some tests run the application's event loop (timers, results posted back from background tasks), which
// needs the one application object of the process.
int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    QCoreApplication app(argc, argv);
    // The application object adopts the user's locale; the tests' expected texts assume the classic one.
    std::setlocale(LC_ALL, "C");
    return RUN_ALL_TESTS();
}
