// SPDX-License-Identifier: MIT

#include "basic/FFLocalizedText.h"
#include "tests/support/Test.h"

#include "tests/support/AgentEnvironment.h"

namespace kvn::test {
namespace {

std::string language(const std::string& id, const std::string& pairs) {
    return "<Language langKey=\"" + id + "\">" + pairs + "</Language>";
}

std::string pair(const std::string& key, const std::string& value) {
    return "<KeyPair key=\"" + key + "\" value=\"" + value + "\"/>";
}

/// A language with its name. English has one text more.
std::string named(const std::string& id, const std::string& name) {
    return language(id, pair("name", name) + (id.empty() ? pair("gap", "only English") : ""));
}

std::string nested(int levels) {
    std::string text;
    for (int i = 0; i < levels; ++i) {
        text = "<a>" + text + "</a>";
    }
    return text;
}

class FFLocalizedTextTest : public testing::Test {
protected:
    FFLocalizedTextTest() { Kvs::FSysInfoPaths::setRoot(folder_.path()); } // trusts the own user's files
    ~FFLocalizedTextTest() override { Kvs::FSysInfoPaths::setRoot(""); }

    std::string file(const std::string& content) {
        const std::string path = folder_.file("language" + std::to_string(++files_) + ".xml");
        writeFile(path, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + content);
        ::chmod(path.c_str(), 0644);
        return path;
    }
    TemporaryFolder folder_;
    CapturedLog log_;
    FakeBundle bundle_;

private:
    int files_ = 0;
};

TEST_F(FFLocalizedTextTest, ChoosesTheFirstPreferredLanguage) {
    const std::string path = file("<All>" + named("22-01", "pt-BR") + named("7", "de") + named("", "en") +
                                  named("22-02", "pt") + named("12", "fr") + "</All>");
    const std::tuple<std::vector<std::string>, std::string, std::string> cases[] = {
        {{"de-AT", "fr"}, "de", "Language set to: de, preferred: de-AT"},
        {{"de", "fr"}, "de", "Language set to preferred language: de"},
        {{"pt-BR"}, "pt-BR", "Language set to preferred language: pt-BR"},
        {{"en-GB", "de"}, "en", "Language set to: en, preferred: en-GB"},
        {{"sv", "de"}, "en", "Preferred language not supported: sv, using default language: en"},
        {{}, "en", "No preferred languages in NSLocale. Using default lang: en"},
    };
    for (const auto& [preferred, chosen, line] : cases) {
        SCOPED_TRACE(line);
        const FFLocalizedText texts(bundle_, preferred, path);
        EXPECT_TRUE(log_.contains(line));
        EXPECT_EQ(texts.stringForKey("name"), chosen);
        EXPECT_EQ(texts.stringForKey("gap"), "only English");
    }
    EXPECT_TRUE(log_.contains("Loading system text resources for: 'de', Preferrences: de-AT fr "));
}

TEST_F(FFLocalizedTextTest, FindsAndReplacesTexts) {
    const FFLocalizedText texts(
        bundle_, {"de"}, file("<All>" + language("7", pair("t", "a %1 b %1 %2") + pair("e", "")) + "</All>"));
    EXPECT_EQ(texts.stringForKey("nothing"), "");
    EXPECT_EQ(texts.stringForKey("e"), "");
    EXPECT_EQ(log_.linesWith("not found!"),
              std::vector<std::string>{"Language Value \"nothing\" not found!"});
    // A replacement is not searched for its own placeholder, but for the next one.
    EXPECT_EQ(texts.stringForKeyWithReplacements("t", {{"%2%1", "%1"}, {"y", "%2"}}), "a y%1 b y%1 y");
    EXPECT_EQ(texts.languageCodeForCountry("br", "PT"), "22-01");
    EXPECT_EQ(texts.languageCodeForCountry("AO", "pt"), "22-02");
}

TEST_F(FFLocalizedTextTest, ReadsOddFilesAndRefusesHostileOnes) {
    const std::string stops = "FFLocalizedText: XML parser will stop. ", english = named("", "en");
    const std::tuple<std::string, std::string, std::string> cases[] = {
        // and the name of English, if there is one
        {"<All>" + english, stops + "Error: no element found (line 2, ", "en"},
        {"<!DOCTYPE All [<!ENTITY a \"a\"><!ENTITY b \"&a;&a;\">]><All>" + language("", pair("name", "&b;")) +
             "</All>",
         stops + "Validation error: an entity declaration (line 2, ", ""},
        {"<!DOCTYPE All [<!ENTITY % a SYSTEM \"/etc/passwd\"> %a;]><All>" + english + "</All>",
         stops + "Validation error: an entity declaration", ""},
        {"<!DOCTYPE All [<!ATTLIST KeyPair value CDATA \"x\">]><All>" + english + "</All>",
         stops + "Validation error: a default attribute", ""},
        {"<!DOCTYPE All [<!ATTLIST KeyPair value CDATA #REQUIRED>]><All>" + english + "</All>",
         "Language set to preferred language: en", "en"},
        {"<All>" + english + language("7", pair("k", std::string(LanguageFileParser::kMaxBytes, 'x'))) +
             "</All>",
         stops + "Validation error: more than 8388608 bytes", "en"},
        {"<All>" + nested(255) + english + nested(256) + "</All>",
         stops + "Validation error: more than 256 levels", "en"},
        {"<All>" + english + language("99", pair("name", "99")) + "<Language>" + pair("name", "none") +
             "</Language></All>",
         "No mapping for windows language id: 99", "en"},
        {"<All/>",
         "Cannot determine the language. No default language defined or the language resource file ", ""},
        // Elements that are no pairs, and two pairs with one key, of which the last counts.
        {"<All>" + pair("name", "0") +
             language("", "<Odd/><KeyPair/><KeyPair key=\"name\"/><KeyPair value=\"v\"/>" +
                              pair("name", "1") + pair("name", "e&#110;") +
                              "<Odd key=\"name\" value=\"2\"/>") +
             "</All>",
         "Language set to preferred language: en", "en"},
    };
    for (const auto& [content, line, name] : cases) {
        SCOPED_TRACE(content.substr(0, 200));
        const CapturedLog log;
        const FFLocalizedText texts(bundle_, {"en"}, file(content));
        EXPECT_TRUE(log.contains(line)) << log.lines().front();
        EXPECT_EQ(texts.stringForKeyOrDefault("name"), name);
        EXPECT_LE(log.count(stops), 1U);
    }
}

TEST_F(FFLocalizedTextTest, ReadsTheBundlesFileWhenItsOwnHoldsNoLanguage) {
    const std::string missing = folder_.file("missing.xml"), loop = folder_.file("loop.xml");
    std::filesystem::create_symlink(loop, loop);
    const std::string open = file("<All>" + named("", "stranger's") + "</All>");
    ::chmod(open.c_str(), 0666);
    const std::pair<std::optional<std::string>, std::string> cases[] = {
        {std::nullopt, "Cannot load language resource file: "},
        {missing, "Language file does not exist: '" + missing + "'"},
        {loop, "Can't get attributes of language file: '" + loop + "', error: "},
        {folder_.path(), "Language file is not readable: '" + folder_.path() + "'\nAttributes:{mode = "},
        {open, "Language file is not used, because users other than root can change it: '" + open + "'"},
        {file("<All>"), "FFLocalizedText: XML parser will stop. Error: "},
    };
    for (const std::string expected : {"", "bundled"}) {
        for (const auto& [path, line] : cases) {
            EXPECT_EQ(FFLocalizedText(bundle_, {}, path).stringForKeyOrDefault("name"), expected) << line;
            EXPECT_TRUE(log_.contains(line)) << line;
        }
        bundle_.resources["language.xml"] = file("<All>" + named("", "bundled") + "</All>");
    }
    const std::string own = file("<All>" + named("", "own") + "</All>");
    EXPECT_EQ(FFLocalizedText(bundle_, {}, own).stringForKey("name"), "own");
}

TEST_F(FFLocalizedTextTest, IsLoadedOnceByTheFirstOfManyThreads) {
    FakeSystemInfo system;
    system.languages = {"fr"};
    FFLocalizedText::setSharedSources(&bundle_, &system);
    FFLocalizedText::useLanguageFile(file("<All>" + named("", "en") + named("12", "fr") + "</All>"));
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([] { EXPECT_EQ(FFLocalizedText::shared().stringForKey("name"), "fr"); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(log_.count("Loading system text resources"), 1U);
    FFLocalizedText::setSharedSources(nullptr, nullptr);
}

} // namespace
} // namespace kvn::test
