#include "host/executable/EmbeddedInfoList.h"
#include "host/plist/XmlPropertyList.h"
#include "host/posix/AppBundle.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/TemporaryFolder.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <filesystem>
#include <gtest/gtest.h>
#include <limits>
#include <sys/stat.h>

namespace kvn::test {
namespace {

constexpr auto kLittle = std::endian::little;
constexpr auto kBig = std::endian::big;
const std::string kList = "<plist><dict/></plist>";

std::string number(std::uint64_t value, std::size_t width, std::endian order) {
    std::string bytes;
    for (std::size_t i = 0; i < width; ++i) {
        bytes.push_back(static_cast<char>(value >> 8 * i));
    }
    if (order == kBig) {
        std::reverse(bytes.begin(), bytes.end());
    }
    return bytes;
}

std::string name(std::string text) {
    text.resize(16);
    return text;
}

/// One segment with one section, and its content.
std::string machO(bool wide, std::endian order, const std::string& section = "__info_plist") {
    const auto n = [&](std::uint64_t value, std::size_t width = 4) { return number(value, width, order); };
    const auto zeros = [](std::size_t count) { return std::string(count, '\0'); };
    const std::size_t word = wide ? 8 : 4;
    const std::size_t commands = wide ? 152 : 124;
    return n(wide ? 0xfeedfacf : 0xfeedface) + zeros(12) + n(1) + n(commands) + zeros(word) +
           n(wide ? 0x19 : 1) + n(commands) + name("__TEXT") + zeros(4 * word + 8) + n(1) + n(0) + // segment
           name(section) + name("__TEXT") + n(0, word) + n(kList.size(), word) +
           n((wide ? 32 : 28) + commands) + zeros(wide ? 28 : 24) + kList;
}

std::string universal(bool wide, const std::vector<std::string>& slices) {
    const std::size_t word = wide ? 8 : 4;
    std::string table = number(wide ? 0xcafebabf : 0xcafebabe, 4, kBig) + number(slices.size(), 4, kBig);
    std::string content;
    const std::size_t begin = 8 + slices.size() * (wide ? 32 : 20);
    for (const std::string& slice : slices) {
        table += std::string(8, '\0') + number(begin + content.size(), word, kBig) +
                 number(slice.size(), word, kBig) + std::string(wide ? 8 : 4, '\0');
        content += slice;
    }
    return table + content;
}

using Result = std::variant<std::string, int>; // the list, or the code of the error

class EmbeddedInfoList : public testing::Test {
protected:
    Result listIn(const std::string& content) {
        writeFile(file_, content);
        return listOf(file_);
    }
    static Result listOf(const std::string& path) {
        auto read = host::readEmbeddedInfoList(path);
        const auto* error = std::get_if<host::Error>(&read);
        return error ? Result(error->code) : std::get<std::string>(std::move(read));
    }

