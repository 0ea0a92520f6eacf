// Random corruptions of a real database file: byte flips, zeroed ranges,
// truncations at random places and at block and record boundaries, zeroed
// and swapped blocks. For each damaged copy:
// - nothing crashes, hangs or trips the sanitizers;
// - the open is refused, or every table either answers exactly as before or
//   fails its statement with a status naming a table. The one exception the
//   format allows: damage confined to the values inside live records of a
//   table (no checksums: a changed value, or a lowered value count, reads as
//   a valid record) may change that table's values, never its rows;
// - lookups that go through an index answer as before or fail, unless the
//   damage changed values in the index's records or in the rows concerned;
// - a row acknowledged by INSERT and COMMIT reads back after reopening, or
//   the statement reading it fails;
// - --check (ParvexCheckDatabase) leaves the file as it was, and flags every
//   truncation and every zeroing that reaches a byte the format's structure
//   gives meaning to (the layout below works out which bytes those are,
//   from the clean file, independently of the engine).
// The default run is a few hundred cases; PARVEX_CORRUPTION_CASES and
// PARVEX_CORRUPTION_SEED choose a longer run (scripts/corruption-run.sh).
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "core/check_report.h"
#include "db/integrity_check.h"
#include "harness/engine.h"
#include "harness/files.h"

