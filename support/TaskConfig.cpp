#include "TaskConfig.h"

#include <string_view>

#include "text_split.h"

TaskConfig::TaskConfig(const std::string& text) {
    std::string_view rest = text;
    while (!rest.empty()) {
        std::string_view value = Trim(CutFront(&rest, ','));
        if (value.empty()) continue;
        const std::string_view name = Trim(CutFront(&value, '='));
        map_config_.insert_or_assign(std::string(name), std::string(Trim(value)));
    }
}