    TemporaryFolder folder_;
    const std::string file_ = folder_.file("executable");
    CapturedLog log_;
};

TEST_F(EmbeddedInfoList, ReadsWhatLinkersMake) {
    const std::string list = readFile(LIST);
    EXPECT_EQ(listOf(SAMPLE), Result(list));
    int lists = 0;
    int others = 0;
    for (const auto& entry : std::filesystem::directory_iterator(EXECUTABLES)) {
        const bool has = entry.path().filename().string().starts_with("list-");
        EXPECT_EQ(listOf(entry.path()), has ? Result(list) : Result(host::kNoInfoList)) << entry;
        ++(has ? lists : others);
    }
    EXPECT_EQ(lists, 9);
    EXPECT_EQ(others, 4);
}

TEST_F(EmbeddedInfoList, ReadsWhatLinkersOfOurTimeDoNotMake) {
    for (const bool wide : {false, true}) {
        for (const std::endian order : {kLittle, kBig}) {
            const std::string image = machO(wide, order);
            EXPECT_EQ(listIn(image), Result(kList)) << wide;
            EXPECT_EQ(listIn(machO(wide, order, "__info")), Result(host::kNoInfoList)) << wide;
            EXPECT_EQ(listIn(universal(wide, {machO(true, kBig, "__const"), image})), Result(kList)) << wide;
        }
    }
    EXPECT_EQ(listIn(universal(false, {})), Result(host::kNoInfoList));
}

TEST_F(EmbeddedInfoList, RefusesFilesThatLie) {
    const std::string image = machO(true, kLittle); // a command at 32, its section at 104
    const std::string none = machO(true, kLittle, "__info");
    const std::string fat = universal(false, {machO(false, kBig)});
    const std::string fat64 = universal(true, {image});
    const std::string elf = readFile(EXECUTABLES "/list-powerpc-linux.o");
    const std::size_t elfListSize = elf.rfind(number(readFile(LIST).size(), 4, kBig));
    const std::string elf64 = readFile(EXECUTABLES "/list-s390x-linux.o");
    constexpr std::uint64_t kHuge = std::numeric_limits<std::uint64_t>::max();
    struct Lie {
        std::string file;
        std::size_t position, width;
        std::vector<std::uint64_t> values;
        std::endian order = kBig;
    };
    const Lie lies[] = {
        {none, 16, 4, {2, kHuge}, kLittle},                     // number of commands
        {image, 20, 4, {0, 151, kHuge}, kLittle},               // their bytes
        {image, 36, 4, {0, 7, 71, 151, 153, kHuge}, kLittle},   // bytes of the command
        {image, 96, 4, {2, 0x33333334, kHuge}, kLittle},        // its sections; 80 * 0x33333334 overflows
        {image, 144, 8, {0, kList.size() + 1, kHuge}, kLittle}, // bytes of the list
        {image, 152, 4, {0, 183, 185, kHuge}, kLittle},         // where it begins
        {image, 168, 4, {1}, kLittle},                          // a section without bytes in the file
        {fat, 4, 4, {2, 33, kHuge}},                            // number of slices
        {fat, 16, 4, {0, 27, 29, kHuge}},                       // where one begins
        {fat, 20, 4, {0, 27, 100, kHuge}},                      // its bytes
        {fat64, 16, 8, {kHuge, kHuge - 100}},                   // where one begins
        {universal(false, {fat}), 0, 4, {0xcafebabe}},          // a universal file in it
        {universal(false, {elf}), 0, 4, {0xcafebabe}},          // another system's
        {elf, 4, 1, {0, 3}},                                    // class
        {elf, 5, 1, {0, 3}},                                    // byte order
        {elf, 32, 4, {1, 51, elf.size() - 39, kHuge}},          // where the sections' table begins
        {elf, 46, 2, {0, 39, 64}},                              // bytes of its entries
        {elf, 48, 2, {0, 1, 0xffff}},                           // their number; 0 is the extended form
        {elf, 50, 2, {0, 0x7f, 0xffff}},                        // the names' section; likewise
        {elf, elfListSize - 16, 4, {8}},                        // a section without bytes in the file
        {elf, elfListSize - 4, 4, {0, 51, elf.size(), kHuge}},  // where the list begins
        {elf, elfListSize, 4, {0, elf.size(), kHuge}},          // its bytes
        {elf64, 40, 8, {kHuge, kHuge - 1000, elf64.size()}},
    };
    for (const Lie& lie : lies) {
        for (const std::uint64_t value : lie.values) {
            std::string file = lie.file;
            file.replace(lie.position, lie.width, number(value, lie.width, lie.order));
            EXPECT_EQ(listIn(file), Result(host::kBrokenExecutable))
                << value << " in line " << &lie - lies << ", at " << lie.position;
        }
    }
}

TEST_F(EmbeddedInfoList, RefusesAFileThatIsCutAnywhere) {
    for (const std::string& whole :
         {universal(true, {machO(false, kLittle, "__no"), machO(true, kBig)}),
          readFile(EXECUTABLES "/list-i386-linux.o"), readFile(EXECUTABLES "/list-s390x-linux.o")}) {
        ASSERT_EQ(listIn(whole).index(), 0u);
        for (std::size_t size = whole.size(); size-- > 0;) {
            std::filesystem::resize_file(file_, size);
            EXPECT_EQ(listOf(file_), Result(size < 4 ? host::kNotAnExecutable : host::kBrokenExecutable))
                << size;
        }
    }
}

TEST_F(EmbeddedInfoList, LimitsItsWork) {
    EXPECT_EQ(listIn(universal(false, std::vector(32, machO(true, kBig)))), Result(kList));
    EXPECT_EQ(listIn(universal(false, std::vector(33, machO(true, kBig)))), Result(host::kBrokenExecutable));

    std::string commands = machO(true, kBig, "__info").replace(20, 4, number((256 << 10) + 1, 4, kBig));
    std::string sections =
        readFile(EXECUTABLES "/list-powerpc-linux.o").replace(48, 2, number(6554, 2, kBig));
    for (std::string* file : {&commands, &sections}) {
        file->resize(1 << 20);
        EXPECT_EQ(listIn(*file), Result(host::kBrokenExecutable));
    }

    constexpr std::size_t kMost = host::PropertyList::kMaxBytes;
    for (const std::size_t size : {kMost, kMost + 1}) {
        std::string file = machO(true, kLittle).replace(144, 8, number(size, 8, kLittle));
        file.resize(184 + size);
        EXPECT_EQ(listIn(file).index(), size > kMost ? 1u : 0u);
    }
}

TEST_F(EmbeddedInfoList, RefusesWhatIsNoExecutable) {
    for (const char* content : {"",
                                "\x7f"
                                "EL",
                                "#!/bin/sh\n"}) {
        EXPECT_EQ(listIn(content), Result(host::kNotAnExecutable)) << content;
    }
    EXPECT_EQ(listIn(number(0xcafebabe00000034, 8, kBig)), Result(host::kBrokenExecutable)); // of Java
    const std::string fifo = folder_.file("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    for (const std::string& path : {fifo, folder_.path(), std::string("/dev/zero")}) {
        EXPECT_EQ(listOf(path), Result(host::kNotAnExecutable)) << path;
    }
    EXPECT_EQ(listOf(folder_.file("none")), Result(ENOENT));
}

TEST_F(EmbeddedInfoList, IsADictionaryOfTheBundlesProgram) {
    const std::string programs = folder_.file("Own.app/Contents/Library");
    std::filesystem::create_directories(programs);
    std::filesystem::copy(SAMPLE, programs + "/helper");
    std::filesystem::copy(SAMPLE, folder_.file("Own.app/outside"));
    const host::XmlPropertyList propertyLists;
    const host::AppBundle bundle(folder_.file("Own.app"), propertyLists);

    const auto helper = bundle.auxiliaryExecutable("Library/helper");
    ASSERT_EQ(helper, programs + "/helper");
    for (const char* path : {"../outside", "Library/../../outside", SAMPLE, "Library", ""}) {
        EXPECT_EQ(bundle.auxiliaryExecutable(path), std::nullopt) << path;
    }

    const auto entries = bundle.embeddedInfoList(*helper);
    ASSERT_EQ(entries.index(), 0u);
    EXPECT_EQ(*std::get<0>(entries).at("CFBundleIdentifier").as<std::string>(),
              "com.korvane.remote.KvnServiceController");
    for (const char* list : {"<plist><dict></plist> ", "<plist><array/></plist>"}) {
        std::string file = machO(true, kLittle);
        writeFile(file_, file.replace(file.find(kList), kList.npos, list));
        EXPECT_EQ(bundle.embeddedInfoList(file_).index(), 1u) << list;
    }
    EXPECT_EQ(bundle.embeddedInfoList(folder_.file("none")).index(), 1u);
}

} // namespace
} // namespace kvn::test
