#include "Updater/UpdateFeed.h"

#include <nlohmann/json.hpp>

namespace brivel {
namespace {

using Json = nlohmann::json;

const Json* find(const Json& object, const char* key) {
    const auto found = object.find(key);
    return found == object.end() ? nullptr : &*found;
}

// A required string member; absent when missing or not a string.
std::optional<std::string> text(const Json& object, const char* key) {
    const Json* value = find(object, key);
    if (value == nullptr || !value->is_string()) {
        return std::nullopt;
    }
    return value->get<std::string>();
}

// An optional string member: `ok` turns false when it is present with another type.
std::optional<std::string> optionalText(const Json& object, const char* key, bool& ok) {
    const Json* value = find(object, key);
    if (value == nullptr || value->is_null()) {
        return std::nullopt;
    }
    if (!value->is_string()) {
        ok = false;
        return std::nullopt;
    }
    return value->get<std::string>();
}

std::optional<UpdateFeed::Download> decodeDownload(const Json& object) {
    const auto url = text(object, "url");
    const auto signature = text(object, "edSignature");
    const Json* length = find(object, "length");
    if (!url || !signature || length == nullptr || !length->is_number_integer()) {
        return std::nullopt;
    }
    if (length->is_number_unsigned() ? length->get<std::uint64_t>() > INT64_MAX : length->get<std::int64_t>() < 0) {
        return std::nullopt;
    }
    return UpdateFeed::Download{*url, length->get<std::int64_t>(), *signature};
}

} // namespace

std::optional<UpdateFeed> UpdateFeed::decode(std::string_view json) {
    const Json document = Json::parse(json.begin(), json.end(), nullptr, false);
    if (document.is_discarded() || !document.is_object()) {
        return std::nullopt;
    }
    UpdateFeed feed;
    auto version = text(document, "version");
    auto url = text(document, "url");
    if (!version || !url) {
        return std::nullopt;
    }
    feed.version = std::move(*version);
    feed.url = std::move(*url);
    bool ok = true;
    feed.notes = optionalText(document, "notes", ok);
    feed.minimumSystemVersion = optionalText(document, "minimumSystemVersion", ok);
    if (const Json* value = find(document, "download"); value != nullptr && !value->is_null()) {
        feed.download = value->is_object() ? decodeDownload(*value) : std::nullopt;
        ok = ok && feed.download.has_value();
    }
    if (!ok) {
        return std::nullopt;
    }
    return feed;
}

std::string UpdateFeed::encode() const {
    Json document = {{"version", version}, {"url", url}};
    if (notes) {
        document["notes"] = *notes;
    }
    if (minimumSystemVersion) {
        document["minimumSystemVersion"] = *minimumSystemVersion;
    }
    if (download) {
        document["download"] = {
            {"url", download->url}, {"length", download->length}, {"edSignature", download->edSignature}};
    }
    return document.dump(2);
}

} // namespace brivel
