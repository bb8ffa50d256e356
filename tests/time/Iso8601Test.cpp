#include "time/Iso8601.h"

#include <gtest/gtest.h>

namespace vitrek {
namespace {

TEST(Iso8601Test, ReadsInstantsWithAnOffset) {
    const struct {
        const char* text;
        double unix;
    } rows[] = {
        {"2024-03-05T12:00:00+01:00", 1709636400},  {"2024-03-05T11:00:00Z", 1709636400},
        {"2024-03-05T12:00:00+0100", 1709636400},   {"2024-03-05 06:30:00-04:30", 1709636400},
        {"2024-03-05T11:00:00.25Z", 1709636400.25}, {"2024-02-29T00:00:00Z", 1709164800},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(parseIso8601(row.text), fromUnixSeconds(row.unix)) << row.text;
    }
}

TEST(Iso8601Test, RejectsTextsThatNameNoSingleInstant) {
    for (const char* text : {"2024-03-05T12:00:00", "2024-02-30T12:00:00Z", "2024-03-05T24:00:00Z",
                             "2024-3-05T12:00:00Z", "2024-03-05T12:00:00+1", "2024-03-05T12:00:00.Z",
                             "2024-03-05T12:00:00Z trailing", "", "1709636400"}) {
        EXPECT_FALSE(parseIso8601(text)) << text;
    }
}

} // namespace
} // namespace vitrek
