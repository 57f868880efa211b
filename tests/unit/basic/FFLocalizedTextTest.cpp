#include "basic/FFLocalizedText.h"

#include "tests/support/AgentEnvironment.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <thread>

namespace kvn::test {
namespace {

std::string language(const std::string& id, const std::string& pairs) {
    return "<Language langKey=\"" + id + "\">" + pairs + "</Language>";
}

std::string pair(const std::string& key, const std::string& value) {
    return "<KeyPair key=\"" + key + "\" value=\"" + value + "\"/>";
}

/// A language with its name, the key that every language has to keep, and in English one text more.
std::string named(const std::string& id, const std::string& name) {
    return language(id, pair("name", name) + pair("BAR_TAB_TELCO_INFO", name + " tab") +
                            (id.empty() ? pair("gap", "only English") : ""));
}

class FFLocalizedText : public testing::Test {
protected:
    using Text = std::unique_ptr<kvn::FFLocalizedText>;

    std::string file(const std::string& content) {
        const std::string path = folder_.file("language" + std::to_string(++files_) + ".xml");
        writeFile(path, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + content);
        return path;
    }
    Text load(const std::vector<std::string>& preferred, const std::optional<std::string>& path) {
        return std::make_unique<kvn::FFLocalizedText>(bundle_, preferred, path);
    }
    auto countLines(const std::string& text) {
        const auto lines = log_.lines();
        return std::count_if(lines.begin(), lines.end(),
                             [&](const std::string& line) { return line.find(text) != line.npos; });
    }

