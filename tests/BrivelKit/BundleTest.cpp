#include "Updater/Bundle.h"

#include "support/ScratchDirectory.h"

#include <gtest/gtest.h>

namespace brivel {
namespace {

TEST(BundleTest, ReadsItsIdentityUnderTheKeysOfEveryRelease) {
    const struct {
        const char* info;
        std::optional<std::string> identifier;
        std::optional<std::string> version;
    } cases[] = {
        {R"({"id": "app.vitrek.Vitrek", "name": "Vitrek", "version": "0.2.0"})", "app.vitrek.Vitrek", "0.2.0"},
        // What 0.1.0 wrote: an installed copy of it must still know itself to update.
        {R"({"CFBundleIdentifier": "app.vitrek.Vitrek", "CFBundleName": "Vitrek",
             "CFBundleShortVersionString": "0.1.0"})",
         "app.vitrek.Vitrek", "0.1.0"},
        {R"({"id": "new.id", "CFBundleIdentifier": "old.id", "version": 3})", "new.id", std::nullopt},
    };
    for (const auto& [info, identifier, version] : cases) {
        vitrek::test::ScratchDirectory folder{"brivel-bundle"};
        folder.write(Bundle::kInfoFile, info);
        const auto bundle = Bundle::at(folder.path());
        EXPECT_EQ(bundle.identifier, identifier) << info;
        EXPECT_EQ(bundle.shortVersion, version) << info;
    }
}

} // namespace
} // namespace brivel