namespace parvex {
namespace {

const char* const kTables[] = {"Authors", "Books", "Notes"};
constexpr size_t kTableCount = 3;

// Queries the executor answers through an index (one-column indexes), with
// the table they read.
struct Lookup {
  size_t table;
  const char* sql;
};
const Lookup kLookups[] = {
    {0, "SELECT _rowid FROM Authors WHERE name = 'Author 5'"},
    {0, "SELECT _rowid FROM Authors WHERE name = 'Author 22'"},
    {1, "SELECT _rowid FROM Books WHERE authorID = 1"},
    {1, "SELECT _rowid FROM Books WHERE authorID = 17"},
    {1, "SELECT _rowid FROM Books WHERE authorID = 33"},
};

// --- the clean database ---------------------------------------------------------

void Run(ParvexDatabase& db, const std::string& sql) {
  const std::string result = Exec(db, sql);
  ASSERT_EQ(result.substr(0, 8), "[00000] ") << sql << ": " << result;
}

std::string Title(int i) { return "Book number " + std::to_string(i) + " of the shelf"; }

void BuildDatabase(const std::string& path) {
  ParvexStatus status;
  auto db = Open(path, true, &status);
  ASSERT_NE(db, nullptr);
  Run(*db, "CREATE TABLE Authors (name String, born Date, country String)");
  Run(*db, "CREATE INDEX byName ON Authors (name)");
  for (int i = 1; i <= 40; ++i) {
    Run(*db, "INSERT INTO Authors VALUES ('Author " + std::to_string(i) + "', DATE '18" +
                 std::to_string(10 + i) + "-0" + std::to_string(1 + i % 9) + "-1" + std::to_string(i % 10) +
                 "', " + (i % 3 ? "'England'" : "NULL") + ")");
  }
  Run(*db, "COMMIT");
  Run(*db, "CREATE TABLE Books (title String, authorID Integer, price Double, pages Integer, inPrint Boolean)");
  Run(*db, "CREATE INDEX byAuthor ON Books (authorID)");
  for (int i = 1; i <= 300; ++i) {
    Run(*db, "INSERT INTO Books VALUES ('" + Title(i) + "', " + std::to_string(1 + i % 40) + ", " +
                 std::to_string(i % 50) + ".25, " + std::to_string(100 + i) + ", " + (i % 2 ? "TRUE" : "FALSE") + ")");
    if (i % 100 == 0) Run(*db, "COMMIT");
  }
  Run(*db, "CREATE INDEX byTitle ON Books (title, pages)");
  Run(*db, "COMMIT");
  // Rows that outgrow their records move; others are deleted or shrink in place.
  for (int i = 7; i <= 300; i += 7) {
    Run(*db, "UPDATE Books SET title = '" + Title(i) + ", revised and enlarged' WHERE _rowid = " + std::to_string(i));
  }
  Run(*db, "DELETE FROM Books WHERE pages > 380 AND pages < 395");
  Run(*db, "UPDATE Books SET price = NULL WHERE pages > 200 AND pages < 210");
  Run(*db, "COMMIT");
  Run(*db, "CREATE TABLE Notes (body String, stamp Timestamp, weight Double)");
  for (int i = 1; i <= 30; ++i) {
    Run(*db, "INSERT INTO Notes VALUES ('" + std::string(200 + 7 * i, static_cast<char>('a' + i % 26)) +
                 "', TIMESTAMP '2020-01-0" + std::to_string(1 + i % 9) + " 10:00:00', " + std::to_string(i) + ".5)");
  }
  Run(*db, "COMMIT");
  Run(*db, "DELETE FROM Notes WHERE weight < 5");
  Run(*db, "COMMIT");
}

// A table's rows: row ID -> one text per column (NULL as "<null>").
using TableRows = std::map<RowID, std::vector<std::string>>;

bool ReadTable(ParvexDatabase& db, const std::string& table, TableRows* rows, ParvexStatus* status) {
  std::unique_ptr<ParvexTable> result(
      ParvexSQLQuery(string("SELECT _rowid, * FROM " + table), db, status, nullptr, nullptr, nullptr));
  if (IsErrorState(status->State())) return false;
  rows->clear();
  if (!result) return true;
  SimpleVector<RowID> ids;
  result->GetRowIDs(&ids);
  for (RowID id : ids) {
    ParvexValue v;
    result->GetValue(id, 0, &v);
    std::vector<std::string>& row = (*rows)[static_cast<RowID>(v.GetInteger())];
    for (long c = 1; c < result->QtyColumns(); ++c) {
      result->GetValue(id, c, &v);
      row.push_back(v.IsNull() ? "<null>" : std::string(v.GetString().view()));
    }
  }
  return true;
}

// --- the layout of the clean file, worked out from its bytes --------------------

// Which bytes the format's structure gives meaning to (a zero there must be
// noticed), which bytes are the values inside live records of a table, and
// the offsets where blocks and records begin.
// What a structural byte belongs to (0: nothing structural).
enum Part : uint8_t {
  kNone,
  kVolumeHeader,
  kBlockHeader,
  kEndMark,
  kBlockMapData,
  kItemHeader,
  kFolderList,
  kMapFile,
  kRecordHeader,
  kIndexRecord,
};
const char* const kPartNames[] = {"",           "volume header", "block header", "end mark",      "block map",
                                  "item header", "folder list",  "map file",     "record header", "index record"};

class Layout {
 public:
  static int64_t BodyOwner(size_t table, RowID row) { return static_cast<int64_t>(table) << 32 | row; }

  explicit Layout(const std::string& bytes)
      : structural(bytes.size()), liveBody(bytes.size(), -1), indexValues(bytes.size()), mBytes(bytes) {
    Mark(0, 8, kVolumeHeader);
    for (int64_t at = 8; at + 28 <= Length();) {
      Block block{at, static_cast<int64_t>(F64(at + 12)), U32(at + 4), U32(at + 8)};
      if (block.size < 32 || at + block.size > Length()) break;
      blocks.push_back(block);
      boundaries.push_back(at);
      boundaries.push_back(at + 28);
      Mark(at, block.id == 0 ? 8 : 28, kBlockHeader);  // a free block's sequence and link mean nothing
      Mark(at + block.size - 4, 4, kEndMark);
      if (block.id != 0) files[block.id][block.seq] = blocks.size() - 1;
      at += block.size;
    }
    MarkBlockMap();
    for (const auto& [id, sequences] : files) {
      if (id >= 2) MarkItem(id);
    }
  }

