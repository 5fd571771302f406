// SPDX-License-Identifier: MIT
// The text formats that cards are imported from, each as a run of records under named columns.
//
//   csv    RFC 4180: commas, fields in double quotes where need be, the first row names the columns
//   tsv    the same with tabs
//   edict  a dictionary, a line each: headword [reading] /meaning/meaning/(P)/
//
// A record that cannot be read is a BadRecord; reading can go on behind it.
#pragma once

#include <csv.h>

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "tools/bxd/failure.h"
#include "tools/bxd/line_source.h"

namespace tool {

struct Record {
    std::size_t line = 0;  // where it begins, counted from 1
    std::vector<std::string> fields;
};

class BadRecord : public Failure {
public:
    BadRecord(std::size_t line, const std::string& what) : Failure(what), line_(line) {}
    std::size_t Line() const { return line_; }

private:
    std::size_t line_;
};

class RecordReader {
public:
    virtual ~RecordReader() = default;
    virtual const std::vector<std::string>& Columns() const = 0;
    // False at the end of the file.
    virtual bool Next(Record* record) = 0;
};

class CsvReader : public RecordReader {
public:
    // Reads the first row. A file without one has no columns, which is a Failure.
    CsvReader(LineSource* source, char delimiter);
    ~CsvReader() override;
    CsvReader(const CsvReader&) = delete;
    CsvReader& operator=(const CsvReader&) = delete;

    const std::vector<std::string>& Columns() const override { return columns_; }
    bool Next(Record* record) override { return ReadRecord(record); }

private:
    void StartParser();
    bool ReadRecord(Record* record);
    bool Feed();
    void Finish();
    [[noreturn]] void Drop(const std::string& what);

    LineSource* source_;
    char delimiter_;
    csv_parser parser_ = {};
    bool finished_ = false;
    Record open_;  // fields of the record that is being read
    std::deque<Record> complete_;
    std::vector<std::string> columns_;
};

class EdictReader : public RecordReader {
public:
    EdictReader(LineSource* source, bool commonOnly);
    const std::vector<std::string>& Columns() const override { return columns_; }
    bool Next(Record* record) override;

private:
    LineSource* source_;
    bool commonOnly_;
    std::vector<std::string> columns_ = {"headword", "reading", "meaning"};
};

}  // namespace tool
