#include "remote/xml/FEncXmlDocument.h"

#include "core/text/FGStr.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace std::string_literals;
using Kvs::FEncXmlDocument;
using Kvs::FEncXmlNode;

/// A text of exactly its size, so that reading behind it is an error that sanitizers see.
template <class C>
bool load(FEncXmlDocument<C>& document, std::basic_string_view<C> text, long& consumed) {
    const std::unique_ptr<C[]> exact(new C[text.size()]);
    std::copy(text.begin(), text.end(), exact.get());
    return document.loadXml(exact.get(), static_cast<long>(text.size()), consumed);
}

std::string narrow(Kvs::FStrToken<char> text) { return std::string(text); }
std::string narrow(Kvs::FStrToken<wchar_t> text) { return Kvs::fNarrow(text); }

/// All that a node gives, in a form that shows every boundary: name(attribute=value;...)[text|...]{child...}
template <class C>
std::string shape(const FEncXmlNode<C>& node) {
    std::string out = narrow(node.name().token());
    std::string inner;
    for (const auto& attribute : node.attributes()) {
        inner += narrow(attribute.name.token()) + "=" + narrow(attribute.value.token()) + ";";
    }
    out += inner.empty() ? "" : "(" + inner + ")";
    inner.clear();
    for (const auto& text : node.text()) {
        inner += narrow(text.token()) + "|";
    }
    out += inner.empty() ? "" : "[" + inner + "]";
    inner.clear();
    for (const auto& child : node.children()) {
        inner += shape(child) + " ";
    }
    return out + (inner.empty() ? "" : "{" + inner + "}");
}

/// The shape of what a text loads as, "fails", or what the two character types disagree in.
std::string loaded(const std::string& text) {
    FEncXmlDocument<char> document;
    FEncXmlDocument<wchar_t> wideDocument;
    long consumed = 0;
    long wideConsumed = 0;
    const std::wstring wide = Kvs::fWiden(text).str();
    const bool succeeded = load<char>(document, text, consumed);
    if (load<wchar_t>(wideDocument, wide, wideConsumed) != succeeded || consumed != wideConsumed ||
        shape(document.root()) != shape(wideDocument.root())) {
        return "char and wchar_t differ";
    }
    if (!succeeded) {
        return document.root() || consumed != -1 ? "fails and leaves something" : "fails";
    }
    return shape(document.root());
}

struct Case {
    std::string text;
    std::string expected;
};

void expectAll(const std::vector<Case>& cases) {
    for (const Case& each : cases) {
        EXPECT_EQ(loaded(each.text), each.expected) << each.text;
    }
}

TEST(FEncXmlDocument, ReadsTags) {
    expectAll({
        {"<a/>", "a"},
        {"<a />", "a"},
        {"<a></a>", "a"},
        {R"(<a x="1" y=2 />)", "a(x=1;y=2;)"},
        {R"(<a x="1"y="2"/>)", "a(x=1;y=2;)"},
        {"<a x=1/>", "a(x=1;)"},
        {"<a x=1></a>", "a(x=1;)"},
        {"<a x=1\ty=2></a>", "a(x=1\ty=2;)"}, // the space alone ends an unquoted value ...
        {"<a \t\r\n x=\"1\"\n\ty=\"2\"></a>", "a(x=1;y=2;)"},
        {"<a\tx=\"1\" y=\"2\"/>", "a\tx=\"1\"(y=2;)"}, // ... and a name
        {"<a x='1'></a>", "a(x='1';)"},
        {"<a x='1 2'></a>", "a(x='1;)"}, // what is left, `2'`, has no "="
        {R"(<a x=""/>)", "a(x=;)"},
        {R"(<a x="&lt;=/ <'"/>)", "a(x=&lt;=/ <';)"},
        {R"(<a x ="1" b c="2"/>)", "a(x =1;b c=2;)"},
        {R"(<a x= "1"/>)", "a(x=;)"},
        {R"(<a b "=" c="1"/>)", "a(b \"= c=;)"},
        {R"(<a x="/"></a>)", "a(x=/;)"},
        {R"(<a x="b=c" y=d=e f=/>)", "a(x=b=c;y=d=e;f=;)"},
        {"<a =1 =/>", "a(=;)"}, // one attribute without a name, given twice
        {"<a=1/>", "a=1"},
        {"<a x=></a>", "a(x=;)"},
        {R"(<a x="></a>)", "a(x=;)"},
        {R"(<a x="1>2"></a>)", "a(x=1;)[2\">|]"}, // the first ">" ends the tag
        {R"(<a x="1/>)", "a(x=1;)"},
        {R"(<a x="1" y="2" x="3" X="4"/>)", "a(x=3;y=2;X=4;)"},
        {"<\xC3\xA4 \xF0=\"\xFF\"/>", "\xC3\xA4(\xF0=\xFF;)"},
        {"<a x=\"\0\"/>"s, "a(x=\0;)"s},
        {"<a\0/>"s, "a\0"s},
    });
}

TEST(FEncXmlDocument, ReadsContent) {
    expectAll({
        {"<a><b/>text<c></c></a>", "a[text|]{b c }"},
        {"<a> <b/> </a>", "a[ | |]{b }"},
        {"<a>1<b>2<c>3</c>4</b>5<d/>6</a>", "a[1|5|6|]{b[2|4|]{c[3|] } d }"},
        {"<a>x > y = \"z\"</a>", "a[x > y = \"z\"|]"},
        {"<a>&amp;</a>", "a[&amp;|]"},
        {"<a><></></a>", "a{ }"},
        {"<a><!-- - --></!--></a>", "a{!-- }"}, // no rule for comments: an element of that name
        {"<a><!-- no end tag --></a>", "fails"},
        {"<?xml version=\"1.0\"?><a/>", "fails"},
        {"<![CDATA[x]]>", "fails"},
    });
}