  struct Block {
    int64_t start;
    int64_t size;
    uint32_t id;
    uint32_t seq;
  };

  int64_t Length() const { return static_cast<int64_t>(mBytes.size()); }

  std::vector<Block> blocks;
  std::vector<uint8_t> structural;
  // The live record whose body holds the byte, as BodyOwner(table, row), or -1.
  std::vector<int64_t> liveBody;
  std::vector<uint8_t> indexValues;  // the byte is in the values of an index file's record
  std::vector<int64_t> boundaries;

 private:
  uint32_t U32(int64_t at) const {
    const auto* b = reinterpret_cast<const uint8_t*>(mBytes.data() + at);
    return (uint32_t{b[0]} << 24) | (uint32_t{b[1]} << 16) | (uint32_t{b[2]} << 8) | b[3];
  }
  double F64(int64_t at) const {
    uint64_t bits = 0;
    for (int i = 0; i < 8; ++i) bits = (bits << 8) | static_cast<uint8_t>(mBytes[static_cast<size_t>(at + i)]);
    double d;
    std::memcpy(&d, &bits, sizeof d);
    return d;
  }
  void Mark(int64_t at, int64_t count, Part part) {
    for (int64_t i = at; i < at + count && i < Length(); ++i) structural[static_cast<size_t>(i)] = part;
  }

  // The volume offset of byte `offset` of a file's data, or -1.
  int64_t Where(uint32_t id, int64_t offset) const {
    const auto file = files.find(id);
    if (file == files.end()) return -1;
    for (const auto& [seq, index] : file->second) {
      const Block& block = blocks[index];
      if (offset < block.size - 32) return block.start + 28 + offset;
      offset -= block.size - 32;
    }
    return -1;
  }
  // Four bytes of file data, which may straddle two blocks.
  uint32_t DataU32(uint32_t id, int64_t offset) const {
    uint32_t value = 0;
    for (int64_t i = 0; i < 4; ++i) {
      const int64_t at = Where(id, offset + i);
      value = (value << 8) | (at < 0 ? 0 : static_cast<uint8_t>(mBytes[static_cast<size_t>(at)]));
    }
    return value;
  }
  void MarkData(uint32_t id, int64_t offset, int64_t count, Part part) {
    for (int64_t i = 0; i < count; ++i) {
      const int64_t at = Where(id, offset + i);
      if (at >= 0) structural[static_cast<size_t>(at)] = part;
    }
  }
  void MarkBody(uint32_t id, int64_t offset, int64_t count, int64_t owner) {
    for (int64_t i = 0; i < count; ++i) {
      const int64_t at = Where(id, offset + i);
      if (at >= 0) liveBody[static_cast<size_t>(at)] = owner;
    }
  }

  void MarkBlockMap() {
    MarkData(1, 0, 16, kBlockMapData);  // counter, image length, "BMap", count
    const uint32_t count = DataU32(1, 12);
    for (uint32_t i = 0; i < count; ++i) MarkData(1, 16 + 12 * i, 8, kBlockMapData);  // not the sequence
  }

