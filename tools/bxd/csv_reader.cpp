// SPDX-License-Identifier: MIT
// The parsing is libcsv's, in its strict mode, which refuses stray quotes instead of guessing. It is fed
// line by line, so that each record can be named by the line it begins on.
#include <new>
#include <utility>

#include "tools/bxd/readers.h"

namespace tool {
namespace {

// The fields of a row and the ends of rows, as the parser calls them out.
struct Rows {
    Record* open;
    std::deque<Record>* complete;
};

void TakeField(void* text, std::size_t size, void* data)
{
    const auto* rows = static_cast<Rows*>(data);
    rows->open->fields.emplace_back(static_cast<const char*>(text), size);
}

void TakeRow(int, void* data)
{
    const auto* rows = static_cast<Rows*>(data);
    rows->complete->push_back(std::exchange(*rows->open, Record()));
}

// Blanks belong to the field.
int NothingIsSpace(unsigned char) { return 0; }

}  // namespace

CsvReader::CsvReader(LineSource* source, char delimiter) : source_(source), delimiter_(delimiter)
{
    StartParser();
    Record first;
    try {
        if (!ReadRecord(&first)) {
            throw Failure(source->Path() + ": it is empty; its first row names the columns");
        }
    } catch (...) {
        csv_free(&parser_);
        throw;
    }
    columns_ = std::move(first.fields);
}

CsvReader::~CsvReader() { csv_free(&parser_); }

void CsvReader::StartParser()
{
    if (csv_init(&parser_, CSV_STRICT | CSV_STRICT_FINI) != 0) { throw std::bad_alloc(); }
    csv_set_delim(&parser_, static_cast<unsigned char>(delimiter_));
    csv_set_space_func(&parser_, NothingIsSpace);
    csv_set_blk_size(&parser_, 4096);
    open_ = Record();
}

// Leaves the record that is being read; the next one begins on the line behind.
void CsvReader::Drop(const std::string& what)
{
    const std::size_t line = open_.line != 0 ? open_.line : source_->LineNumber();
    csv_free(&parser_);
    StartParser();
    throw BadRecord(line, what);
}

// Gives the parser one more line. False at the end of the file.
bool CsvReader::Feed()
{
    std::string line;
    try {
        if (!source_->Next(&line)) { return false; }
    } catch (const BadRecord& bad) {
        Drop(bad.what());
    }

    if (open_.line == 0) { open_.line = source_->LineNumber(); }
    Rows rows = {&open_, &complete_};
    if (csv_parse(&parser_, line.data(), line.size(), TakeField, TakeRow, &rows) != line.size()) {
        if (csv_error(&parser_) == CSV_ENOMEM) { throw std::bad_alloc(); }
        Drop("a double quote stands where none can be");
    }
    return true;
}

void CsvReader::Finish()
{
    finished_ = true;
    Rows rows = {&open_, &complete_};
    if (csv_fini(&parser_, TakeField, TakeRow, &rows) != 0) { Drop("a field in double quotes does not end"); }
}

bool CsvReader::ReadRecord(Record* record)
{
    while (complete_.empty()) {
        if (finished_) { return false; }
        if (!Feed()) { Finish(); }
    }
    *record = std::move(complete_.front());
    complete_.pop_front();
    if (record->line == 0) { record->line = source_->LineNumber(); }
    return true;
}

}  // namespace tool
