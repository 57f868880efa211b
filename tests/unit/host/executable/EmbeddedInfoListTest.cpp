// SPDX-License-Identifier: MIT

#include "host/executable/EmbeddedInfoList.h"
#include "host/plist/PortablePropertyList.h"
#include "host/posix/AppBundle.h"
#include "tests/support/Test.h"

#include <bit>

namespace kvn::test {
namespace {

constexpr auto kLittle = std::endian::little;
constexpr auto kBig = std::endian::big;
const std::string kList = "<plist><dict/></plist>"; // in each sample

/// A small file of each format, shared with the fuzzer.
std::string sample(const std::string& name) { return readFile(SAMPLES "/" + name); }

std::string replaced(std::string file, const std::string& from, const std::string& to) {
    return file.replace(file.find(from), from.size(), to);
}

std::string patched(std::string file, std::size_t position, std::size_t width, std::uint64_t value,
                    std::endian order = kBig) {
    for (std::size_t i = 0; i < width; ++i) {
        file.at(position + (order == kBig ? width - 1 - i : i)) = static_cast<char>(value >> 8 * i);
    }
    return file;
}

/// Returns the text that the tables below have in place of a list.
std::string failure(int code) { return "error " + std::to_string(code); }

class EmbeddedInfoList : public testing::Test {
protected:
    std::string listIn(const std::string& content) {
        writeFile(file_, content);
        return listOf(file_);
    }
    static std::string listOf(const std::string& path) {
        const auto read = host::readEmbeddedInfoList(path);
        const auto* error = std::get_if<host::Error>(&read);
        return error ? failure(error->code) : std::get<std::string>(read);
    }

    TemporaryFolder folder_;
    const std::string file_ = folder_.file("executable");
};

TEST_F(EmbeddedInfoList, ReadsEveryFormat) {
    for (const char* name : {"elf32", "elf32_big", "elf64", "elf64_big", "macho32", "macho32_big", "macho64",
                             "macho64_linked", "universal", "universal64"}) {
        EXPECT_EQ(listIn(sample(name)), kList) << name;
        const std::string without = replaced(sample(name), "__info_plist", "__info_plisT");
        EXPECT_EQ(listIn(without), failure(host::kNoInfoList)) << name;
    }
}

TEST_F(EmbeddedInfoList, RefusesFilesWithWrongFields) {
    const std::string image = sample("macho64"); // a command at 32, its section at 104
    const std::string none = replaced(image, "__info_plist", "__info_plisT");
    const std::string fat = sample("universal"); // two slices, the first at 48
    const std::string elf = sample("elf32_big"); // the list's section at 248
    const std::string elf64 = sample("elf64_big");
    constexpr std::uint64_t kHuge = std::numeric_limits<std::uint64_t>::max();
    const struct {
        std::string file;
        std::size_t position, width;
        std::vector<std::uint64_t> values;
        std::endian order = kBig;
    } cases[] = {
        {none, 16, 4, {2, kHuge}, kLittle},                     // number of commands
        {image, 20, 4, {0, 151, kHuge}, kLittle},               // their bytes
        {image, 36, 4, {0, 7, 71, 151, 153, kHuge}, kLittle},   // bytes of the command
        {image, 96, 4, {2, 0x33333334, kHuge}, kLittle},        // its sections; 80 * 0x33333334 overflows
        {image, 144, 8, {0, kList.size() + 1, kHuge}, kLittle}, // bytes of the list
        {image, 152, 4, {0, 183, 185, kHuge}, kLittle},         // position of the list
        {image, 168, 4, {1}, kLittle},                          // a section without bytes in the file
        {fat, 4, 4, {33, kHuge}},                               // number of slices
        {fat, 16, 4, {0, 47, 49, kHuge}},                       // position of the first
        {fat, 20, 4, {0, 27, 100, kHuge}},                      // its bytes
        {fat, 48, 4, {0xcafebabe, 0x7f454c46}},                 // its format: a universal file, ELF
        {sample("universal64"), 16, 8, {kHuge, kHuge - 100}},   // position of the first
        {elf, 4, 1, {0, 3}},                                    // class
        {elf, 5, 1, {0, 3}},                                    // byte order
        {elf, 32, 4, {1, 51, elf.size() - 39, kHuge}},          // position of the section table
        {elf, 46, 2, {0, 39, 64}},                              // bytes of its entries
        {elf, 48, 2, {0, 1, 0xffff}},                           // their number; 0 is the extended form
        {elf, 50, 2, {0, 0x7f, 0xffff}},                        // the names' section; likewise
        {elf, 252, 4, {8}},                                     // a section without bytes in the file
        {elf, 264, 4, {0, 51, elf.size(), kHuge}},              // position of the list
        {elf, 268, 4, {0, elf.size(), kHuge}},                  // its bytes
        {elf64, 40, 8, {kHuge, kHuge - 1000, elf64.size()}},    // position of the section table
    };
    for (const auto& [file, position, width, values, order] : cases) {
        for (const std::uint64_t value : values) {
            EXPECT_EQ(listIn(patched(file, position, width, value, order)), failure(host::kBrokenExecutable))
                << value << " at " << position << " of " << file.substr(0, 4);
        }
    }
}

TEST_F(EmbeddedInfoList, RefusesOtherFiles) {
    for (const char* content : {"", "\177EL", "#!/bin/sh\n"}) {
        EXPECT_EQ(listIn(content), failure(host::kNotAnExecutable)) << content;
    }
    const std::string fifo = folder_.file("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    for (const std::string& path : {fifo, folder_.path(), std::string("/dev/zero")}) {
        EXPECT_EQ(listOf(path), failure(host::kNotAnExecutable)) << path;
    }
    EXPECT_EQ(listOf(folder_.file("none")), failure(ENOENT));
}

TEST_F(EmbeddedInfoList, IsADictionaryOfTheBundlesProgram) {
    const host::PortablePropertyList propertyLists;
    const host::AppBundle bundle(folder_.file("Own.app"), propertyLists);
    fs::create_directories(folder_.file("Own.app/Contents/Library"));
    const std::string program = folder_.file("Own.app/Contents/Library/helper");
    fs::copy(SAMPLES "/elf64", program);
    fs::copy(SAMPLES "/elf64", folder_.file("Own.app/outside"));
    ASSERT_EQ(bundle.auxiliaryExecutable("Library/helper"), program);
    for (const std::string& path : {"../outside"s, "Library/../../outside"s, program, "Library"s, ""s}) {
        EXPECT_EQ(bundle.auxiliaryExecutable(path), std::nullopt) << path;
    }

    EXPECT_EQ(bundle.embeddedInfoList(program).index(), 0U);
    for (const char* list : {"<plist><dict></plist> ", "<plist><array/></plist>"}) {
        writeFile(file_, replaced(sample("macho64"), kList, list));
        EXPECT_EQ(bundle.embeddedInfoList(file_).index(), 1U) << list;
    }
}

} // namespace
} // namespace kvn::test