  void MarkItem(uint32_t id) {
    if (Where(id, 0) < 0) return;
    MarkData(id, 0, 16, kItemHeader);  // length, type, parent
    std::string name;
    for (int64_t i = 32; i < 256; ++i) {
      const int64_t at = Where(id, i);
      if (at < 0 || mBytes[static_cast<size_t>(at)] == 0) break;
      name.push_back(mBytes[static_cast<size_t>(at)]);
      structural[static_cast<size_t>(at)] = kItemHeader;
    }
    uint64_t lengthBits = 0;
    for (int64_t i = 0; i < 8; ++i) {
      lengthBits = (lengthBits << 8) | static_cast<uint8_t>(mBytes[static_cast<size_t>(Where(id, i))]);
    }
    double lengthField;
    std::memcpy(&lengthField, &lengthBits, sizeof lengthField);
    const auto length = static_cast<int64_t>(lengthField);
    if (DataU32(id, 8) == 0x666F6C64) {  // "fold": the count and the list
      MarkData(id, 256, 4 + 4 * static_cast<int64_t>(DataU32(id, 256)), kFolderList);
      return;
    }
    const auto ends = [&name](const char* suffix) {
      return name.size() > std::strlen(suffix) && name.compare(name.size() - std::strlen(suffix), std::string::npos, suffix) == 0;
    };
    if (ends(".map")) {
      MarkData(id, 256, 12 + 8 * static_cast<int64_t>(DataU32(id, 260)), kMapFile);
      return;
    }
    int table = name == "_schema.dat" ? static_cast<int>(kTableCount) : -1;  // the schema's values count too
    for (size_t t = 0; t < kTableCount; ++t) {
      if (name == std::string(kTables[t]) + ".dat") table = static_cast<int>(t);
    }
    const bool index = ends(".idx");
    for (int64_t at = 256 + 256; at + 12 <= 256 + length;) {
      boundaries.push_back(Where(id, at));
      const bool live = DataU32(id, at) == 0x52635374;
      const int64_t body = DataU32(id, at + 8);
      MarkData(id, at, 4, kRecordHeader);
      MarkData(id, at + 8, 4, kRecordHeader);
      if (live) MarkData(id, at + 4, 4, kRecordHeader);  // a deleted record's row ID means nothing
      if (live && index) {
        MarkData(id, at + 12, body, kIndexRecord);
        for (int64_t i = 0; i < body; ++i) indexValues[static_cast<size_t>(Where(id, at + 12 + i))] = 1;
      }
      if (live && table >= 0) MarkBody(id, at + 12, body, BodyOwner(static_cast<size_t>(table), DataU32(id, at + 4)));
      at += 12 + body;
    }
  }

