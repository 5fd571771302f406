// SPDX-License-Identifier: MIT
// The store as a box.
#include <bxd/bxd.h>
#include <unistd.h>

#include <vector>

#include "bench/store.h"

namespace bench {

namespace {

const ItemRecord kItems[3] = {{17, 0, {'H', 'E', 'A', 'D'}, "headword"},
                              {17, 0, {'R', 'E', 'A', 'D'}, "reading"},
                              {17, 0, {'M', 'E', 'A', 'N'}, "meaning"}};

class BoxStore : public Store {
public:
    explicit BoxStore(std::string path) : path_(std::move(path))
    {
        if (access(path_.c_str(), F_OK) != 0) { make(); }
        open();
    }
    BoxStore(const BoxStore&) = delete;
    BoxStore& operator=(const BoxStore&) = delete;
    ~BoxStore() override { (void)_BoxClose(box_); }

    void add(const Entry& entry) override
    {
        u16 edit = TMP_SYSTEM_CARD_ID;
        u16 id = 0;
        bool done = _CardCreate(box_, &edit) == 0 && write(edit, "HEAD", entry.headword) &&
                    write(edit, "READ", entry.reading) && write(edit, "MEAN", entry.meaning) &&
                    _CardCopy(box_, edit, &id) == 0;
        if (!done) { Fail("a card cannot be added to the box"); }
    }

    size_t read(uint32_t id) override
    {
        CardDescriptor key = keyOf(id, "MEAN");
        u32 length = sizeof text_;
        if (_CardRead(box_, &key, text_, &length) != 0) { Fail("a card of the box cannot be read"); }
        return length;
    }

    void change(uint32_t id, const std::string& meaning) override
    {
        if (!write(id, "MEAN", meaning)) { Fail("a card of the box cannot be changed"); }
    }

    void reopen() override
    {
        if (_BoxClose(box_) != 0) { Fail("the box cannot be closed"); }
        open();
        (void)read(1);
    }

    void collect() override
    {
        if (_BoxClose(box_) != 0 || _BoxGarbageCollect(path_.c_str()) != 0) {
            Fail("the box is not collected");
        }
        open();
    }

    void prepareSort() override
    {
        if (access(index().c_str(), F_OK) != 0) { makeIndex(); }
        if (_IndexUnGroup(index().c_str(), box_) != 0) { Fail("the index of the box cannot be filled"); }
    }
    void sort() override
    {
        if (_IndexSort(index().c_str(), box_) != 0) { Fail("the index of the box cannot be sorted"); }
    }

    void prepareSearch() override
    {
        for (const char* tag : {"HEAD", "READ", "MEAN"}) {
            if (access(indexOf(tag).c_str(), F_OK) != 0) { makeIndexOf(tag); }
        }
    }
    bool find(const std::string& begin) override
    {
        u16 number = 0;
        return search("READ", kBegins, begin, &number);
    }
    uint32_t count(const std::string& text) override
    {
        uint32_t found = 0;
        u16 number = 0;
        while (search("MEAN", kContains, text, &number)) { found++; }
        return found;
    }

private:
    static constexpr u8 kBegins = 0x91;
    static constexpr u8 kContains = 0x92;

    std::string index() const { return path_ + ".idx"; }
    std::string indexOf(const std::string& tag) const { return path_ + "." + tag + ".idx"; }

    // By language, and filled.
    void makeIndexOf(const std::string& tag)
    {
        const std::string name = indexOf(tag);
        const std::string order = tag + "\xFE\x80" + '\0';
        bool done = _BoxClose(box_) == 0 && _IndexCreate(name.c_str(), BXD_INDEX_MASTER) == 0 &&
                    _IndexInfoWrite(name.c_str(), IDXINF_BOX_NAME, reinterpret_cast<const u8*>(path_.data()),
                                    static_cast<u16>(path_.size())) == 0 &&
                    _IndexInfoWrite(name.c_str(), IDXINF_SORT_EXP, reinterpret_cast<const u8*>(order.data()),
                                    static_cast<u16>(order.size())) == 0;
        open();
        done = done && _IndexUnGroup(name.c_str(), box_) == 0 && _IndexSort(name.c_str(), box_) == 0;
        if (!done) { Fail("an index of the box cannot be made"); }
    }

    // The next entry behind *number in the order of the item.
    bool search(const std::string& tag, u8 op, const std::string& text, u16* number)
    {
        const std::string condition = tag + '\xFE' + static_cast<char>(op) + '\x11' + text;
        return _IndexSearch(indexOf(tag).c_str(), box_, reinterpret_cast<const u8*>(condition.c_str()), 0, 0,
                            0, 0, *number, number) == 0;
    }

    // It is registered in the box, which grows by that.
    void makeIndex()
    {
        static const u8 kByReading[] = {17, 6, 0x82};  // UTF-8, the second item of three, in binary order
        bool done =
            _BoxClose(box_) == 0 && _IndexCreate(index().c_str(), BXD_INDEX_MASTER) == 0 &&
            _IndexInfoWrite(index().c_str(), IDXINF_BOX_NAME, reinterpret_cast<const u8*>(path_.data()),
                            static_cast<u16>(path_.size())) == 0 &&
            _IndexInfoWrite(index().c_str(), IDXINF_SORT_CODE, kByReading, sizeof kByReading) == 0;
        if (!done) { Fail("the index of the box cannot be made"); }
        open();
    }

    static CardDescriptor keyOf(uint32_t id, const char* tag)
    {
        CardDescriptor key{};
        key.cardId = static_cast<u16>(id);
        for (int n = 0; n < 4; n++) { key.itemNameId[n] = static_cast<u8>(tag[n]); }
        return key;
    }

    bool write(uint32_t id, const char* tag, const std::string& value)
    {
        CardDescriptor key = keyOf(id, tag);
        return _CardWrite(box_, &key, reinterpret_cast<const u8*>(value.data()),
                          static_cast<i32>(value.size())) == 0;
    }

    void make() const
    {
        u32 rewritten = 0;
        bool done =
            _BoxCreate(path_.c_str(), 0) == 0 && _BoxItemAppend(path_.c_str(), kItems, 3, &rewritten) == 0;
        if (!done) { Fail("the box cannot be made"); }
    }

    void open()
    {
        box_ = _BoxOpen(path_.c_str());
        if (box_ == nullptr) { Fail("the box cannot be opened"); }
    }

    std::string path_;
    BoxHandle box_ = nullptr;
    u8 text_[256];
};

}  // namespace

std::unique_ptr<Store> OpenBox(const std::string& path) { return std::make_unique<BoxStore>(path); }

}  // namespace bench
