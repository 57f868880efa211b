// SPDX-License-Identifier: MIT

// Compares the XML codec with pugixml, RapidXML and fmt on the messages that the agent and the service
// exchange.

#include "benchmarks/Messages.h"
#include "remote/xml/FEncXml.h"
#include "remote/xml/FEncXmlDocument.h"

#include <benchmark/benchmark.h>
#include <fmt/compile.h>
#include <fmt/format.h>
#include <pugixml.hpp>
#include <rapidxml/rapidxml.hpp>

#include <array>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using kvn::bench::element;
using kvn::bench::Generator;
using kvn::bench::kMessages;
using kvn::bench::proxy;

/// Returns a message of about 320 bytes on average.
std::string message(Generator& make) {
    switch (make.number(0, 2)) {
    case 0:
        return element("Status",
                       {{"Value", make.text(5, 8)},
                        {"RequestData", make.digits(100000)},
                        {"Server", make.text(5, 30)},
                        {"Version", make.text(5, 10)},
                        {"LastError", make.text(0, 60)},
                        {"RemoteRegistrationName", make.text(5, 40)},
                        {"SubProcessSessions", make.text(0, 30)}},
                       ">") +
               proxy(make) + "</Status>";
    case 1:
        return element("RegisterAgent",
                       {{"SessionID", make.digits(1000000)},
                        {"UserID", make.text(60, 200)},
                        {"ProcessID", make.digits(100000)},
                        {"RequestData", make.digits(100000)}},
                       "></RegisterAgent>");
    default:
        return element("ServiceCommand",
                       {{"Command", make.text(8, 20)},
                        {"Executable", make.text(30, 100)},
                        {"Parameters", make.text(100, 300)}},
                       "/>");
    }
}

const std::vector<std::string>& messages() {
    static const std::vector<std::string> all = [] {
        Generator make;
        std::vector<std::string> made;
        for (std::size_t i = 0; i < kMessages; ++i) {
            made.push_back(message(make));
        }
        return made;
    }();
    return all;
}

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

// Each writer makes the RegisterAgent element with its end tag of the same values, into a buffer that it
// keeps.

using Values = std::array<std::string, 4>;
constexpr const char* kNames[] = {"SessionID", "UserID", "ProcessID", "RequestData"};

const std::vector<Values>& registrations() {
    static const std::vector<Values> all = [] {
        Generator make;
        std::vector<Values> made(kMessages);
        for (Values& values : made) {
            values = {make.digits(1000000), make.text(3, 20), make.digits(100000), make.digits(100000)};
        }
        return made;
    }();
    return all;
}

class OursWriter {
public:
    std::string_view write(const Values& values) {
        Kvs::FEncXmlAttributeMap attributes;
        for (std::size_t i = 0; i < values.size(); ++i) {
            attributes.set(kNames[i], values[i]);
        }
        return write(attributes);
    }

    std::string_view write(const Kvs::FEncXmlAttributeMap& attributes) {
        out_.clear();
        Kvs::FEncXml<char>::addOpenTag(out_, "RegisterAgent", &attributes);
        Kvs::FEncXml<char>::addCloseTag(out_, "RegisterAgent");
        return out_.token();
    }

private:
    Kvs::FMStr<char> out_;
};

class FmtWriter {
public:
    std::string_view write(const Values& values) {
        out_.clear();
        fmt::format_to(std::back_inserter(out_),
                       FMT_COMPILE("<{} {}=\"{}\" {}=\"{}\" {}=\"{}\" {}=\"{}\"></{}>"), "RegisterAgent",
                       kNames[0], escaped(0, values), kNames[1], escaped(1, values), kNames[2],
                       escaped(2, values), kNames[3], escaped(3, values), "RegisterAgent");
        return {out_.data(), out_.size()};
    }

private:
    std::string_view escaped(std::size_t index, const Values& values) {
        const char* text = values[index].c_str();
        if (text[std::strcspn(text, "\"&<>")] == '\0') {
            return text;
        }
        std::string& copy = copies_[index];
        copy.clear();
        for (; *text; ++text) {
            switch (*text) {
            case '"':
                copy += "&#34;";
                break;
            case '&':
                copy += "&amp;";
                break;
            case '<':
                copy += "&#60;";
                break;
            case '>':
                copy += "&#62;";
                break;
            default:
                copy += *text;
            }
        }
        return copy;
    }

