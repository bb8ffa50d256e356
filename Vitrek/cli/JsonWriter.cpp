#include "cli/JsonWriter.h"

#include <nlohmann/json.hpp>

#include <charconv>
#include <cmath>

namespace vitrek::cli {

void JsonWriter::separate() {
    if (m_afterKey) {
        m_afterKey = false;
        return;
    }
    if (!m_hasMembers.empty()) {
        if (m_hasMembers.back()) {
            m_out += ',';
        }
        m_hasMembers.back() = true;
    }
}

void JsonWriter::flush() {
    m_sink.write(m_out.data(), static_cast<std::streamsize>(m_out.size()));
    m_out.clear();
}

void JsonWriter::closed() {
    m_hasMembers.pop_back();
    if (m_out.size() >= 64 * 1024) {
        flush();
    }
}

JsonWriter& JsonWriter::beginObject() {
    separate();
    m_out += '{';
    m_hasMembers.push_back(false);
    return *this;
}

JsonWriter& JsonWriter::endObject() {
    m_out += '}';
    closed();
    return *this;
}

JsonWriter& JsonWriter::beginArray() {
    separate();
    m_out += '[';
    m_hasMembers.push_back(false);
    return *this;
}

JsonWriter& JsonWriter::endArray() {
    m_out += ']';
    closed();
    return *this;
}

JsonWriter& JsonWriter::key(std::string_view name) {
    value(name);
    m_out += ':';
    m_afterKey = true;
    return *this;
}

JsonWriter& JsonWriter::value(std::string_view text) {
    separate();
    m_out += '"';
    std::size_t plain = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (c >= 0x20 && c != '"' && c != '\\') {
            continue;
        }
        m_out.append(text, plain, i - plain);
        plain = i + 1;
        switch (c) {
        case '"':
            m_out += "\\\"";
            break;
        case '\\':
            m_out += "\\\\";
            break;
        case '\n':
            m_out += "\\n";
            break;
        case '\t':
            m_out += "\\t";
            break;
        case '\r':
            m_out += "\\r";
            break;
        default: {
            constexpr char kHex[] = "0123456789abcdef";
            m_out += "\\u00";
            m_out += kHex[c >> 4];
            m_out += kHex[c & 0xF];
        }
        }
    }
    m_out.append(text, plain);
    m_out += '"';
    return *this;
}

JsonWriter& JsonWriter::value(std::int64_t number) {
    separate();
    char buffer[24];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, number);
    m_out.append(buffer, result.ptr);
    return *this;
}

JsonWriter& JsonWriter::value(double number) {
    if (!std::isfinite(number)) {
        return null(); // JSON has no infinities; nothing the commands print should be one
    }
    if (std::trunc(number) == number && std::fabs(number) < 9.0e15) {
        return value(static_cast<std::int64_t>(number));
    }
    separate();
    char buffer[32];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, number);
    m_out.append(buffer, result.ptr);
    return *this;
}

JsonWriter& JsonWriter::value(bool flag) {
    separate();
    m_out += flag ? "true" : "false";
    return *this;
}

JsonWriter& JsonWriter::null() {
    separate();
    m_out += "null";
    return *this;
}

JsonWriter& JsonWriter::tree(const Json& json) {
    switch (json.type()) {
    case Json::value_t::object:
        beginObject();
        for (const auto& [name, member] : json.items()) {
            key(name).tree(member);
        }
        return endObject();
    case Json::value_t::array:
        beginArray();
        for (const auto& element : json) {
            tree(element);
        }
        return endArray();
    case Json::value_t::string:
        return value(std::string_view(json.get_ref<const std::string&>()));
    case Json::value_t::boolean:
        return value(json.get<bool>());
    case Json::value_t::number_integer:
        return value(json.get<std::int64_t>());
    case Json::value_t::number_unsigned:
        return value(json.get<std::size_t>());
    case Json::value_t::number_float:
        return value(json.get<double>());
    default:
        return null();
    }
}

} // namespace vitrek::cli
