// SPDX-License-Identifier: MIT
// What is measured: a store of cards with three texts under a number, once as a box and once in the peer.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace bench {

// One entry of a dictionary. The lengths are those of a real one: 9, 15 and 40 bytes of UTF-8.
struct Entry {
    std::string headword;
    std::string reading;
    std::string meaning;
};

class Store {
public:
    Store() = default;
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;
    virtual ~Store() = default;

    virtual void add(const Entry& entry) = 0;
    // Bytes of the meaning of card `id`.
    virtual size_t read(uint32_t id) = 0;
    virtual void change(uint32_t id, const std::string& meaning) = 0;
    // Closes the store, opens it and reads one card.
    virtual void reopen() = 0;
    // Gives the space of what was replaced back to the host.
    virtual void collect() = 0;
    // An index of all entries, without order; then the order of the readings, byte by byte.
    virtual void prepareSort() = 0;
    virtual void sort() = 0;
    // Indexes of all three texts, in order, which every change of a card keeps up.
    virtual void prepareSearch() = 0;
    // The first entry whose reading begins so, in the order of the readings; false for none.
    virtual bool find(const std::string& begin) = 0;
    // How many meanings contain a text.
    virtual uint32_t count(const std::string& text) = 0;
};

// Each opens the file at `path`, making it where it is not there, and ends the program where it cannot.
std::unique_ptr<Store> OpenBox(const std::string& path);
std::unique_ptr<Store> OpenPeer(const std::string& path);

Entry MakeEntry(uint32_t n);

[[noreturn]] void Fail(const std::string& what);

}  // namespace bench
