// SPDX-License-Identifier: MIT

#include "host/posix/AppBundle.h"
#include "host/plist/PortablePropertyList.h"
#include "host/posix/StringsTable.h"
#include "tests/support/Test.h"

namespace kvn::test {
namespace {

using Texts = std::map<std::string, std::string, std::less<>>;

TEST(StringsTable, ReadsTheClassicForm) {
    const struct {
        std::string source;
        Texts texts;
        std::vector<std::size_t> brokenLines;
    } cases[] = {
        {"\xEF\xBB\xBF/* a \"b\" = \"c\"; */ // d\r\n\"k\"=\"v\";\"l\" /**/ = // x\n \"w\" ;",
         {{"k", "v"}, {"l", "w"}},
         {}},
        {R"("q\"\\\n\t" = "\U00e9\u20AC\UD83D\uDE00\z";)", {{"q\"\\\n\t", "\u00e9\u20ac\U0001F600z"}}, {}},
        {"\"k\" = \"1\";\n\"k\" = \"two\nlines\";", {{"k", "two\nlines"}}, {}},
        // A broken line costs that line.
        {"\"a\" = \"1\";\n\"b\" = \"2\"\n\"c\" \"3\";\n\nd = \"4\";\n\"e\" = \"5\";",
         {{"a", "1"}, {"e", "5"}},
         {2, 3, 5}},
        {"\"a\" = \"\\U12\";\n\"b\" = \"\\UD83D\";\n\"d\" = \"4\";", {{"d", "4"}}, {1, 2}},
    };
    for (const auto& [source, texts, brokenLines] : cases) {
        const host::StringsTable table = host::parseStringsTable(source);
        EXPECT_EQ(table.texts, texts) << source;
        EXPECT_EQ(table.brokenLines, brokenLines) << source;
    }
}

class AppBundle : public testing::Test {
protected:
    std::string add(const std::string& file, const std::string& content) {
        const std::string path = folder_.file(file);
        fs::create_directories(fs::path(path).parent_path());
        writeFile(path, content);
        return path;
    }
    void addList(const std::string& app, const std::string& entries) {
        add(app + "/Contents/Info.plist", "<plist version=\"1.0\"><dict>" + entries + "</dict></plist>");
    }

    TemporaryFolder folder_;
    host::PortablePropertyList propertyLists_;
    CapturedLog log_;
};

TEST_F(AppBundle, ChoosesTheTextsOfTheFirstPreferredLanguage) {
    for (const std::string language : {"en", "pt", "pt-BR", "zh-Hans"}) {
        add("Own.app/Contents/Resources/" + language + ".lproj/Localizable.strings",
            "\"a\" = \"" + language + "\";\n" + (language == "en" ? "\"b\" = \"b of en\";\n\"broken\n" : ""));
    }
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {{}, "en"},
        {{"pt-BR"}, "pt-BR"},
        {{"pt-PT", "pt-BR"}, "pt"},
        {{"pt-AO"}, "pt"},
        {{"zh-Hans"}, "zh-Hans"},
        {{"sv", "pt-BR"}, "en"}, // as language.xml, whose texts stand beside these
    };
    for (const auto& [preferred, chosen] : cases) {
        const host::AppBundle bundle(folder_.file("Own.app"), propertyLists_, preferred);
        EXPECT_EQ(bundle.localizedStrings(), (Texts{{"a", chosen}, {"b", "b of en"}}));
        EXPECT_EQ(bundle.localizedString("b"), "b of en");
        EXPECT_EQ(bundle.localizedString("c"), "c"); // the key of a text that is missing
    }
    EXPECT_TRUE(log_.contains("Skipped the broken line 3 of " + folder_.path()));
}

TEST_F(AppBundle, FindsItsInformationAndTheExecutablesOfOthers) {
    const std::string key = "<key>CFBundleExecutable</key>";
    addList("Named.app", key + "<string>client</string>");
    addList("Other.app", key + "<true/>");
    addList("Broken.app", "<dict>");
    const std::string named = add("Named.app/Contents/MacOS/client", "");
    const std::string other = add("Other.app/Contents/MacOS/Other", "");
    const std::string broken = add("Broken.app/Contents/MacOS/Broken", "");
    const std::string language = add("Named.app/Contents/Resources/language.xml", "");

    const host::AppBundle bundle(folder_.file("Named.app"), propertyLists_);
    EXPECT_EQ(bundle.infoValue("CFBundleExecutable"), "client");
    EXPECT_EQ(bundle.infoValue("missing"), std::nullopt);
    EXPECT_EQ(bundle.resourcePath("language", "xml"), language);
    EXPECT_EQ(bundle.resourcePath("language", "txt"), std::nullopt);
    EXPECT_EQ(bundle.executableOf(folder_.file("Named.app")), named);
    EXPECT_EQ(bundle.executableOf(folder_.file("Other.app")), other);
    EXPECT_EQ(bundle.executableOf(folder_.file("Broken.app")), broken);
    EXPECT_EQ(bundle.executableOf(folder_.file("Missing.app")), std::nullopt);
    EXPECT_TRUE(log_.contains("Could not read Info.plist of " + folder_.file("Broken.app")));
}

} // namespace
} // namespace kvn::test