  const std::string& mBytes;
  std::map<uint32_t, std::map<uint32_t, size_t>> files;
};

// --- corruptions ------------------------------------------------------------------

enum class Kind { kFlip, kZeroRange, kTruncateRandom, kTruncateBoundary, kZeroBlock, kSwapBlocks, kSwapBlockData };

const char* KindName(Kind kind) {
  switch (kind) {
    case Kind::kFlip: return "byte flips";
    case Kind::kZeroRange: return "zeroed range";
    case Kind::kTruncateRandom: return "truncation at a random place";
    case Kind::kTruncateBoundary: return "truncation at a block or record boundary";
    case Kind::kZeroBlock: return "zeroed block";
    case Kind::kSwapBlocks: return "swapped blocks";
    case Kind::kSwapBlockData: return "swapped block contents";
  }
  return "";
}

struct Damage {
  Kind kind;
  std::string bytes;
  std::string what;  // for messages
};

Damage MakeDamage(Kind kind, const std::string& clean, const Layout& layout, std::mt19937& random) {
  Damage damage{kind, clean, KindName(kind)};
  std::string& b = damage.bytes;
  const auto pick = [&random](int64_t low, int64_t high) {  // [low, high)
    return std::uniform_int_distribution<int64_t>(low, high - 1)(random);
  };
  const auto inUse = [&layout, &pick]() {
    for (;;) {
      const auto& block = layout.blocks[static_cast<size_t>(pick(0, static_cast<int64_t>(layout.blocks.size())))];
      if (block.id != 0) return block;
    }
  };
  switch (kind) {
    case Kind::kFlip:
      for (int64_t n = pick(1, 5); n > 0; --n) {
        const int64_t at = pick(0, layout.Length());
        b[static_cast<size_t>(at)] = static_cast<char>(b[static_cast<size_t>(at)] ^ pick(1, 256));
        damage.what += " " + std::to_string(at);
      }
      break;
    case Kind::kZeroRange: {
      const int64_t length = std::min<int64_t>(1 + static_cast<int64_t>(std::exp2(static_cast<double>(pick(0, 9)))),
                                               layout.Length());
      const int64_t at = pick(0, layout.Length() - length + 1);
      std::fill(b.begin() + at, b.begin() + at + length, '\0');
      damage.what += " " + std::to_string(at) + "+" + std::to_string(length);
      break;
    }
    case Kind::kTruncateRandom:
      b.resize(static_cast<size_t>(pick(0, layout.Length())));
      damage.what += " to " + std::to_string(b.size());
      break;
    case Kind::kTruncateBoundary:
      b.resize(static_cast<size_t>(
          layout.boundaries[static_cast<size_t>(pick(0, static_cast<int64_t>(layout.boundaries.size())))]));
      damage.what += " to " + std::to_string(b.size());
      break;
    case Kind::kZeroBlock: {
      const auto block = inUse();
      const int64_t length = pick(0, 2) ? block.size : 28;
      std::fill(b.begin() + block.start, b.begin() + block.start + length, '\0');
      damage.what += " at " + std::to_string(block.start) + "+" + std::to_string(length);
      break;
    }
    case Kind::kSwapBlocks:
    case Kind::kSwapBlockData: {
      const auto first = inUse();
      auto second = inUse();
      for (int tries = 0; tries < 100 && (second.start == first.start || second.size != first.size); ++tries) {
        second = inUse();
      }
      const int64_t skip = kind == Kind::kSwapBlocks ? 0 : 28;
      const int64_t count = first.size - (kind == Kind::kSwapBlocks ? 0 : 32);
      if (second.size == first.size) {
        std::swap_ranges(b.begin() + first.start + skip, b.begin() + first.start + skip + count,
                         b.begin() + second.start + skip);
      }
      damage.what += " " + std::to_string(first.start) + "<->" + std::to_string(second.start);
      break;
    }
  }
  return damage;
}

// --- one case -----------------------------------------------------------------------

struct Tally {
  std::map<std::string, int> counts;
  void Add(const std::string& what) { ++counts[what]; }
};

bool NamesATable(const ParvexStatus& status) {
  const std::string text(status.Description().view());
  return text.find("Table ") != std::string::npos || text.find("table ") != std::string::npos;
}

class CorruptionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    BuildDatabase(folder.File("clean.pvx"));
    clean = testing::ReadFile(folder.File("clean.pvx"));
    ParvexStatus status;
    auto db = Open(folder.File("clean.pvx"), false, &status);
    ASSERT_NE(db, nullptr);
    for (size_t t = 0; t < kTableCount; ++t) ASSERT_TRUE(ReadTable(*db, kTables[t], &cleanRows[t], &status));
    for (size_t q = 0; q < std::size(kLookups); ++q) {
      cleanLookups[q] = Rows(*db, kLookups[q].sql);
      std::sort(cleanLookups[q].begin(), cleanLookups[q].end());
      ASSERT_FALSE(cleanLookups[q].empty());
    }
  }

  void RunCase(const Damage& damage, const Layout& layout, Tally* tally);

  TempFolder folder;
  std::string clean;
  TableRows cleanRows[kTableCount];
  std::vector<std::string> cleanLookups[std::size(kLookups)];
};

