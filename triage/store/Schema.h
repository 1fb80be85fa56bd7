// The store's file: what marks it as ours, its tables, and the checks that
// leave any other file as it was.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <string>
#include <vector>

namespace triage {

// "c2iT", in the header's application id.
constexpr int32_t kApplicationId = 0x63326954;
// The version in the header's user_version; a store of a later one is
// refused rather than written in a shape its writer did not make, one of
// an earlier one brought up to this one as it is opened. The streams
// table has a column per row column: a new one is a new version.
// Version 2 keeps the streams in a table with rowids, where version 1's
// clustered rows of a kilobyte each spilled into a page of their own.
constexpr int32_t kSchemaVersion = 2;

// The store at `path`, opened to read and write, with its tables made when
// the file was absent or empty; throws a StoreError, with the file
// untouched, when it is something else.
sqlite3* openStore(const std::string& path);

// The streams table's columns after (report, ordinal), in order; the last
// kDetailColumns of them are what only a stream's detail shows (its
// analysis, its record and its change), kept as JSON.
const std::vector<std::string>& streamColumns();
constexpr size_t kDetailColumns = 3;

}  // namespace triage
