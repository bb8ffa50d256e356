#include "cli/JsonWriter.h"

#include <gtest/gtest.h>

#include <limits>
#include <sstream>

namespace vitrek::cli {
namespace {

// Keys and nesting are read back by every --json test; here the values a JSON reader may not accept.
TEST(JsonWriterTest, EscapesControlCharactersKeepsFractionsExactAndWritesNoNonNumbers) {
    std::ostringstream out;
    JsonWriter(out)
        .beginArray()
        .value("quote \" backslash \\ tab \t bell \x07 · ü")
        .value(0.1)
        .value(-1709614800.125)
        .value(1709614800.0)
        .value(true)
        .null()
        .beginObject()
        .endObject()
        .beginArray()
        .endArray()
        .value(std::numeric_limits<double>::infinity())
        .endArray();
    EXPECT_EQ(
        out.str(),
        R"(["quote \" backslash \\ tab \t bell \u0007 · ü",0.1,-1709614800.125,1709614800,true,null,{},[],null])");
}

} // namespace
} // namespace vitrek::cli
