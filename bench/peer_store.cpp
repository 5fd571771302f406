// SPDX-License-Identifier: MIT
// The store in the peer, SQLite: a table under an integer key, write-ahead log, synchronous NORMAL, prepared
// statements, one transaction for each card.
#include <sqlite3.h>

#include "bench/store.h"

namespace bench {

namespace {

class PeerStore : public Store {
public:
    explicit PeerStore(std::string path) : path_(std::move(path)) { open(); }
    PeerStore(const PeerStore&) = delete;
    PeerStore& operator=(const PeerStore&) = delete;
    ~PeerStore() override { close(); }

    void add(const Entry& entry) override
    {
        bind(insert_, 1, entry.headword);
        bind(insert_, 2, entry.reading);
        bind(insert_, 3, entry.meaning);
        step(insert_, SQLITE_DONE);
    }

    size_t read(uint32_t id) override
    {
        sqlite3_bind_int64(select_, 1, id);
        if (sqlite3_step(select_) != SQLITE_ROW) { Fail("a card of the peer cannot be read"); }
        const unsigned char* text = sqlite3_column_text(select_, 0);
        auto length = static_cast<size_t>(sqlite3_column_bytes(select_, 0));
        text_.assign(reinterpret_cast<const char*>(text), length);
        sqlite3_reset(select_);
        return length;
    }

    void change(uint32_t id, const std::string& meaning) override
    {
        bind(update_, 1, meaning);
        sqlite3_bind_int64(update_, 2, id);
        step(update_, SQLITE_DONE);
    }

    void reopen() override
    {
        close();
        open();
        (void)read(1);
    }

    void collect() override { run("VACUUM"); }

    void prepareSort() override { run("DROP INDEX IF EXISTS readings"); }
    void sort() override { run("CREATE INDEX readings ON cards(reading COLLATE BINARY)"); }

    void prepareSearch() override
    {
        run("CREATE INDEX IF NOT EXISTS headwords ON cards(headword)");
        run("CREATE INDEX IF NOT EXISTS readings ON cards(reading)");
        run("CREATE INDEX IF NOT EXISTS meanings ON cards(meaning)");
        find_ = prepare("SELECT id FROM cards WHERE reading >= ? AND reading < ? ORDER BY reading LIMIT 1");
        count_ = prepare("SELECT count(*) FROM cards NOT INDEXED WHERE meaning LIKE ?");
    }
    bool find(const std::string& begin) override
    {
        bind(find_, 1, begin);
        std::string end = begin;
        end.back() = static_cast<char>(end.back() + 1);
        bind(find_, 2, end);
        bool found = sqlite3_step(find_) == SQLITE_ROW;
        sqlite3_reset(find_);
        return found;
    }
    uint32_t count(const std::string& text) override
    {
        std::string pattern = "%" + text + "%";
        bind(count_, 1, pattern);
        if (sqlite3_step(count_) != SQLITE_ROW) { Fail("the peer does not count"); }
        auto found = static_cast<uint32_t>(sqlite3_column_int64(count_, 0));
        sqlite3_reset(count_);
        return found;
    }

private:
    static void bind(sqlite3_stmt* statement, int n, const std::string& text)
    {
        sqlite3_bind_text(statement, n, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
    }

    static void step(sqlite3_stmt* statement, int expected)
    {
        if (sqlite3_step(statement) != expected) { Fail("the peer refuses a change"); }
        sqlite3_reset(statement);
    }

    void run(const char* sql)
    {
        if (sqlite3_exec(db_, sql, nullptr, nullptr, nullptr) != SQLITE_OK) { Fail(sql); }
    }

    sqlite3_stmt* prepare(const char* sql)
    {
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v2(db_, sql, -1, &statement, nullptr) != SQLITE_OK) { Fail(sql); }
        return statement;
    }

    void open()
    {
        if (sqlite3_open(path_.c_str(), &db_) != SQLITE_OK) { Fail("the peer's file cannot be opened"); }
        run("PRAGMA journal_mode=WAL");
        run("PRAGMA synchronous=NORMAL");
        run("CREATE TABLE IF NOT EXISTS cards(id INTEGER PRIMARY KEY, headword TEXT, reading TEXT, meaning "
            "TEXT)");
        insert_ = prepare("INSERT INTO cards(headword, reading, meaning) VALUES(?, ?, ?)");
        select_ = prepare("SELECT meaning FROM cards WHERE id = ?");
        update_ = prepare("UPDATE cards SET meaning = ? WHERE id = ?");
    }

    void close()
    {
        sqlite3_finalize(insert_);
        sqlite3_finalize(select_);
        sqlite3_finalize(update_);
        sqlite3_finalize(find_);
        sqlite3_finalize(count_);
        sqlite3_close(db_);
    }

    std::string path_;
    std::string text_;
    sqlite3* db_ = nullptr;
    sqlite3_stmt* insert_ = nullptr;
    sqlite3_stmt* select_ = nullptr;
    sqlite3_stmt* update_ = nullptr;
    sqlite3_stmt* find_ = nullptr;
    sqlite3_stmt* count_ = nullptr;
};

}  // namespace

std::unique_ptr<Store> OpenPeer(const std::string& path) { return std::make_unique<PeerStore>(path); }

}  // namespace bench
