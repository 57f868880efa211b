// SPDX-License-Identifier: MIT

#include "host/executable/EmbeddedInfoList.h"
#include "host/executable/ExecutableFormats.h"

#include <optional>

namespace kvn::host {
namespace {

// The formats, names and numbers are from the System V ABI, chapters "ELF Header" and "Sections".

/// The sizes of a file's structures, and the positions of their fields.
struct Layout {
    std::size_t word, header, tableOffset, entrySize; // the number of entries and the names' index follow
    std::size_t section, sectionOffset;               // the size follows
};
constexpr Layout kNarrow{4, 52, 32, 46, 40, 16};
constexpr Layout kWide{8, 64, 40, 58, 64, 24};

constexpr std::uint64_t kNoBits = 8; // a section type without bytes in the file
constexpr std::string_view kName = "__info_plist";

Error noList() { return executableError(kNoInfoList, "no section __info_plist"); }

/// Returns the bytes of a section; nullopt if they are not behind the header.
std::optional<FileWindow> contentOf(const Fields& section, const Layout& layout, const FileWindow& file) {
    const std::uint64_t offset = section.number(layout.sectionOffset, layout.word);
    const std::uint64_t size = section.number(layout.sectionOffset + layout.word, layout.word);
    if (section.number(4, 4) == kNoBits || offset < layout.header) {
        return std::nullopt;
    }
    return file.part(offset, size);
}

std::variant<FileWindow, Error> findInSections(const Fields& table, std::size_t namesIndex,
                                               const Layout& layout, const FileWindow& file) {
    const auto section = [&](std::size_t index) {
        return table.part(index * layout.section, layout.section);
    };
    const auto namesContent = contentOf(section(namesIndex), layout, file);
    const auto names = namesContent && namesContent->size() <= kMaxHeaderBytes
                           ? namesContent->readAt(0, namesContent->size())
                           : std::nullopt;
    if (!names) {
        return executableError(kBrokenExecutable, "the section names are too long, or cut off");
    }
    const Fields nameFields(*names, std::endian::native);
    for (std::size_t i = 0; i * layout.section < table.size(); ++i) {
        const std::uint64_t name = section(i).number(0, 4);
        if (name > names->size()) {
            return executableError(kBrokenExecutable, "a section has no name");
        }
        if (nameFields.hasText(name, kName.size() + 1, kName)) {
            const auto content = contentOf(section(i), layout, file);
            return content ? std::variant<FileWindow, Error>(*content)
                           : executableError(kBrokenExecutable, "the list does not lie in the file");
        }
    }
    return noList();
}

} // namespace

bool isElf(std::string_view magic) {
    return magic == "\x7f"
                    "ELF";
}

std::variant<FileWindow, Error> findElfInfoList(const FileWindow& file) {
    const auto ident = file.readAt(4, 2);
    const char bits = ident ? (*ident)[0] : '\0';
    const char order = ident ? (*ident)[1] : '\0';
    if ((bits != 1 && bits != 2) || (order != 1 && order != 2)) {
        return executableError(kBrokenExecutable, "neither a class nor a byte order of ELF");
    }
    const Layout& layout = bits == 1 ? kNarrow : kWide;
    const std::endian byteOrder = order == 1 ? std::endian::little : std::endian::big;
    const auto bytes = file.readAt(0, layout.header);
    if (!bytes) {
        return executableError(kBrokenExecutable, "the header is cut off");
    }
    const Fields header(*bytes, byteOrder);
    const std::uint64_t offset = header.number(layout.tableOffset, layout.word);
    if (offset == 0) {
        return noList();
    }
    const std::uint64_t count = header.number(layout.entrySize + 2, 2);
    const std::uint64_t size = count * layout.section;
    if (header.number(layout.entrySize, 2) != layout.section || size > kMaxHeaderBytes ||
        offset < layout.header) {
        return executableError(kBrokenExecutable, "no table of sections, or one that is too long");
    }
    const std::uint64_t namesIndex = header.number(layout.entrySize + 4, 2);
    const auto table = file.readAt(offset, size);
    if (!table || namesIndex >= count) {
        return executableError(kBrokenExecutable, "the table of sections is cut off, or without names");
    }
    return findInSections(Fields(*table, byteOrder), namesIndex, layout, file);
}

} // namespace kvn::host
