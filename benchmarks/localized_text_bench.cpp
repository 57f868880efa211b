// SPDX-License-Identifier: MIT

// Compares the localised texts with expat alone on the same file: the texts of one language and of the
// default one are kept, of the others only the required key.

#include "basic/FFLocalizedText.h"
#include "basic/WindowsLanguages.h"
#include "core/logging/FTransferLog.h"
#include "core/system/FileDescriptor.h"
#include "tests/support/AgentEnvironment.h"

#include <benchmark/benchmark.h>
#include <expat.h>

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <stdexcept>
#include <string>
#include <unistd.h>

namespace {

/// Drops the lines that a load logs, so that they are not written during the measurement.
class NoLogBook : public Kvs::FLogBook {
public:
    bool add(const Kvs::FLogRecord&) override { return true; }
};

/// Writes 18 languages with 1,250 texts each, which is the size that all platforms need together.
class LargeFile {
public:
    LargeFile() {
        Kvs::FileDescriptor(mkstemp(path_.data()));
        std::ofstream out(path_);
        out << "<LanguageResource>\n";
        for (const kvn::WindowsLanguage& language : kvn::kWindowsLanguages) {
            out << "\t<Language langKey=\"" << language.id << "\">\n";
            for (int text = 0; text < 1250; ++text) {
                out << "\t\t<KeyPair key=\"TRAY_STATUS_MNU_" << text << "\" value=\"" << language.code
                    << ": a text of a common length, № " << text << "\"/>\n";
            }
            out << "\t</Language>\n";
        }
        out << "</LanguageResource>\n";
    }
    ~LargeFile() { std::remove(path_.c_str()); }
    LargeFile(const LargeFile&) = delete;
    LargeFile& operator=(const LargeFile&) = delete;
    const std::string& path() const { return path_; }

private:
    std::string path_ = "/tmp/kvnbenchXXXXXX";
};

const std::string& largeFile() {
    static const LargeFile file;
    return file.path();
}

/// Reads the file in the same pieces and counts its elements.
int countWithExpat(const std::string& path) {
    constexpr int kChunk = 1 << 15;
    const Kvs::FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    const XML_Parser parser = XML_ParserCreate(nullptr);
    int elements = 0;
    XML_SetUserData(parser, &elements);
    XML_SetStartElementHandler(parser,
                               [](void* count, const char*, const char**) { ++*static_cast<int*>(count); });
    for (ssize_t count = 1; count > 0;) {
        count = ::read(file.get(), XML_GetBuffer(parser, kChunk), kChunk);
        if (count < 0 || XML_ParseBuffer(parser, static_cast<int>(count), count == 0) != XML_STATUS_OK) {
            throw std::runtime_error("cannot read " + path);
        }
    }
    XML_ParserFree(parser);
    return elements;
}

void ours(benchmark::State& state, const std::string& path, const std::string& key) {
    Kvs::FTransferLog::useLogBook(Kvs::FRef<Kvs::FLogBook>(new NoLogBook));
    kvn::test::FakeBundle bundle;
    bundle.resources["language.xml"] = path; // a file of the installation would have to be root's
    const std::vector<std::string> preferred{"de-AT"};
    for (auto _ : state) {
        const kvn::FFLocalizedText text(bundle, preferred, std::nullopt);
        if (text.stringForKeyOrDefault(key).empty()) {
            state.SkipWithError("a text is missing");
        }
    }
    Kvs::FTransferLog::useLogBook({});
}

void expat(benchmark::State& state, const std::string& path) {
    for (auto _ : state) {
        if (countWithExpat(path) < 100) {
            state.SkipWithError("elements are missing");
        }
    }
}

BENCHMARK_CAPTURE(ours, shipped, KVN_LANGUAGE_FILE, "LV_FORM_HIDE")->Name("texts_shipped/ours");
BENCHMARK_CAPTURE(expat, shipped, KVN_LANGUAGE_FILE)->Name("texts_shipped/expat");
void oursLarge(benchmark::State& state) { ours(state, largeFile(), "TRAY_STATUS_MNU_1249"); }
void expatLarge(benchmark::State& state) { expat(state, largeFile()); }
BENCHMARK(oursLarge)->Name("texts_large/ours");
BENCHMARK(expatLarge)->Name("texts_large/expat");

} // namespace
