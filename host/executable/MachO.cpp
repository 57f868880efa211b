// SPDX-License-Identifier: MIT

#include "host/executable/EmbeddedInfoList.h"
#include "host/executable/ExecutableFormats.h"

#include <optional>

namespace kvn::host {
namespace {

// The formats, names and numbers are from <mach-o/loader.h> and <mach-o/fat.h>.

struct Format {
    std::uint64_t magic;
    bool universal;
    bool wide; // 64 bits
};
constexpr Format kFormats[] = {{0xfeedface, false, false},
                               {0xfeedfacf, false, true},
                               {0xcafebabe, true, false},
                               {0xcafebabf, true, true}};

/// The sizes of an image's structures, and the positions of their fields.
struct Layout {
    std::uint64_t segmentCommand;
    std::size_t header, segment, sectionCount;
    std::size_t section, sectionSize, sectionOffset, sectionFlags; // the offset follows the size
};
constexpr Layout kNarrow{0x1, 28, 56, 48, 68, 36, 40, 56};
constexpr Layout kWide{0x19, 32, 72, 64, 80, 40, 48, 64};

constexpr std::size_t kLoadCommand = 8;
constexpr std::uint64_t kZeroFill = 1; // a section type without bytes in the file

/// Java's class files begin with the same magic number; their number in this place is 45 or more.
constexpr std::uint64_t kMaxSlices = 32;

Error noList() { return executableError(kNoInfoList, "no section __TEXT,__info_plist"); }

struct Start {
    Format format;
    std::endian order;
};

std::optional<Start> startOf(std::string_view magic) {
    for (const std::endian order : {std::endian::little, std::endian::big}) {
        for (const Format& format : kFormats) {
            if (magic.size() == 4 && Fields(magic, order).number(0, 4) == format.magic) {
                return Start{format, order};
            }
        }
    }
    return std::nullopt;
}

std::optional<Start> startOf(const FileWindow& image) {
    const auto magic = image.readAt(0, 4);
    return magic ? startOf(*magic) : std::nullopt;
}

bool sectionsFit(const Fields& segment, const Layout& layout) {
    return segment.size() >= layout.segment &&
           segment.number(layout.sectionCount, 4) <= (segment.size() - layout.segment) / layout.section;
}

std::optional<Fields> infoListSection(const Fields& segment, const Layout& layout) {
    const std::uint64_t count = segment.number(layout.sectionCount, 4);
    for (std::size_t i = 0; i < count; ++i) {
        const Fields section = segment.part(layout.segment + i * layout.section, layout.section);
        if (section.hasText(0, 16, "__info_plist") && section.hasText(16, 16, "__TEXT")) {
            return section;
        }
    }
    return std::nullopt;
}

std::variant<FileWindow, Error> contentOf(const Fields& section, const Layout& layout,
                                          const FileWindow& image, std::uint64_t headerEnd) {
    const std::uint64_t offset = section.number(layout.sectionOffset, 4);
    const std::uint64_t size = section.number(layout.sectionSize, layout.sectionOffset - layout.sectionSize);
    const auto content = image.part(offset, size);
    if (!content || offset < headerEnd || (section.number(layout.sectionFlags, 4) & 0xff) == kZeroFill) {
        return executableError(kBrokenExecutable, "the list does not lie in the image");
    }
    return *content;
}

std::variant<FileWindow, Error> findInImage(const FileWindow& image) {
    const auto start = startOf(image);
    if (!start || start->format.universal) {
        return executableError(kBrokenExecutable, "a slice is no Mach-O image");
    }
    const Layout& layout = start->format.wide ? kWide : kNarrow;
    const auto header = image.readAt(0, layout.header);
    if (!header) {
        return executableError(kBrokenExecutable, "the header is cut off");
    }
    const Fields headerFields(*header, start->order);
    const std::uint64_t size = headerFields.number(20, 4);
    const auto bytes = size <= kMaxHeaderBytes ? image.readAt(layout.header, size) : std::nullopt;
    if (!bytes) {
        return executableError(kBrokenExecutable, "the load commands are too long, or cut off");
    }
    Fields commands(*bytes, start->order);
    for (std::uint64_t count = headerFields.number(16, 4); count > 0; --count) {
        const std::uint64_t length = commands.size() >= kLoadCommand ? commands.number(4, 4) : 0;
        if (length < kLoadCommand || length > commands.size()) {
            return executableError(kBrokenExecutable, "a load command has a wrong size");
        }
        if (commands.number(0, 4) == layout.segmentCommand) {
            const Fields segment = commands.part(0, length);
            if (!sectionsFit(segment, layout)) {
                return executableError(kBrokenExecutable, "a segment has more sections than bytes");
            }
            if (const auto section = infoListSection(segment, layout)) {
                return contentOf(*section, layout, image, layout.header + size);
            }
        }
        commands = commands.part(length, commands.size() - length);
    }
    return noList();
}

std::variant<FileWindow, Error> findInUniversal(const FileWindow& file, const Start& start) {
    const std::size_t header = 8;
    const std::size_t entry = start.format.wide ? 32 : 20;
    const std::size_t width = start.format.wide ? 8 : 4;
    const auto begin = file.readAt(0, header);
    const std::uint64_t count = begin ? Fields(*begin, start.order).number(4, 4) : 0;
    const auto table = count <= kMaxSlices ? file.readAt(header, count * entry) : std::nullopt;
    if (!table) {
        return executableError(kBrokenExecutable, "the table of slices is too long, or cut off");
    }
    const Fields slices(*table, start.order);
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint64_t offset = slices.number(i * entry + 8, width);
        const auto slice = file.part(offset, slices.number(i * entry + 8 + width, width));
        if (!slice || offset < header + slices.size()) {
            return executableError(kBrokenExecutable, "a slice does not lie in the file");
        }
        auto found = findInImage(*slice);
        const auto* error = std::get_if<Error>(&found);
        if (!error || error->code != kNoInfoList) {
            return found;
        }
    }
    return noList();
}

} // namespace

bool isMachO(std::string_view magic) { return startOf(magic).has_value(); }

std::variant<FileWindow, Error> findMachOInfoList(const FileWindow& file) {
    const auto start = startOf(file);
    return start && start->format.universal ? findInUniversal(file, *start) : findInImage(file);
}

} // namespace kvn::host
