#include <gtest/gtest.h>

#include <QApplication>
#include <QLocale>
#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

// Widgets need a widget application; it draws off screen, so no display is needed. Settings, the
// autostart folder and the single-instance socket go to a folder of this run, never to the user's own.
int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    std::string home = (std::filesystem::temp_directory_path() / "vitrek-ui-tests-XXXXXX").string();
    if (::mkdtemp(home.data()) == nullptr) {
        return 1;
    }
    ::setenv("XDG_CONFIG_HOME", (home + "/config").c_str(), 1);
    ::setenv("XDG_CACHE_HOME", (home + "/cache").c_str(), 1);
    ::setenv("XDG_RUNTIME_DIR", home.c_str(), 1);
    ::setenv("VITREK_DATA_DIR", (home + "/data").c_str(), 1);
    ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    QApplication app(argc, argv);
    QApplication::setOrganizationName("VitrekUiTests");
    QApplication::setApplicationName("VitrekUiTests");
    // The expected texts assume the classic locale and the fixed English date forms.
    std::setlocale(LC_ALL, "C");
    QLocale::setDefault(QLocale::c());
    const int status = RUN_ALL_TESTS();
    std::error_code error;
    std::filesystem::remove_all(home, error);
    return status;
}