    fmt::memory_buffer out_;
    std::array<std::string, 4> copies_;
};

class PugixmlWriter : pugi::xml_writer {
public:
    std::string_view write(const Values& values) {
        out_.clear();
        document_.reset();
        pugi::xml_node element = document_.append_child("RegisterAgent");
        for (std::size_t i = 0; i < values.size(); ++i) {
            element.append_attribute(kNames[i]) = values[i].c_str();
        }
        document_.save(*this, "", pugi::format_raw | pugi::format_no_declaration);
        return out_;
    }

    void write(const void* data, std::size_t size) override {
        out_.append(static_cast<const char*>(data), size);
    }

private:
    std::string out_;
    pugi::xml_document document_;
};

template <class Writer, class Values>
void write(benchmark::State& state, const std::vector<Values>& all) {
    if (!contendersAgree()) {
        state.SkipWithError("the contenders write different things");
        return;
    }
    Writer writer;
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(writer.write(all[next]));
        next = next + 1 == all.size() ? 0 : next + 1;
    }
}

/// Returns the attributes that the client passes to the writer, prepared as far as the values that its peers
/// get.
std::vector<Kvs::FEncXmlAttributeMap> attributeMaps() {
    std::vector<Kvs::FEncXmlAttributeMap> maps(registrations().size());
    for (std::size_t i = 0; i < maps.size(); ++i) {
        for (std::size_t j = 0; j < std::size(kNames); ++j) {
            maps[i].set(kNames[j], registrations()[i][j]);
        }
    }
    return maps;
}

/// Returns true if all contenders do the same work; otherwise a comparison is meaningless. (pugixml decodes
/// while it parses, so that a first character may differ from the raw one; its two ways agree with each
/// other.)
bool contendersAgree() {
    static const bool agree = [] {
        for (const auto* texts : {&messages(), &largeDocument()}) {
            for (const std::string& text : *texts) {
                if (Ours().read(text) != Rapidxml().read(text) ||
                    Pugixml().read(text) != PugixmlInPlace().read(text)) {
                    return false;
                }
            }
        }
        for (const Values& values : registrations()) {
            const std::string ours(OursWriter().write(values));
            if (ours != FmtWriter().write(values)) {
                return false;
            }
        }
        return true;
    }();
    return agree;
}

template <class Contender>
void parse(benchmark::State& state) {
    read<Contender>(state, messages());
}

template <class Contender>
void parseLarge(benchmark::State& state) {
    read<Contender>(state, largeDocument());
}

template <class Contender>
void writeValues(benchmark::State& state) {
    write<Contender>(state, registrations());
}

void writeMaps(benchmark::State& state) { write<OursWriter>(state, attributeMaps()); }

BENCHMARK(parse<Ours>)->Name("xml_parse/ours");
BENCHMARK(parse<PugixmlInPlace>)->Name("xml_parse/pugixml");
BENCHMARK(parse<Pugixml>)->Name("xml_parse/pugixml_load_buffer");
BENCHMARK(parse<Rapidxml>)->Name("xml_parse/rapidxml");
BENCHMARK(parseLarge<Ours>)->Name("xml_large/ours");
BENCHMARK(parseLarge<PugixmlInPlace>)->Name("xml_large/pugixml");
BENCHMARK(parseLarge<Rapidxml>)->Name("xml_large/rapidxml");
BENCHMARK(writeMaps)->Name("xml_write/ours");
BENCHMARK(writeValues<OursWriter>)->Name("xml_write/ours_filling_the_map");
BENCHMARK(writeValues<FmtWriter>)->Name("xml_write/fmt");
BENCHMARK(writeValues<PugixmlWriter>)->Name("xml_write/pugixml");

} // namespace
