// The table interface: how the query engine reads and writes rows, whatever
// holds them (stored tables, the schema, query results, _TABLES).
//
// Rows are identified by row IDs (unsigned 32-bit; kInvalidRowID, all bits
// set, means "no row"); columns by their index, column 0 of a stored table
// being the hidden `_rowid`. Rows travel as vectors of ParvexValueWithID
// pointers with a take-ownership flag: when set, the table keeps or frees the
// value objects and empties the caller's vector; when clear, the table copies
// and the caller keeps its values. The base class behaves as a read-only
// table: AddRow and UpdateRow free owned values and change nothing.
//
// Damage: a table whose stored bytes turn out damaged or unreadable records
// the status saying so (the first report wins) and from then on refuses to
// read or change rows: GetRowIDs lists nothing, GetValue fails, changes are
// dropped. Each refusal leaves a notice that the statement running at the
// time collects (TakeDamageNotice) to fail with DamageStatus(). Reads pay one
// flag test for this; the notice is only written when something is refused.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "core/status.h"
#include "core/value.h"
#include "platform/parvex_string.h"
#include "platform/simple_vector.h"

namespace parvex {

using RowID = uint32_t;
constexpr RowID kInvalidRowID = 0xFFFFFFFFu;

using ParvexValueList = SimpleVector<ParvexValueWithID*>;

// Describes one column: its name, its type (as a NULL prototype value), its
// default value, its position and, for stored tables, its column ID.
struct ParvexColumnInfo {
  ParvexColumnInfo() = default;
  ParvexColumnInfo(const string& columnName, ParvexDataType type, long columnIndex, long id = 0)
      : name(columnName), prototype(ParvexValue::Null(type)), index(columnIndex), columnID(id) {}

  ParvexDataType Type() const { return prototype.Type(); }

  string name;
  ParvexValue prototype;     // NULL, of the column's type
  ParvexValue defaultValue;  // NULL when the column has no default
  long index = 0;
  long columnID = 0;
};

// One row ID per source table of a query, in FROM order; kInvalidRowID marks
// a table with no row bound yet.
class ParvexRecSet {
 public:
  explicit ParvexRecSet(size_t tableCount) : mIDs(tableCount, kInvalidRowID) {}

  size_t size() const { return mIDs.size(); }
  RowID& operator[](size_t i) { return mIDs[i]; }
  RowID operator[](size_t i) const { return mIDs[i]; }

 private:
  std::vector<RowID> mIDs;
};

class ParvexTable {
 public:
  ParvexTable() = default;
  ParvexTable(const ParvexTable&) = delete;
  ParvexTable& operator=(const ParvexTable&) = delete;
  virtual ~ParvexTable() = default;

  virtual long QtyColumns() const = 0;
  // The descriptor at `index`, or null when there is none.
  virtual const ParvexColumnInfo* Column(long index) const = 0;
  virtual long QtyRows() const = 0;
  // Replaces the vector's contents with every row ID, in the table's order.
  virtual void GetRowIDs(SimpleVector<RowID>* ids) const = 0;
  // False when the row or the column does not exist.
  virtual bool GetValue(RowID row, long column, ParvexValue* out) const = 0;
  // For a reader that only looks at a String's bytes: true, with `text` on
  // the bytes (valid until the table's next read), when the row's value of
  // the column is a non-NULL String the table can show in place. False
  // means "use GetValue" (it says nothing about the row or the value).
  virtual bool PeekString(RowID, long, std::string_view*) const { return false; }
  // Returns the new row's ID, or kInvalidRowID when the row is refused.
  virtual RowID AddRow(ParvexValueList& values, bool takeOwnership);
  virtual void UpdateRow(RowID row, ParvexValueList& values, bool takeOwnership);
  virtual void DeleteRow(RowID row) = 0;
  virtual bool AddIndex(const string& indexName, const SimpleVector<uint32_t>& columnIDs);
  virtual void GetIndexNames(SimpleVector<string>* names) const;

  // Damage (see the file comment).
  bool IsDamaged() const { return mDamaged; }
  // The recorded damage; success while the table is sound.
  const ParvexStatus& DamageStatus() const { return mDamage; }
  // True when the table refused something since the last call (or recorded
  // its damage); clears the notice.
  bool TakeDamageNotice() const {
    const bool noticed = mDamageNoticed;
    mDamageNoticed = false;
    return noticed;
  }

  string name;
  RowID lastRowID = 0;  // the last row added; 0 until one is

 protected:
  // Records damage (only the first report is kept) and leaves a notice.
  void RecordDamage(const ParvexStatus& status) const {
    if (!mDamaged) {
      mDamaged = true;
      mDamage = status;
    }
    mDamageNoticed = true;
  }
  // Leaves a notice that a damaged table refused a request.
  void NoteDamageRefusal() const { mDamageNoticed = true; }

 private:
  mutable bool mDamaged = false;
  mutable bool mDamageNoticed = false;
  mutable ParvexStatus mDamage;
};

// Deletes the values of an owned list and empties it.
void DeleteValues(ParvexValueList& values);

}  // namespace parvex
