// SPDX-License-Identifier: MIT

#pragma once

#include "core/base/Containers.h"
#include "remote/xml/FEncXmlTree.h"

#include <cstddef>
#include <cstdint>
#include <iterator>

namespace Kvs {

/// The iterator of the views below: `Step` has `value(index)` and `next(index)`.
template <class Step>
class FEncXmlIterator {
public:
    FEncXmlIterator(Step step, std::uint32_t index) : step_(step), index_(index) {}

    auto operator*() const { return step_.value(index_); }
    FEncXmlIterator& operator++() {
        index_ = step_.next(index_);
        return *this;
    }
    bool operator==(const FEncXmlIterator& other) const { return index_ == other.index_; }

private:
    Step step_;
    std::uint32_t index_;
};

template <class C>
struct FEncXmlAttribute {
    FEncXmlFragment<C> name;
    FEncXmlFragment<C> value;
};

/// The attributes of one element in document order. A repeated name keeps its first position and has the
/// later value.
template <class C>
class FEncXmlAttributes {
public:
    FEncXmlAttributes() = default;
    FEncXmlAttributes(const FEncXmlTree<C>& tree, std::uint32_t begin, std::uint32_t end)
        : tree_(&tree), begin_(begin), end_(end) {}

    FEncXmlAttribute<C> value(std::uint32_t index) const {
        const auto& attribute = tree_->attributes[index];
        return {tree_->fragment(attribute.name), tree_->fragment(attribute.value)};
    }
    static std::uint32_t next(std::uint32_t index) { return index + 1; }

    FEncXmlIterator<FEncXmlAttributes> begin() const { return {*this, begin_}; }
    FEncXmlIterator<FEncXmlAttributes> end() const { return {*this, end_}; }
    std::size_t count() const { return end_ - begin_; }

    /// Returns the raw value; an empty fragment when there is no such attribute.
    FEncXmlFragment<C> find(const C* name) const {
        if (!name) {
            return {};
        }
        const FStrToken<C> wanted(name); // measured once
        for (const auto& attribute : *this) {
            if (attribute.name.token() == wanted) {
                return attribute.value;
            }
        }
        return {};
    }

private:
    const FEncXmlTree<C>* tree_ = nullptr;
    std::uint32_t begin_ = 0;
    std::uint32_t end_ = 0;
};

/// The text fragments of one element: one for each run of characters between two tags inside it, so
/// that mixed content keeps its pieces apart, white space included.
template <class C>
class FEncXmlTexts {
public:
    FEncXmlTexts() = default;
    FEncXmlTexts(const FEncXmlTree<C>& tree, std::uint32_t first) : tree_(&tree), first_(first) {}

    FEncXmlFragment<C> value(std::uint32_t index) const { return tree_->fragment(tree_->texts[index].span); }
    std::uint32_t next(std::uint32_t index) const { return tree_->texts[index].next; }

    FEncXmlIterator<FEncXmlTexts> begin() const { return {*this, first_}; }
    FEncXmlIterator<FEncXmlTexts> end() const { return {*this, FEncXmlTree<C>::kNone}; }

private:
    const FEncXmlTree<C>* tree_ = nullptr;
    std::uint32_t first_ = FEncXmlTree<C>::kNone;
};

template <class C>
class FEncXmlChildren;

/// Refers to one element of an `FEncXmlDocument` and is cheap to copy. The node and everything taken from it
/// are valid until the document loads another text or is destroyed. An empty node converts to false and has
/// no contents.
template <class C>
class FEncXmlNode {
public:
    FEncXmlNode() = default;
    FEncXmlNode(const FEncXmlTree<C>& tree, std::uint32_t index) : tree_(&tree), index_(index) {}

    explicit operator bool() const { return tree_ != nullptr; }

    FEncXmlFragment<C> name() const { return tree_ ? tree_->fragment(element().name) : FEncXmlFragment<C>(); }

    FEncXmlAttributes<C> attributes() const {
        return tree_ ? FEncXmlAttributes<C>(*tree_, element().firstAttribute, element().attributesEnd)
                     : FEncXmlAttributes<C>();
    }

    /// Returns the raw value of an attribute; an empty fragment when there is none of that name.
    FEncXmlFragment<C> attribute(const C* name) const { return attributes().find(name); }

    FEncXmlTexts<C> text() const {
        return tree_ ? FEncXmlTexts<C>(*tree_, element().firstText) : FEncXmlTexts<C>();
    }

    /// The direct children in document order.
    FEncXmlChildren<C> children() const {
        return tree_ ? FEncXmlChildren<C>(*tree_, index_ + 1, element().subtreeEnd) : FEncXmlChildren<C>();
    }

    /// Returns the direct children of that name in document order, not deeper ones.
    FList<FEncXmlNode> getElementsByTagName(const C* name) const {
        FList<FEncXmlNode> found;
        for (const FEncXmlNode& child : children()) {
            if (child.name() == name) {
                found.push_back(child);
            }
        }
        return found;
    }

private:
    const typename FEncXmlTree<C>::Element& element() const { return tree_->elements[index_]; }

    const FEncXmlTree<C>* tree_ = nullptr;
    std::uint32_t index_ = 0;
};

/// The direct children of one element in document order.
template <class C>
class FEncXmlChildren {
public:
    FEncXmlChildren() = default;
    FEncXmlChildren(const FEncXmlTree<C>& tree, std::uint32_t first, std::uint32_t end)
        : tree_(&tree), first_(first), end_(end) {}

    FEncXmlNode<C> value(std::uint32_t index) const { return {*tree_, index}; }
    std::uint32_t next(std::uint32_t index) const { return tree_->elements[index].subtreeEnd; }

    FEncXmlIterator<FEncXmlChildren> begin() const { return {*this, first_}; }
    FEncXmlIterator<FEncXmlChildren> end() const { return {*this, end_}; }

private:
    const FEncXmlTree<C>* tree_ = nullptr;
    std::uint32_t first_ = 0;
    std::uint32_t end_ = 0;
};

} // namespace Kvs
