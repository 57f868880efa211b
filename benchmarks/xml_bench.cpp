// SPDX-License-Identifier: MIT

// Compares the XML reader with pugixml and RapidXML on a document of 1 MB. Messages are measured in
// client_bench.

#include "benchmarks/Messages.h"
#include "remote/xml/FEncXml.h"
#include "remote/xml/FEncXmlDocument.h"

#include <benchmark/benchmark.h>
#include <pugixml.hpp>
#include <rapidxml/rapidxml.hpp>

#include <string>
#include <string_view>
#include <vector>

namespace {

using kvn::bench::Generator;
using kvn::bench::proxy;

/// Returns a document of 1 MB: a status answer with many proxies, white space between them and some text
/// inside.
const std::vector<std::string>& largeDocument() {
    static const std::vector<std::string> all = [] {
        Generator make;
        std::string text = "<Status Value=\"online\">";
        while (text.size() < 1000000) {
            text += "\n  ";
            if (make.number(0, 2) == 0) {
                text += "<Note Id=\"" + make.digits(9999) + "\"><Line>" + proxy(make) +
                        std::string(make.number(10, 80), 'x') + "</Line></Note>";
            } else {
                text += proxy(make);
            }
        }
        return std::vector<std::string>{text + "\n</Status>"};
    }();
    return all;
}

bool contendersAgree();

// Each reader makes its tree from a text that it must not change, and then looks at the first character of
// every element's and every attribute's name and of every value.

class Ours {
public:
    std::size_t read(const std::string& text) {
        long consumed = 0;
        document_.loadXml(text.data(), static_cast<long>(text.size()), consumed);
        return touch(document_.root());
    }

private:
    static std::size_t first(const Kvs::FEncXmlFragment<char>& fragment) {
        return fragment.isEmpty() ? 0 : static_cast<unsigned char>(*fragment.text);
    }

    static std::size_t touch(const Kvs::FEncXmlNode<char>& node) {
        std::size_t sum = first(node.name());
        for (const auto& attribute : node.attributes()) {
            sum += first(attribute.name) + first(attribute.value);
        }
        for (const auto& child : node.children()) {
            sum += touch(child);
        }
        return sum;
    }

    Kvs::FEncXmlDocument<char> document_;
};

class Pugixml {
public:
    std::size_t read(const std::string& text) {
        document_.load_buffer(text.data(), text.size(), pugi::parse_minimal);
        return touch(document_.document_element());
    }

protected:
    static std::size_t touch(const pugi::xml_node& node) {
        std::size_t sum = static_cast<unsigned char>(*node.name());
        for (const auto& attribute : node.attributes()) {
            sum += static_cast<unsigned char>(*attribute.name());
            sum += static_cast<unsigned char>(*attribute.value());
        }
        for (const auto& child : node.children()) {
            if (child.type() == pugi::node_element) {
                sum += touch(child);
            }
        }
        return sum;
    }

    pugi::xml_document document_;
};

class PugixmlInPlace : Pugixml {
public:
    std::size_t read(const std::string& text) {
        copy_.assign(text);
        document_.load_buffer_inplace(copy_.data(), copy_.size(), pugi::parse_minimal);
        return touch(document_.document_element());
    }

private:
    std::string copy_;
};

class Rapidxml {
public:
    std::size_t read(const std::string& text) {
        copy_.assign(text);
        document_.clear();
        document_.parse<rapidxml::parse_fastest>(copy_.data());
        return touch(document_.first_node());
    }

private:
    static std::size_t first(const char* text, std::size_t length) {
        return length == 0 ? 0 : static_cast<unsigned char>(*text);
    }

    static std::size_t touch(const rapidxml::xml_node<>* node) {
        std::size_t sum = first(node->name(), node->name_size());
        for (auto* attribute = node->first_attribute(); attribute; attribute = attribute->next_attribute()) {
            sum += first(attribute->name(), attribute->name_size());
            sum += first(attribute->value(), attribute->value_size());
        }
        for (auto* child = node->first_node(); child; child = child->next_sibling()) {
            if (child->type() == rapidxml::node_element) {
                sum += touch(child);
            }
        }
        return sum;
    }

    std::string copy_;
    rapidxml::xml_document<> document_;
};

template <class Reader>
void read(benchmark::State& state, const std::vector<std::string>& texts) {
    if (!contendersAgree()) {
        state.SkipWithError("the contenders read different things");
        return;
    }
    Reader reader;
    std::size_t next = 0;
    std::size_t bytes = 0;
    for (auto _ : state) {
        const std::string& text = texts[next];
        benchmark::DoNotOptimize(reader.read(text));
        bytes += text.size();
        next = next + 1 == texts.size() ? 0 : next + 1;
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
}

/// Returns true if all contenders do the same work; otherwise a comparison is meaningless. (pugixml decodes
/// while it parses, so that a first character may differ from the raw one; its two ways agree with each
/// other.)
bool contendersAgree() {
    static const bool agree = [] {
        for (const std::string& text : largeDocument()) {
            if (Ours().read(text) != Rapidxml().read(text) ||
                Pugixml().read(text) != PugixmlInPlace().read(text)) {
                return false;
            }
        }
        return true;
    }();
    return agree;
}

template <class Contender>
void parseLarge(benchmark::State& state) {
    read<Contender>(state, largeDocument());
}

BENCHMARK(parseLarge<Ours>)->Name("xml_large/ours");
BENCHMARK(parseLarge<Pugixml>)->Name("xml_large/pugixml_load_buffer");
BENCHMARK(parseLarge<PugixmlInPlace>)->Name("xml_large/pugixml");
BENCHMARK(parseLarge<Rapidxml>)->Name("xml_large/rapidxml");

} // namespace
