// SPDX-License-Identifier: MIT

#pragma once

#include "remote/xml/FEncXml.h"

#include <cstddef>
#include <initializer_list>
#include <random>
#include <string>
#include <string_view>
#include <utility>

/// Makes the messages that the XML paths are measured with.
namespace kvn::bench {

/// Enough different messages that the branch predictor cannot learn them.
inline constexpr std::size_t kMessages = 1024;

class Generator {
public:
    std::size_t number(std::size_t least, std::size_t most) {
        return std::uniform_int_distribution<std::size_t>(least, most)(random_);
    }

    /// Returns plain text, sometimes with a character that needs escaping.
    std::string text(std::size_t least, std::size_t most) {
        static constexpr std::string_view kUnits =
            "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_./: ";
        std::string text;
        for (std::size_t left = number(least, most); left > 0; --left) {
            text += kUnits[number(0, kUnits.size() - 1)];
        }
        if (!text.empty() && number(0, 15) == 0) {
            text[number(0, text.size() - 1)] = "&<>\""[number(0, 3)];
        }
        return text;
    }

    std::string digits(std::size_t most) { return std::to_string(number(0, most)); }

private:
    std::mt19937 random_{20240307};
};

inline std::string element(const char* name,
                           std::initializer_list<std::pair<const char*, std::string>> attributes,
                           std::string_view end) {
    Kvs::FMStr<char> out;
    out.append('<');
    out.append(name);
    for (const auto& [attribute, value] : attributes) {
        out.append(' ');
        out.append(attribute);
        out.append("=\"");
        Kvs::FEncXml<char>::addEncoded(out, value.c_str(), -1);
        out.append('"');
    }
    out.append(end);
    return std::string(out.token());
}

inline std::string proxy(Generator& make) {
    return element("Proxy",
                   {{"Name", make.text(3, 20)},
                    {"Server", make.text(5, 25)},
                    {"Time", make.text(8, 19)},
                    {"Priority", make.digits(20)},
                    {"Value", make.digits(3)}},
                   "/>");
}

} // namespace kvn::bench
