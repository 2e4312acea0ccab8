#include "JsonWriter.h"

#include <nlohmann/json.hpp>

namespace recognize {

namespace {

using Json = nlohmann::json;

void AppendWithoutControls(std::string_view json, std::string* clean) {
    for (std::size_t i = 0; i < json.size(); ++i) {
        const auto next = static_cast<unsigned char>(i + 1 < json.size() ? json[i + 1] : 0);
        if (json[i] == '\x7F') {
            *clean += "\\u007f";
        } else if (json[i] == '\xC2' && next < 0xA0) {
            *clean += next < 0x90 ? "\\u008" : "\\u009";
            *clean += "0123456789abcdef"[next & 15];
            ++i;
        } else {
            *clean += json[i];
        }
    }
}

}  // namespace

void JsonWriter::Name(std::string_view name) {
    Verbatim("\"");
    text_ += name;
    text_ += "\":";
    is_first_ = true;
}

void JsonWriter::Text(std::string_view text) {
    Verbatim("");
    AppendWithoutControls(Json(text).dump(-1, ' ', false, Json::error_handler_t::replace), &text_);
}

void JsonWriter::Number(double number) {
    Verbatim(Json(number).dump());
}

void JsonWriter::Verbatim(std::string_view json) {
    if (!std::exchange(is_first_, false)) {
        text_ += ',';
    }
    text_ += json;
}

bool IsUtf8(std::string_view text) {
    try {
        static_cast<void>(Json(text).dump());
        return true;
    } catch (const Json::type_error&) {
        return false;
    }
}

}  // namespace recognize