TEST(FEncXmlDocument, FailsAsAWhole) {
    for (const std::string text :
         {"",           "<",           "<a",      "<a>",          "</a>",     "</>",
          "< />",       "<></>",       "<a><b",   "<a x=\"1\"",   "<a x=",    "<a x=1",
          " <a/>",      "x<a/>",       "<a></b>", "<a></A>",      "<a></a >", "<a></ab>",
          "<ab></a>",   "<a></a",      "<a></",   "<a><",         "<a>text",  "<a><b></a></b>",
          "<a><b></a>", "<a><b/></b>", "<a></>",  "\xEF\xBB\xBF", "====",     ">>>>",
          "\"\"\"\""}) {
        EXPECT_EQ(loaded(text), "fails") << text;
    }
    EXPECT_EQ(loaded("\0\0\0\0<a/>"s), "fails");
    FEncXmlDocument<char> document;
    EXPECT_FALSE(document.loadXml(nullptr));
}

/// Every piece of a message falls on every place in a scanned block, and every cut-off message fails.
TEST(FEncXmlDocument, BlocksDoNotShow) {
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

TEST(FEncXmlDocument, BoundsLevelsAndAttributes) {
    const auto nested = [](std::size_t levels) {
        std::string text;
        for (std::size_t i = 0; i < levels; ++i) {
            text.insert(0, "<a>");
            text += "</a>";
        }
        return text;
    };
    const auto attributes = [](std::size_t count) {
        std::string text = "<a";
        for (std::size_t i = 0; i < count; ++i) {
            text += " n" + std::to_string(i) + "=1";
        }
        return text + " n0=2/>";
    };
    constexpr std::size_t kLevels = FEncXmlDocument<char>::kMostLevels;
    constexpr std::size_t kAttributes = FEncXmlDocument<char>::kMostAttributes;

    EXPECT_NE(loaded(nested(kLevels)), "fails");
    EXPECT_EQ(loaded(nested(kLevels + 1)), "fails");
    EXPECT_NE(loaded(attributes(kAttributes)), "fails");
    EXPECT_EQ(loaded(attributes(kAttributes + 1)), "fails");

    std::string open;
    for (int i = 0; i < 100000; ++i) {
        open += "<a>";
    }
    EXPECT_EQ(loaded(open), "fails");
}

TEST(FEncXmlDocument, FindsByName) {
    FEncXmlDocument<char> document;
    ASSERT_TRUE(document.loadXml("<s><p n=\"1\"/><q><p n=\"deep\"/></q><p n=\"2\" m=\"\"></p><P/></s>"));
    const auto found = document.root().getElementsByTagName("p");
    ASSERT_EQ(found.size(), 2u);
    EXPECT_TRUE(found[0].attribute("n") == "1");
    EXPECT_TRUE(found[1].attribute("n") == "2");
    EXPECT_TRUE(found[1].attribute("m").isEmpty());
    EXPECT_TRUE(found[1].attribute("N").isEmpty());
    EXPECT_EQ(found[1].attributes().count(), 2u);
    EXPECT_TRUE(document.root().getElementsByTagName("pp").empty());
    EXPECT_FALSE(document.root().name() == nullptr);

    const FEncXmlNode<char> none;
    EXPECT_FALSE(none);
    EXPECT_EQ(shape(none), "");
    EXPECT_TRUE(none.attribute("n").isEmpty());
    EXPECT_TRUE(none.getElementsByTagName("p").empty());
}

TEST(FEncXmlDocument, TakesDocumentsOneAfterTheOther) {
    const std::string buffer = "\xEF\xBB\xBF<a x=\"1\"/><b>2</b>\r\n <c/>rest";
    FEncXmlDocument<char> document;
    std::vector<std::string> roots;
    std::size_t at = 0;
    long consumed = 0;
    while (load<char>(document, std::string_view(buffer).substr(at), consumed)) {
        roots.push_back(shape(document.root()));
        at += static_cast<std::size_t>(consumed) + 1;
        EXPECT_EQ(buffer[at - 1], '>');
        at = std::min(buffer.find_first_not_of("\r\n ", at), buffer.size());
    }
    EXPECT_EQ(roots, (std::vector<std::string>{"a(x=1;)", "b[2|]", "c"}));
    EXPECT_EQ(buffer.substr(at), "rest");
    EXPECT_EQ(consumed, -1);
    EXPECT_FALSE(document.root());
}

TEST(FEncXmlDocument, SkipsAByteOrderMarkInBytesOnly) {
    FEncXmlDocument<char> document;
    long consumed = 0;
    ASSERT_TRUE(load<char>(document, "\xEF\xBB\xBF<a></a>", consumed));
    EXPECT_EQ(consumed, 9);
    EXPECT_FALSE(load<char>(document, "\xEF\xBB\xBF\xEF\xBB\xBF<a></a>", consumed));
    FEncXmlDocument<wchar_t> wide;
    EXPECT_FALSE(load<wchar_t>(wide, L"\xEF\xBB\xBF<a></a>", consumed));
    EXPECT_TRUE(wide.loadXml(L"<a x=\"\x20AC\"/>"));
    EXPECT_TRUE(wide.root().attribute(L"x") == L"\x20AC");
}

} // namespace