void CorruptionTest::RunCase(const Damage& damage, const Layout& layout, Tally* tally) {
  SCOPED_TRACE(damage.what);
  const std::string path = folder.File("damaged.pvx");
  // Where the damage lies: the live records whose values it touched, and
  // whether it reaches a structural byte.
  std::set<int64_t> touchedRecords;
  bool indexValuesTouched = false;
  bool changed = damage.bytes.size() != clean.size();
  bool structural = damage.bytes.size() < clean.size();
  std::string parts;  // for messages
  for (size_t i = 0; i < std::min(clean.size(), damage.bytes.size()); ++i) {
    if (damage.bytes[i] == clean[i]) continue;
    changed = true;
    structural = structural || layout.structural[i];
    if (layout.structural[i]) parts += std::string(" ") + kPartNames[layout.structural[i]] + "@" + std::to_string(i);
    if (layout.liveBody[i] >= 0) touchedRecords.insert(layout.liveBody[i]);
    indexValuesTouched = indexValuesTouched || layout.indexValues[i];
  }
  if (!changed) {
    tally->Add("unchanged (the damage rewrote bytes with the same values)");
    return;
  }
  tally->Add(std::string("cases: ") + KindName(damage.kind));
  testing::WriteFile(path, damage.bytes);

  // The check reads only, and sees every truncation and structural zeroing.
  CheckReport report;
  ParvexStatus status;
  const bool ran = ParvexCheckDatabase(string(path), &report, &status);
  EXPECT_EQ(testing::ReadFile(path), damage.bytes) << "the check changed the file";
  if (!ran || !report.Clean()) tally->Add(std::string("--check flags: ") + KindName(damage.kind));
  const bool mustFlag = structural;
  if (mustFlag) {
    EXPECT_TRUE(!ran || !report.Clean()) << "--check found nothing; changed:" << parts;
  }

  auto db = Open(path, false, &status);
  if (!db) {
    EXPECT_TRUE(IsErrorState(status.State()));
    tally->Add("open refused");
    return;
  }
  bool reported = false;
  for (size_t t = 0; t < kTableCount; ++t) {
    TableRows rows;
    if (!ReadTable(*db, kTables[t], &rows, &status)) {
      EXPECT_TRUE(NamesATable(status) || status.State() == kPXTableNotFound) << status.Description().view();
      EXPECT_TRUE(status.State() == kPXDataCorrupted || status.State() == kPXIOError ||
                  status.State() == kPXTableNotFound)
          << status.Description().view();
      reported = true;
      continue;
    }
    // Values may differ only in records whose own bytes were changed, or
    // when the schema's values (names, column IDs, types) were.
    const auto schemaOwner = Layout::BodyOwner(kTableCount, 0);
    const bool schemaTouched = touchedRecords.lower_bound(schemaOwner) != touchedRecords.end();
    bool sameRows = rows.size() == cleanRows[t].size();
    bool explained = true;
    bool sameValues = true;
    for (const auto& [id, values] : cleanRows[t]) {
      const auto found = rows.find(id);
      if (found == rows.end()) {
        sameRows = false;
      } else if (found->second != values) {
        sameValues = false;
        explained = explained && (schemaTouched || touchedRecords.count(Layout::BodyOwner(t, id)));
      }
    }
    if (sameRows && sameValues) continue;
    if (sameRows && explained) {
      tally->Add(schemaTouched ? "columns changed by damage inside the schema's records (no checksums to tell)"
                               : "values changed inside the damaged live records (no checksums to tell)");
      continue;
    }
    std::string detail;
    for (const auto& [id, values] : cleanRows[t]) {
      const auto found = rows.find(id);
      if (found == rows.end()) {
        detail = "row " + std::to_string(id) + " is missing";
        break;
      }
      for (size_t c = 0; c < values.size(); ++c) {
        if (c >= found->second.size() || found->second[c] != values[c]) {
          detail = "row " + std::to_string(id) + " column " + std::to_string(c + 1) + ": " + values[c] + " -> " +
                   (c < found->second.size() ? found->second[c] : "?");
          break;
        }
      }
      if (!detail.empty()) break;
    }
    ADD_FAILURE() << kTables[t] << " answered silently with " << (sameRows ? "other values" : "other rows") << ": "
                  << detail;
  }
  tally->Add(reported ? "statements failed naming the table" : "every table answered as before");

  // Lookups through an index: the rows found are the rows whose values
  // match, unless values in the index's records (or the rows) were changed.
  // (Their order is the scan's, which a rebuilt map may change.)
  for (size_t q = 0; q < std::size(kLookups); ++q) {
    std::vector<std::string> rows = Rows(*db, kLookups[q].sql, &status);
    if (IsErrorState(status.State())) {
      // Damage inside the schema's values may rename a column.
      EXPECT_TRUE(NamesATable(status) || status.State() == kPXColumnNotFound) << status.Description().view();
      continue;
    }
    std::sort(rows.begin(), rows.end());
    if (rows == cleanLookups[q]) continue;
    bool explained = indexValuesTouched;
    for (const auto& list : {rows, cleanLookups[q]}) {
      for (const std::string& row : list) {
        explained = explained || (row != "(null)" && touchedRecords.count(Layout::BodyOwner(
                                                      kLookups[q].table, static_cast<RowID>(std::stoul(row)))));
      }
    }
    if (explained) {
      tally->Add("index lookups changed by damage inside index or row values (no checksums to tell)");
    } else {
      ADD_FAILURE() << kLookups[q].sql << " answered silently with other rows";
    }
  }

  // Whatever a commit acknowledges reads back after reopening (or fails).
  std::vector<size_t> acknowledged;
  for (size_t t = 0; t < kTableCount; ++t) {
    const std::string insert = "INSERT INTO " + std::string(kTables[t]) + " (_rowid) VALUES (" +
                               std::to_string(900000 + t) + ")";
    if (Exec(*db, insert).substr(0, 8) == "[00000] " && Exec(*db, "COMMIT").substr(0, 8) == "[00000] ") {
      acknowledged.push_back(t);
    } else {
      db->Rollback(nullptr);
    }
  }
  db.reset();
  db = Open(path, false, &status);
  if (!db) return;
  for (size_t t : acknowledged) {
    const auto rows = Rows(*db, "SELECT _rowid FROM " + std::string(kTables[t]) + " WHERE _rowid = " +
                                    std::to_string(900000 + t), &status);
    if (IsErrorState(status.State())) continue;
    EXPECT_EQ(rows, std::vector<std::string>{std::to_string(900000 + t)}) << "an acknowledged row vanished";
  }
}

