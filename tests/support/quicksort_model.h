// SPDX-License-Identifier: MIT
// A second opinion on the order that a full sort leaves: the same splits, written for plain numbers, with the
// left part waiting each time and as much room for that as it takes. The order does not depend on which part
// waits, so the library, which keeps the depth down, must come to the same.
#pragma once

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

namespace sorttest {

struct ModelEntry {
    std::uint32_t key;
    std::uint32_t id;
    std::uint8_t flags = 0;

    bool operator==(const ModelEntry&) const = default;
};

class QuicksortModel {
public:
    explicit QuicksortModel(std::vector<ModelEntry> entries) : entries_(std::move(entries)) {}

    // The entries in order; 1-based ranges, as the places in a card table are.
    std::vector<ModelEntry> sort()
    {
        const int count = static_cast<int>(entries_.size());
        if (count <= 8) {
            insertion(1, count);
            return entries_;
        }
        std::vector<std::pair<int, int>> waiting;
        int lo = 1;
        int hi = count;
        for (;;) {
            const int split = partition(lo, hi);
            const bool leftShort = split - lo < 8;
            const bool rightShort = hi - split < 8;
            if (leftShort) { insertion(lo, split - 1); }
            if (rightShort) { insertion(split, hi); }
            if (leftShort && rightShort) {
                if (waiting.empty()) { return entries_; }
                std::tie(lo, hi) = waiting.back();
                waiting.pop_back();
            } else if (leftShort) {
                lo = split;
            } else if (rightShort) {
                hi = split - 1;
            } else {
                waiting.emplace_back(lo, split - 1);
                depth_ = std::max(depth_, waiting.size());
                lo = split;
            }
        }
    }
    // Ranges that waited at most.
    std::size_t depth() const { return depth_; }

private:
    ModelEntry& at(int n) { return entries_[static_cast<std::size_t>(n - 1)]; }

    int partition(int lo, int hi)
    {
        const std::uint32_t pivot = at((lo + hi) / 2).key;
        int i = lo;
        int j = hi;
        while (j >= i) {
            while (at(i).key < pivot) { ++i; }
            while (at(j).key > pivot) { --j; }
            if (i == j) { break; }
            if (i < j) {
                if (at(i).key != pivot || at(j).key != pivot) { exchange(i, j); }
                ++i;
                --j;
            }
        }
        return i;
    }
    void exchange(int a, int b)
    {
        std::swap(at(a), at(b));
        at(a).flags &= 0xFE;
        at(b).flags &= 0xFE;
    }
    void insertion(int lo, int hi)
    {
        for (int n = lo + 1; n <= hi; ++n) {
            int place = n;
            while (place > lo && at(place - 1).key > at(n).key) { --place; }
            std::rotate(entries_.begin() + place - 1, entries_.begin() + n - 1, entries_.begin() + n);
        }
    }

    std::vector<ModelEntry> entries_;
    std::size_t depth_ = 0;
};

// Keys 0 to n - 1 such that each split takes off the eight lowest of what is left, on the left: a left part
// that waits each time gathers n / 8 ranges.
inline std::vector<std::uint32_t> DeepKeys(std::uint32_t n)
{
    std::vector<std::uint32_t> places(n);
    for (std::uint32_t i = 0; i < n; ++i) { places[i] = i; }
    std::vector<std::uint32_t> keys(n);
    std::uint32_t rank = 0;
    std::uint32_t lo = 0;
    for (; n - lo > 24; lo += 8) {
        for (std::uint32_t i = lo; i < lo + 7; ++i) { keys[places[i]] = rank++; }
        const std::uint32_t middle = (lo + 1 + n) / 2 - 1;
        keys[places[middle]] = rank++;
        std::swap(places[lo + 7], places[middle]);
    }
    for (; lo < n; ++lo) { keys[places[lo]] = rank++; }
    return keys;
}

// The same towards the other end: each split takes off the eight highest on the right.
inline std::vector<std::uint32_t> DeepKeysDown(std::uint32_t n)
{
    std::vector<std::uint32_t> keys = DeepKeys(n);
    std::reverse(keys.begin(), keys.end());
    for (std::uint32_t& key : keys) { key = n - 1 - key; }
    return keys;
}

}  // namespace sorttest
