// SPDX-License-Identifier: MIT

#include "basic/LanguageFileParser.h"

#include "basic/WindowsLanguages.h"
#include "core/logging/CNSLog.h"
#include "core/system/FileDescriptor.h"
#include "core/system/Trust.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <expat.h>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace kvn {
namespace {

using Kvs::OCNSLog;

constexpr int kChunk = 1 << 16; // smaller chunks make the parser slow with long values
constexpr std::array<const char*, 1> kKeysRequiredForAllLanguages{"BAR_TAB_TELCO_INFO"};

void logUnreadable(const std::string& path, int error) {
    if (error == ENOENT || error == ENOTDIR) {
        OCNSLog("Language file does not exist: '%@'", path);
        return;
    }
    struct stat attributes {};
    if (::stat(path.c_str(), &attributes) != 0) {
        OCNSLog("Can't get attributes of language file: '%@', error: %@", path,
                std::generic_category().message(errno));
        return;
    }
    if (error == EPERM || error == ELOOP) {
        OCNSLog("Language file is not used, because users other than root can change it: '%@'", path);
    }
    char mode[16];
    std::snprintf(mode, sizeof mode, "%04o", static_cast<unsigned>(attributes.st_mode & 07777U));
    OCNSLog("Language file is not readable: '%@'\nAttributes:{mode = %@, owner = %u, group = %u, size = %ld}",
            path, mode, attributes.st_uid, attributes.st_gid, attributes.st_size);
}

/// Reads one file in chunks, passes its start tags on, and stops at the first error.
class Reading {
public:
    explicit Reading(LanguageFileParser& target) : target_(target), parser_(XML_ParserCreate(nullptr)) {
        if (!parser_) {
            return;
        }
        XML_SetUserData(parser_.get(), this);
        XML_SetStartElementHandler(parser_.get(), [](void* self, const char* name, const char** attributes) {
            auto& reading = *static_cast<Reading*>(self);
            if (++reading.level_ > LanguageFileParser::kMaxLevels) {
                reading.refuse("more than " + std::to_string(LanguageFileParser::kMaxLevels) + " levels");
                return;
            }
            reading.target_.didStartElement(name, attributes);
        });
        XML_SetEndElementHandler(parser_.get(),
                                 [](void* self, const char*) { --static_cast<Reading*>(self)->level_; });
        // Entities and default attributes can make a small file huge in memory.
        XML_SetEntityDeclHandler(parser_.get(), [](void* self, const char*, int, const char*, int,
                                                   const char*, const char*, const char*, const char*) {
            static_cast<Reading*>(self)->refuse("an entity declaration");
        });
        XML_SetAttlistDeclHandler(parser_.get(), [](void* self, const char*, const char*, const char*,
                                                    const char* defaultValue, int) {
            if (defaultValue) {
                static_cast<Reading*>(self)->refuse("a default attribute");
            }
        });
    }

    bool isValid() const { return parser_ != nullptr; }

    /// Returns an errno value when the file could not be read to its end.
    int parse(int file) {
        for (std::size_t total = 0;;) {
            void* const buffer = XML_GetBuffer(parser_.get(), kChunk);
            const ssize_t count = buffer ? readSome(file, buffer) : 0;
            if (count < 0) {
                return errno;
            }
            total += static_cast<std::size_t>(count);
            if (total > LanguageFileParser::kMaxBytes) {
                refuse("more than " + std::to_string(LanguageFileParser::kMaxBytes) + " bytes");
                return 0;
            }
            if (!buffer ||
                XML_ParseBuffer(parser_.get(), static_cast<int>(count), count == 0) != XML_STATUS_OK) {
                logError();
                return 0;
            }
            if (count == 0) {
                return 0;
            }
        }
    }

private:
    struct Free {
        void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
    };

    static ssize_t readSome(int file, void* buffer) {
        ssize_t count = -1;
        do {
            count = ::read(file, buffer, kChunk);
        } while (count < 0 && errno == EINTR);
        return count;
    }