    TemporaryFolder folder_;
    CapturedLog log_;
    FakeBundle bundle_;
    FakeSystemInfo system_;

private:
    int files_ = 0;
};

TEST_F(FFLocalizedText, ChoosesTheFirstPreferredLanguage) {
    const std::string path =
        file("<All>" + named("22-01", "pt-BR") + named("7", "de") + named("", "en") + named("22-02", "pt") +
             named("12", "fr") + named("4", "zh-Hans") + "</All>");
    const std::vector<std::string> everyId{"", "12", "22-01", "22-02", "4", "7"};
    const struct {
        std::vector<std::string> preferred;
        std::string chosen;
        std::string line;
        std::vector<std::string> loaded; // Windows ids
    } cases[] = {
        {{"de-AT", "fr"}, "de", "Language set to: de, preferred: de-AT", {"", "12", "7"}},
        {{"fr-CA", "de"}, "fr", "Language set to: fr, preferred: fr-CA", {"", "12", "7"}},
        {{"de", "fr"}, "de", "Language set to preferred language: de", {"", "7"}}, // both had before fr
        {{"pt-BR"}, "pt-BR", "Language set to preferred language: pt-BR", {"", "22-01"}},
        {{"pt-PT"}, "pt", "Language set to: pt, preferred: pt-PT", {"", "22-02"}},
        {{"zh-Hans"}, "zh-Hans", "Language set to preferred language: zh-Hans", {"", "4"}},
        {{"en-GB", "de"}, "en", "Language set to: en, preferred: en-GB", {"", "7"}},
        {{"sv", "de"}, "en", "Preferred language not supported: sv, using default language: en", {"", "7"}},
        {{}, "en", "No preferred languages in NSLocale. Using default lang: en", {""}},
    };
    for (const auto& example : cases) {
        SCOPED_TRACE(example.line);
        const Text text = load(example.preferred, path);
        EXPECT_TRUE(log_.contains(example.line));
        EXPECT_EQ(text->stringForKey("name"), example.chosen);
        EXPECT_EQ(text->stringForKey("BAR_TAB_TELCO_INFO"), example.chosen + " tab");
        EXPECT_EQ(text->stringForKey("gap"), "only English");

        std::vector<std::string> loaded;
        for (const auto& [id, name] : text->allStringsForKey("name")) {
            loaded.push_back(id);
        }
        EXPECT_EQ(loaded, example.loaded);
        std::vector<std::string> kept;
        for (const auto& [id, tab] : text->allStringsForKey("BAR_TAB_TELCO_INFO")) {
            kept.push_back(id);
            EXPECT_EQ(tab, *text->winLanguageKeyToLanguageCode(id) + " tab");
        }
        EXPECT_EQ(kept, everyId);
    }
    EXPECT_TRUE(log_.contains("Loading system text resources for: 'de', Preferrences: de-AT fr "));
}

TEST_F(FFLocalizedText, LooksUpAndReplaces) {
    bundle_.texts = {{"PermissionGranted", "Erteilt"}};
    const Text text = load({"de"}, file("<All>" + named("", "en") +
                                        language("7", pair("t", "a %1 b %1 %2") + pair("e", "")) + "</All>"));
    EXPECT_EQ(text->stringForKey("nothing"), "");
    EXPECT_EQ(text->stringForKey("nothing"), "");
    EXPECT_EQ(text->stringForKeyOrDefault("nothing"), "");
    EXPECT_EQ(countLines("Language Value \"nothing\" not found!"), 2);
    EXPECT_EQ(text->stringForKey("e"), ""); // empty, and found
    EXPECT_EQ(countLines("not found!"), 2);
    EXPECT_EQ(text->stringForKeyOrDefault("gap"), "only English");
    EXPECT_GE(text->mutableStringForKey("t").capacity(), 112U);
    EXPECT_EQ(text->systemStringForKey("PermissionGranted"), "Erteilt");
    EXPECT_EQ(text->systemStringForKey("nothing"), std::nullopt);

    EXPECT_EQ(text->stringForKeyWithReplacements("t", {{"X", "%1"}}), "a X b X %2");
    // One pair after the other, and a replacement is not searched for its own placeholder.
    EXPECT_EQ(text->stringForKeyWithReplacements("t", {{"%2%1", "%1"}, {"y", "%2"}}), "a y%1 b y%1 y");
    EXPECT_EQ(text->stringForKeyWithReplacements("t", {{"X", std::nullopt}, {"y", "%2"}}), "a %1 b %1 %2");
    EXPECT_EQ(text->stringForKeyWithReplacements("t", {{"X", ""}, {std::nullopt, "%1"}, {"y", "%2"}}),
              "a %1 b %1 %2");
    EXPECT_EQ(text->stringForKeyWithReplacementsDictionary("t", {{"%1", "X"}, {"%2", ""}, {"B", "c"}}),
              "a X b X ");
}

TEST_F(FFLocalizedText, FindsTheWindowsIdOfALocale) {
    const Text text = load({}, file("<All/>"));
    const struct {
        const char *country, *language, *id;
    } cases[] = {
        {"BR", "pt", "22-01"}, {"br", "PT", "22-01"}, {"PT", "pt", "22-02"}, {"AO", "pt", "22-02"},
        {"DE", "de", "7"},     {"AT", "de", "7"},     {"US", "en", ""},      {"SE", "sv", ""},
        {"CN", "zh", ""},      {"Hans", "zh", "4"},   {"", "fr", "12"},      {"", "", ""},
    };
    for (const auto& example : cases) {
        EXPECT_EQ(text->languageCodeForCountry(example.country, example.language), example.id)
            << example.country << " " << example.language;
    }
    EXPECT_EQ(text->winLanguageKeyToLanguageCode(""), "en");
    EXPECT_EQ(text->winLanguageKeyToLanguageCode("99"), std::nullopt);
}

TEST_F(FFLocalizedText, SurvivesOddAndHostileFiles) {
    constexpr char kStops[] = "FFLocalizedText: XML parser will stop. ";
    const std::string english = named("", "en");
    std::string laughs = "<!DOCTYPE All [<!ENTITY a0 \"ha\">";
    for (int i = 1; i < 30; ++i) {
        const std::string before = "&a" + std::to_string(i - 1) + ";";
        laughs += "<!ENTITY a" + std::to_string(i) + " \"" + before + before + "\">";
    }
    const struct {
        std::string content;
        std::string line;
        std::string name; // of English; empty when there is none
    } cases[] = {
        {"<All>" + english + language("7", "<KeyPair") + "</All>", std::string(kStops) + "Error: ", "en"},
        {"<All>" + english + "\xFF</All>", std::string(kStops) + "Error: not well-formed", "en"},
        {"<All>" + english, std::string(kStops) + "Error: no element found (line 2, ", "en"},
        {"", std::string(kStops) + "Error: no element found", ""},
        {"<All>" + language("", pair("name", "&undefined;")) + "</All>", "Error: undefined entity", ""},
        {laughs + "]><All>" + language("", pair("name", "&a29;")) + "</All>",
         std::string(kStops) + "Validation error: an entity declaration (line 2, ", ""},
        {"<!DOCTYPE All [<!ENTITY % a SYSTEM \"/etc/passwd\"> %a;]><All>" + english + "</All>",
         "Validation error: an entity declaration", ""},
        {"<!DOCTYPE All [<!ATTLIST KeyPair value CDATA \"x\">]><All>" + english + "</All>",
         "Validation error: a default attribute", ""},
        {"<!DOCTYPE All [<!ATTLIST KeyPair value CDATA #REQUIRED>]><All>" + english + "</All>",
         "Language set to preferred language: en", "en"},
        {"<All>" + english + language("7", pair("k", std::string(kvn::LanguageFileParser::kMaxBytes, 'x'))) +
             "</All>",
         "Validation error: more than 8388608 bytes", "en"},
        {"<All>" + english + language("99", pair("name", "99")) + "<Language>" + pair("name", "none") +
             "</Language></All>",
         "No mapping for windows language id: 99", "en"},
        {"<All/>",
         "Cannot determine the language. No default language defined or the language resource file "
         "'%' is not accessible or has invalid format",
         ""},
        // Pairs that are none, and the last of two with one key.
        {"<All>" + pair("name", "0") +
             language("", "<Odd/><KeyPair/><KeyPair key=\"name\"/><KeyPair value=\"v\"/>" +
                              pair("name", "1") + pair("name", "e&#110;") +
                              "<Odd key=\"name\" value=\"2\"/>") +
             "</All>",
         "Language set to preferred language: en", "en"},
    };
    for (const auto& example : cases) {
        SCOPED_TRACE(example.content.substr(0, 200));
        CapturedLog log;
        const Text text = load({"en"}, file(example.content));
        EXPECT_TRUE(log.contains(example.line)) << log.lines().front();
        EXPECT_EQ(text->stringForKeyOrDefault("name"), example.name);
        const auto lines = log.lines();
        EXPECT_LE(std::count_if(lines.begin(), lines.end(),
                                [&](const auto& line) { return line.find(kStops) != line.npos; }),
                  1);
    }
}

TEST_F(FFLocalizedText, FallsBackToTheBundlesFile) {
    const std::string missing = folder_.file("missing.xml");
    EXPECT_EQ(load({}, missing)->stringForKeyOrDefault("name"), "");
    EXPECT_TRUE(log_.contains("Language file does not exist: '" + missing + "'"));
    EXPECT_EQ(load({}, std::nullopt)->stringForKeyOrDefault("name"), "");
    EXPECT_TRUE(log_.contains("Cannot load language resource file: "));
    const std::string loop = folder_.file("loop.xml");
    std::filesystem::create_symlink(loop, loop);
    load({}, loop);
    EXPECT_TRUE(log_.contains("Can't get attributes of language file: '" + loop + "', error: "));

    bundle_.resources["language.xml"] = file("<All>" + named("", "bundled") + "</All>");
    for (const auto& path : {std::optional<std::string>(), std::optional(missing),
                             std::optional(folder_.path()), std::optional(file("<All>"))}) {
        EXPECT_EQ(load({}, path)->stringForKey("name"), "bundled") << path.value_or("none");
    }
    EXPECT_TRUE(
        log_.contains("Language file is not readable: '" + folder_.path() + "'\nAttributes:{mode = "));
    EXPECT_EQ(load({}, file("<All>" + named("", "own") + "</All>"))->stringForKey("name"), "own");
}

TEST_F(FFLocalizedText, IsLoadedOnceByWhoeverComesFirst) {
    system_.languages = {"fr"};
    kvn::FFLocalizedText::setSharedSources(&bundle_, &system_);
    kvn::FFLocalizedText::useLanguageFile(file("<All>" + named("", "en") + named("12", "fr") + "</All>"));
    std::vector<std::thread> threads;
    std::vector<std::string> names(8);
    for (std::string& name : names) {
        threads.emplace_back([&name] { name = kvn::FFLocalizedText::shared().stringForKey("name"); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_THAT(names, testing::Each("fr"));
    EXPECT_EQ(countLines("Loading system text resources"), 1);
    kvn::FFLocalizedText::setSharedSources(nullptr, nullptr);
}

} // namespace
} // namespace kvn::test