int EnvNumber(const char* name, int fallback) {
  const char* text = std::getenv(name);
  return text && *text ? std::atoi(text) : fallback;
}

TEST_F(CorruptionTest, DamageIsReportedNeverAnsweredSilently) {
  const int cases = EnvNumber("PARVEX_CORRUPTION_CASES", 240);
  std::mt19937 random(static_cast<uint32_t>(EnvNumber("PARVEX_CORRUPTION_SEED", 20240611)));
  const Layout layout(clean);
  const Kind kinds[] = {Kind::kFlip, Kind::kFlip, Kind::kFlip, Kind::kZeroRange, Kind::kZeroRange,
                        Kind::kTruncateRandom, Kind::kTruncateBoundary, Kind::kZeroBlock, Kind::kSwapBlocks,
                        Kind::kSwapBlockData};
  Tally tally;
  const int only = EnvNumber("PARVEX_CORRUPTION_ONLY", -1);  // to look at one case
  for (int i = 0; i < cases && !HasFatalFailure(); ++i) {
    Damage damage = MakeDamage(kinds[static_cast<size_t>(i) % std::size(kinds)], clean, layout, random);
    damage.what = "case " + std::to_string(i) + ": " + damage.what;
    if (only < 0 || only == i) RunCase(damage, layout, &tally);
    if (only == i && std::getenv("PARVEX_CORRUPTION_KEEP")) {  // keep the files to look at
      testing::WriteFile(std::string(std::getenv("PARVEX_CORRUPTION_KEEP")) + ".clean", clean);
      testing::WriteFile(std::string(std::getenv("PARVEX_CORRUPTION_KEEP")) + ".damaged", damage.bytes);
    }
  }
  for (const auto& [what, count] : tally.counts) std::printf("  %5d  %s\n", count, what.c_str());
}

}  // namespace
}  // namespace parvex
