// SPDX-License-Identifier: MIT

#include "remote/xml/FEncXmlDocument.h"
#include "tests/support/Test.h"

#include "core/text/FGStr.h"

namespace {

using namespace kvn::test;

using Kvs::FEncXmlDocument;
using Kvs::FEncXmlNode;

/// Loads a copy of exactly the text's size, so that sanitizers see a read behind its end.
template <class C>
bool load(FEncXmlDocument<C>& document, std::basic_string_view<C> text, long& consumed) {
    const std::unique_ptr<C[]> exact(new C[text.size()]);
    std::copy(text.begin(), text.end(), exact.get());
    return document.loadXml(exact.get(), static_cast<long>(text.size()), consumed);
}

std::string narrow(Kvs::FStrToken<char> text) { return std::string(text); }
std::string narrow(Kvs::FStrToken<wchar_t> text) { return Kvs::fNarrow(text); }

/// Shows the contents and their boundaries: name(attribute=value;...)[text|...]{child ...}
template <class C>
std::string shape(const FEncXmlNode<C>& node) {
    std::string attributes, texts, children;
    for (const auto& attribute : node.attributes()) {
        attributes += narrow(attribute.name.token()) + "=" + narrow(attribute.value.token()) + ";";
    }
    for (const auto& text : node.text()) {
        texts += narrow(text.token()) + "|";
    }
    for (const auto& child : node.children()) {
        children += shape(child) + " ";
    }
    return narrow(node.name().token()) + (attributes.empty() ? "" : "(" + attributes + ")") +
           (texts.empty() ? "" : "[" + texts + "]") + (children.empty() ? "" : "{" + children + "}");
}

/// Returns the shape of the loaded text, "fails", or how the two character types differ.
std::string loaded(const std::string& text) {
    FEncXmlDocument<char> document;
    FEncXmlDocument<wchar_t> wideDocument;
    long consumed = 0, wideConsumed = 0;
    const bool succeeded = load<char>(document, text, consumed);
    if (load<wchar_t>(wideDocument, Kvs::fWiden(text).str(), wideConsumed) != succeeded ||
        consumed != wideConsumed || shape(document.root()) != shape(wideDocument.root())) {
        return "char and wchar_t differ";
    }
    if (!succeeded) {
        return document.root() || consumed != -1 ? "fails and leaves something" : "fails";
    }
    return shape(document.root());
}

TEST(FEncXmlDocument, ReadsOneElementOrFails) {
    const std::pair<std::string, std::string> cases[] = {
        {R"(<a x="1" y=2 />)", "a(x=1;y=2;)"},
        {R"(<a x="1"y="2"/>)", "a(x=1;y=2;)"},
        {"<a x=1\ty=2></a>", "a(x=1\ty=2;)"}, // the space alone ends an unquoted value ...
        {"<a \t\r\n x=\"1\"\n\ty=\"2\"></a>", "a(x=1;y=2;)"},
        {"<a\tx=\"1\" y=\"2\"/>", "a\tx=\"1\"(y=2;)"}, // ... and a name
        {"<a x='1 2'></a>", "a(x='1;)"},               // what is left, `2'`, has no "="
        {R"(<a x="&lt;=/ <'"/>)", "a(x=&lt;=/ <';)"},
        {R"(<a x ="1" b c="2" d= "3"/>)", "a(x =1;b c=2;d=;)"},
        {R"(<a x="/"></a>)", "a(x=/;)"},
        {R"(<a x="b=c" y=d=e f=/>)", "a(x=b=c;y=d=e;f=;)"},
        {"<a =1 =/>", "a(=;)"}, // one attribute without a name, given twice
        {R"(<a x="></a>)", "a(x=;)"},
        {R"(<a x="1>2"></a>)", "a(x=1;)[2\">|]"}, // the first ">" ends the tag
        {R"(<a x="1" y="2" x="3" X="4"/>)", "a(x=3;y=2;X=4;)"},
        {"<\xC3\xA4 \xF0=\"\xFF\"/>", "\xC3\xA4(\xF0=\xFF;)"},
        {"<a x=\"\0\"/>"s, "a(x=\0;)"s},
        {"<a> <b/> </a>", "a[ | |]{b }"},
        {"<a>1<b>2<c>3</c>4</b>5<d/>6</a>", "a[1|5|6|]{b[2|4|]{c[3|] } d }"},
        {"<a>x > y = \"z\" &amp;</a>", "a[x > y = \"z\" &amp;|]"},
        {"<a><></></a>", "a{ }"},
        {"<a><!-- - --></!--></a>", "a{!-- }"}, // no rule for comments: an element of that name
        {"<a><!-- no end tag --></a>", "fails"},
        {"<?xml version=\"1.0\"?><a/>", "fails"},
        {"\0\0\0\0<a/>"s, "fails"},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(loaded(text), expected) << text;
    }
    for (const std::string text : {"</a>", "<></>", " <a/>", "x<a/>", "<a></>", "<a></A>", "<a></a >",
                                   "<a></ab>", "<ab></a>", "<a><b></a></b>", "<a><b/></b>", "\xEF\xBB\xBF"}) {
        EXPECT_EQ(loaded(text), "fails") << text;
    }
    EXPECT_FALSE(FEncXmlDocument<char>().loadXml(nullptr));
}

/// Every part of a message falls on every place in a scanned block, and every incomplete message fails.
TEST(FEncXmlDocument, TheSizeOfBlocksMakesNoDifference) {
    for (std::size_t padding = 0; padding < 140; ++padding) {
        const std::string pad(padding, 'p');
        const std::string text = "<Status Value=\"" + pad + "\" Server=relay" + pad + " V=\"1\">" + pad +
                                 "<Proxy" + pad + " Name=\"=<\" T=\"2\"/></Status>";
        const std::string texts = pad.empty() ? "" : "[" + pad + "|]";
        ASSERT_EQ(loaded(text), "Status(Value=" + pad + ";Server=relay" + pad + ";V=1;)" + texts + "{Proxy" +
                                    pad + "(Name==<;T=2;) }");
        for (std::size_t length = 0; length < text.size(); length += 1 + padding / 8) {
            ASSERT_EQ(loaded(text.substr(0, length)), "fails") << length;
        }
    }
}

TEST(FEncXmlDocument, LimitsLevelsAndAttributes) {
    std::string begin, end, attributes;
    for (std::size_t i = 1; i <= FEncXmlDocument<char>::kMostLevels + 1; ++i) {
        begin += "<a>";
        end += "</a>";
        EXPECT_EQ(loaded(begin + end) == "fails", i > FEncXmlDocument<char>::kMostLevels) << i;
    }
    for (std::size_t i = 1; i <= FEncXmlDocument<char>::kMostAttributes + 1; ++i) {
        attributes += " n" + std::to_string(i) + "=1";
        EXPECT_EQ(loaded("<a" + attributes + " n1=2/>") == "fails",
                  i > FEncXmlDocument<char>::kMostAttributes)
            << i;
    }
}

TEST(FEncXmlDocument, SkipsOneByteOrderMarkInBytes) {
    FEncXmlDocument<char> document;
    FEncXmlDocument<wchar_t> wide;
    long consumed = 0;
    EXPECT_TRUE(load<char>(document, "\xEF\xBB\xBF<a x=\"1\"/>rest", consumed));
    EXPECT_EQ(consumed, 12);
    EXPECT_EQ(shape(document.root()), "a(x=1;)");
    EXPECT_FALSE(load<char>(document, "\xEF\xBB\xBF\xEF\xBB\xBF<a></a>", consumed));
    EXPECT_FALSE(load<wchar_t>(wide, L"\xEF\xBB\xBF<a></a>", consumed));
    EXPECT_TRUE(wide.loadXml(L"<a x=\"\x20AC\"/>") && wide.root().attribute(L"x") == L"\x20AC");
}

} // namespace
