#include <gtest/gtest.h>

#include <QApplication>

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

// The kit's tests run widgets and the event loop (network replies, results posted from workers), so they
// need a widget application; it draws off screen so no display is needed. Settings and caches go to a
// folder of this run, never to the user's own.
int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    std::string home = (std::filesystem::temp_directory_path() / "brivel-tests-XXXXXX").string();
    if (::mkdtemp(home.data()) == nullptr) {
        return 1;
    }
    ::setenv("XDG_CACHE_HOME", (home + "/cache").c_str(), 1);
    ::setenv("XDG_CONFIG_HOME", (home + "/config").c_str(), 1);
    ::setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication app(argc, argv);
    QApplication::setOrganizationName("BrivelKitTests");
    QApplication::setApplicationName("BrivelKitTests");
    std::setlocale(LC_ALL, "C");
    const int status = RUN_ALL_TESTS();
    std::error_code error;
    std::filesystem::remove_all(home, error);
    return status;
}
