// SPDX-License-Identifier: MIT

#include "remote/xml/FEncXmlDocument.h"

#include "core/text/FGStr.h"
#include "remote/xml/TagScan.h"

#include <array>
#include <limits>
#include <type_traits>

namespace Kvs {

namespace {

/// Positions have 32 bits.
constexpr std::size_t kLongestText = std::numeric_limits<std::uint32_t>::max() - 1;

/// The length of `<a/>`, the shortest element with a name.
constexpr std::size_t kShortestText = 4;

/// Reads one element from the start of a text into a tree, without recursion.
template <class C>
class ElementReader {
public:
    ElementReader(FEncXmlTree<C>& tree, const C* text, std::size_t length)
        : tree_(tree), text_(text), marks_(text, length) {}

    /// Returns the length of the element; 0 when there is none or it is not complete and well-formed.
    std::size_t read() {
        std::size_t tag = marks_.next();
        if (tag != 0 || text_[0] != '<') {
            return 0;
        }
        for (;;) {
            const bool closes = levels_ > 0 && tag + 1 < marks_.length() && text_[tag + 1] == '/';
            if (!(closes ? readEndTag(tag) : readStartTag(tag))) {
                return 0;
            }
            if (levels_ == 0) {
                return tree_.elements[0].name.begin == tree_.elements[0].name.end ? 0 : position_;
            }
            tag = marks_.template nextOf<'<'>();
            if (tag == marks_.length()) {
                return 0;
            }
            if (tag != position_) {
                addText(tag);
            }
        }
    }

private:
    struct Level {
        std::uint32_t element;
        std::uint32_t lastText;
    };

    bool readStartTag(std::size_t begin) {
        const auto index = static_cast<std::uint32_t>(tree_.elements.size());
        const auto firstAttribute = static_cast<std::uint32_t>(tree_.attributes.size());
        ScannedTag tag;
        if (!scanTag(marks_, begin, tag, [&](FEncXmlSpan name, FEncXmlSpan value) {
                return addAttribute(firstAttribute, name, value);
            })) {
            return false;
        }
        tree_.elements.push_back({tag.name, firstAttribute,
                                  static_cast<std::uint32_t>(tree_.attributes.size()), FEncXmlTree<C>::kNone,
                                  index + 1});
        position_ = tag.end + 1;
        if (tag.selfClosing) {
            return true;
        }
        if (levels_ == open_.size()) {
            return false;
        }
        open_[levels_++] = {index, FEncXmlTree<C>::kNone};
        return true;
    }

    /// Returns false unless the end tag has exactly the name of the innermost open element.
    bool readEndTag(std::size_t begin) {
        auto& element = tree_.elements[open_[levels_ - 1].element];
        const std::size_t end = marks_.template nextOf<'>'>();
        if (end == marks_.length() || !sameText(element.name, xmlSpan(begin + 2, end))) {
            return false;
        }
        element.subtreeEnd = static_cast<std::uint32_t>(tree_.elements.size());
        --levels_;
        position_ = end + 1;
        return true;
    }

    bool addAttribute(std::uint32_t first, FEncXmlSpan name, FEncXmlSpan value) {
        auto& attributes = tree_.attributes;
        for (std::size_t i = first; i < attributes.size(); ++i) {
            if (sameText(attributes[i].name, name)) {
                attributes[i].value = value;
                return true;
            }
        }
        if (attributes.size() - first == FEncXmlDocument<C>::kMostAttributes) {
            return false;
        }
        attributes.push_back({name, value});
        return true;
    }

    /// Adds the run of characters from the end of the last tag to `end`.
    void addText(std::size_t end) {
        Level& level = open_[levels_ - 1];
        const auto index = static_cast<std::uint32_t>(tree_.texts.size());
        (level.lastText == FEncXmlTree<C>::kNone ? tree_.elements[level.element].firstText
                                                 : tree_.texts[level.lastText].next) = index;
        level.lastText = index;
        tree_.texts.push_back({xmlSpan(position_, end), FEncXmlTree<C>::kNone});
    }

    bool sameText(FEncXmlSpan a, FEncXmlSpan b) const {
        return a.end - a.begin == b.end - b.begin &&
               std::char_traits<C>::compare(text_ + a.begin, text_ + b.begin, a.end - a.begin) == 0;
    }

    FEncXmlTree<C>& tree_;
    const C* text_;
    MarkCursor<C> marks_;
    std::array<Level, FEncXmlDocument<C>::kMostLevels> open_;
    std::size_t levels_ = 0;
    std::size_t position_ = 0; ///< just behind the last tag
};

} // namespace

template <class C>
bool FEncXmlDocument<C>::loadXml(const C* text, long length, long& consumed) {
    tree_.clear();
    consumed = -1;
    if (!text || length < 0) {
        return false;
    }
    FStrToken<C> rest(text, static_cast<std::size_t>(length));
    if constexpr (std::is_same_v<C, char>) {
        if (rest.starts_with(BOMLE)) {
            rest.remove_prefix(BOMSize);
        }
    }
    rest = rest.substr(0, kLongestText);

    const std::size_t read =
        rest.size() < kShortestText ? 0 : ElementReader<C>(tree_, rest.data(), rest.size()).read();
    if (read == 0) {
        tree_.clear();
        return false;
    }
    tree_.text.assign(rest.data(), read);
    consumed = static_cast<long>(rest.data() - text) + static_cast<long>(read) - 1;
    return true;
}

template <class C>
bool FEncXmlDocument<C>::loadXml(const C* text) {
    long consumed = 0;
    return loadXml(text, text ? static_cast<long>(std::char_traits<C>::length(text)) : 0, consumed);
}

template class FEncXmlDocument<char>;
template class FEncXmlDocument<wchar_t>;

} // namespace Kvs
