#include "cli/JsonWriter.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <limits>
#include <sstream>

namespace vitrek::cli {
namespace {

TEST(JsonWriterTest, WritesNestedContainersThatAJsonReaderAccepts) {
    std::ostringstream out;
    JsonWriter json(out);
    json.beginObject();
    json.key("name").value("quote \" backslash \\ tab \t bell \x07 · ü");
    json.key("list").beginArray().value(1).value(2.5).value(1709614800.0).value(true).null();
    json.beginObject().endObject().beginArray().endArray().endArray();
    json.key("empty").beginObject().endObject();
    json.endObject();
    json.flush();

    const auto text = out.str();
    EXPECT_EQ(text, R"({"name":"quote \" backslash \\ tab \t bell \u0007 · ü",)"
                    R"("list":[1,2.5,1709614800,true,null,{},[]],"empty":{}})");
    const auto parsed = nlohmann::json::parse(text);
    EXPECT_EQ(parsed["name"], "quote \" backslash \\ tab \t bell \x07 · ü");
}

TEST(JsonWriterTest, KeepsFractionsExactAndNeverWritesNonNumbers) {
    std::ostringstream out;
    JsonWriter(out)
        .beginArray()
        .value(0.1)
        .value(-1709614800.125)
        .value(std::numeric_limits<double>::infinity())
        .endArray();
    EXPECT_EQ(out.str(), "[0.1,-1709614800.125,null]");
}

} // namespace
} // namespace vitrek::cli
