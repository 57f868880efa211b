#include "core/logging/FLogRecord.h"

namespace Kvs {

void TFValueBase::appendTo(std::string& line) const {
    if (const auto* text = std::get_if<std::string>(&value_)) {
        line += *text;
    } else if (const auto* number = std::get_if<std::uint32_t>(&value_)) {
        line += std::to_string(*number);
    } else {
        line += std::to_string(std::get<std::int32_t>(value_));
    }
}

FGStr<char> TFValueBase::toCString() const {
    std::string text;
    appendTo(text);
    return FGStr<char>(std::move(text));
}

} // namespace Kvs
