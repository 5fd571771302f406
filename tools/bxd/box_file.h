// SPDX-License-Identifier: MIT
// A box as a C++ object: a thin cover over the library's C interface, which turns statuses into Failure with
// the name of the file and the reason in words.
//
// The name of a box is a path of the host, or "F0:" or "F1:" and a file name in $HOME/Applications/bxd/.
#pragma once

#include <bxd/bxd.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/bxd/item.h"

namespace tool {

// The value of one item, for a new card.
struct ItemValue {
    std::string tag;
    std::string bytes;
};

// An index that a box lists, by its full name.
struct ListedIndex {
    std::string name;
    bool isMaster = false;
};

struct BoxFigures {
    std::string application;  // four bytes
    u16 cards = 0;
    u32 cardBytes = 0;
    u32 garbageBytes = 0;
    u32 fileBytes = 0;
    std::vector<ListedIndex> indexes;
};

// Checks items for a new box before anything is written: tags, lengths of names, doubles, count.
void CheckNewItems(const std::vector<Item>& items);

void CreateBox(const std::string& name, const std::string& application);
void DeleteBox(const std::string& name);
// Gives a box without items its first ones.
void AddFirstItems(const std::string& name, const std::vector<Item>& items);
BoxFigures ReadFigures(const std::string& name);
std::vector<ListedIndex> ReadIndexes(const std::string& name);

class BoxFile {
public:
    enum Mode { kReadOnly, kReadWrite };

    BoxFile(const std::string& name, Mode mode);
    ~BoxFile();
    BoxFile(const BoxFile&) = delete;
    BoxFile& operator=(const BoxFile&) = delete;

    const std::string& Name() const { return name_; }
    const std::vector<Item>& Items() const { return items_; }
    BoxHandle Handle() const { return box_; }
    // See item.h.
    const Item* FindItem(std::string_view tagOrName) const;

    // Whether there is a card of this id that counts; a deleted one that is kept for a synchronisation
    // does not.
    bool HasCard(u16 id) const;
    // The same, and deleted ones too.
    bool HoldsCard(u16 id) const;
    // The value of an item. Throws for a card that is not there.
    std::string Read(u16 id, const Item& item) const;
    void Write(u16 id, const Item& item, const std::string& bytes);
    // Makes a card and gives its id.
    u16 Append(const std::vector<ItemValue>& values);

    // Deletes a card. A synchronisation that runs keeps it as one that does not count.
    void Delete(u16 id);

    // Closes and reports what the closing says; the destructor closes in silence.
    void Close();

private:
    void ReadItems();
    std::optional<u8> AttributeOf(u16 id) const;

    std::string name_;
    BoxHandle box_ = nullptr;
    std::vector<Item> items_;
};

}  // namespace tool
