#pragma once

#include "json/Json.h"

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace vitrek::cli {

// Writes one compact JSON document straight to a stream. The terminal commands emit large documents
// (a year of nights), where building a tree first, or the whole text, would cost more than the work itself.
class JsonWriter {
public:
    explicit JsonWriter(std::ostream& sink) : m_sink(sink) {}
    JsonWriter(const JsonWriter&) = delete;
    JsonWriter& operator=(const JsonWriter&) = delete;
    ~JsonWriter() { flush(); }

    // Hands what is buffered to the stream (done when a container closes with 64 KiB pending, and at the
    // end).
    void flush();

    JsonWriter& beginObject();
    JsonWriter& endObject();
    JsonWriter& beginArray();
    JsonWriter& endArray();
    // The key of the next member; the value follows with one of the calls below.
    JsonWriter& key(std::string_view name);

    JsonWriter& value(std::string_view text); // valid UTF-8 expected; control characters are escaped
    JsonWriter& value(const char* text) { return value(std::string_view(text)); }
    JsonWriter& value(std::int64_t number);
    JsonWriter& value(int number) { return value(static_cast<std::int64_t>(number)); }
    JsonWriter& value(std::size_t number) { return value(static_cast<std::int64_t>(number)); }
    // Whole numbers without a fraction ("1709614800"), others in their shortest exact form.
    JsonWriter& value(double number);
    JsonWriter& value(bool flag);
    JsonWriter& null();
    // A value the core encoded, written by the rules above.
    JsonWriter& tree(const Json& json);

private:
    void separate();
    void closed();

    std::ostream& m_sink;
    std::string m_out;
    std::vector<bool> m_hasMembers; // per open container
    bool m_afterKey = false;
};

} // namespace vitrek::cli
