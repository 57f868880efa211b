// SPDX-License-Identifier: MIT

#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace Kvs {

/// The library's list. It keeps insertion order and grows geometrically.
template <class T>
using FList = std::vector<T>;

/// A small map that keeps insertion order. It finds an entry by comparing the keys one by one, which is
/// faster than hashing for the few entries that attributes and connections have.
template <class Key, class Value>
class FMap {
public:
    using Entry = std::pair<Key, Value>;

    /// Adds the entry. A repeated key keeps its first position and takes the later value.
    void set(Key key, Value value) {
        if (Value* existing = find(key)) {
            *existing = std::move(value);
        } else {
            entries_.emplace_back(std::move(key), std::move(value));
        }
    }

    /// Returns the value of `key`, or null.
    template <class K>
    Value* find(const K& key) {
        auto entry = position(key);
        return entry == entries_.end() ? nullptr : &entry->second;
    }

    /// Returns false if there is no such key.
    template <class K>
    bool remove(const K& key) {
        auto entry = position(key);
        if (entry == entries_.end()) {
            return false;
        }
        entries_.erase(entry);
        return true;
    }

    std::size_t count() const { return entries_.size(); }

    auto begin() { return entries_.begin(); }
    auto end() { return entries_.end(); }
    auto begin() const { return entries_.begin(); }
    auto end() const { return entries_.end(); }

private:
    template <class K>
    auto position(const K& key) {
        return std::find_if(entries_.begin(), entries_.end(),
                            [&](const Entry& entry) { return entry.first == key; });
    }

    std::vector<Entry> entries_;
};

} // namespace Kvs