    void refuse(const std::string& what) {
        if (!refused_) {
            OCNSLog("FFLocalizedText: XML parser will stop. Validation error: %@ %@", what, position());
        }
        refused_ = true;
        XML_StopParser(parser_.get(), XML_FALSE);
    }

    void logError() const {
        if (!refused_) {
            OCNSLog("FFLocalizedText: XML parser will stop. Error: %@ %@",
                    XML_ErrorString(XML_GetErrorCode(parser_.get())), position());
        }
    }

    std::string position() const {
        return "(line " + std::to_string(XML_GetCurrentLineNumber(parser_.get())) + ", column " +
               std::to_string(XML_GetCurrentColumnNumber(parser_.get())) + ")";
    }

    LanguageFileParser& target_;
    std::unique_ptr<XML_ParserStruct, Free> parser_;
    int level_ = 0;
    bool refused_ = false;
};

bool equal(const char* a, const char* b) { return std::strcmp(a, b) == 0; }

bool isRequiredForAllLanguages(const char* key) {
    return std::any_of(kKeysRequiredForAllLanguages.begin(), kKeysRequiredForAllLanguages.end(),
                       [key](const char* required) { return equal(key, required); });
}

const char* attributeNamed(const char* name, const char* const* attributes) {
    for (; *attributes; attributes += 2) {
        if (equal(name, *attributes)) {
            return attributes[1];
        }
    }
    return nullptr;
}

} // namespace

LanguageFileParser::LanguageFileParser(const std::vector<std::string>& preferredLanguages,
                                       LanguageMap& languageMap)
    : preferredLanguages_(preferredLanguages), languageMap_(languageMap) {}

void LanguageFileParser::parseLanguageData(const std::string& path, Origin origin) {
    const Kvs::FileDescriptor file =
        origin == Origin::Bundle
            ? Kvs::FileDescriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK))
            : Kvs::fOpenTrustedFile(path);
    if (!file) {
        logUnreadable(path, errno);
        return;
    }
    skipLang_ = haveLang_ = haveDefaultLang_ = false;
    currentParserMap_ = nullptr;
    Reading reading(*this);
    if (!reading.isValid()) {
        OCNSLog("Failed to initialize XML parser for language file: '%@'", path);
        return;
    }
    if (const int error = reading.parse(file.get()); error != 0) {
        logUnreadable(path, error);
    }
}

void LanguageFileParser::didStartElement(const char* element, const char* const* attributes) {
    if (equal(element, "KeyPair")) {
        const char* const key = attributeNamed("key", attributes);
        const char* const value = attributeNamed("value", attributes);
        if (currentParserMap_ && key && value && (!skipLang_ || isRequiredForAllLanguages(key))) {
            currentParserMap_->insert_or_assign(key, value);
        }
    } else if (equal(element, "Language")) {
        startLanguage(attributeNamed("langKey", attributes));
    }
}

void LanguageFileParser::startLanguage(const char* id) {
    const auto code = id ? languageCodeOfWindowsId(id) : std::nullopt;
    if (!code) {
        OCNSLog("No mapping for windows language id: %@", id);
        currentParserMap_ = nullptr;
        return;
    }
    skipLang_ = parserCanSkipLanguage(*code);
    currentParserMap_ = &languageMap_[std::string(*code)];
    currentParserMap_->clear();
}

bool LanguageFileParser::parserCanSkipLanguage(std::string_view code) {
    if (haveDefaultLang_ && haveLang_) {
        return true;
    }
    const auto match =
        std::find_if(preferredLanguages_.begin(), preferredLanguages_.end(),
                     [code](const std::string& tag) { return tag == code || primaryLanguage(tag) == code; });
    const bool preferred = match != preferredLanguages_.end();
    const bool isDefault = code == kDefaultLanguage;
    haveLang_ = haveLang_ || (preferred && match == preferredLanguages_.begin() && *match == code);
    haveDefaultLang_ = haveDefaultLang_ || isDefault;
    return !preferred && !isDefault;
}

} // namespace kvn
