// IndexAccess: lookup keys per column type, index and row-ID lookups, scan order.
#include "query/index_access.h"

#include <algorithm>
#include <string>

#include "platform/number_format.h"
#include "storage/index.h"
#include "storage/trans.h"

namespace parvex {

namespace {

bool ComparesAsText(ParvexDataType type) {
  return type == kTypeString || type == kTypeDate || type == kTypeTime || type == kTypeTimestamp;
}

// The prefix GetString puts before a date or time type's text.
std::string_view TextPrefix(ParvexDataType type) {
  switch (type) {
    case kTypeDate:
      return "DATE ";
    case kTypeTime:
      return "TIME ";
    case kTypeTimestamp:
      return "TIMESTAMP ";
    default:
      return "";
  }
}

// The integer whose decimal text is exactly `text`; false when there is none.
bool SpelledInteger(std::string_view text, int32_t* number) {
  *number = ParseLeadingInteger(text.data(), text.size());
  return FormatInteger(*number) == text;
}

}  // namespace

std::unique_ptr<IndexAccess> IndexAccess::For(const ParvexTable& table, long column) {
  const auto* stored = dynamic_cast<const ParvexTrans*>(&table);
  if (!stored || !stored->Valid()) return nullptr;
  const ParvexColumnInfo* info = stored->Column(column);
  if (!info) return nullptr;
  if (column == 0) return std::unique_ptr<IndexAccess>(new IndexAccess(*stored, nullptr, kTypeInteger));
  const ParvexDataType type = info->Type();
  if (type != kTypeInteger && !ComparesAsText(type)) return nullptr;
  SimpleVector<string> names;
  stored->GetIndexNames(&names);
  for (const string& name : names) {
    const ParvexIndex* index = stored->FindIndex(name);
    if (!index || index->GetColumnIDs().size() != 1) continue;
    if (static_cast<long>(index->GetColumnIDs()[0]) != info->columnID) continue;
    if (!index->AllValuesOfType(0, type)) continue;
    return std::unique_ptr<IndexAccess>(new IndexAccess(*stored, index, type));
  }
  return nullptr;
}

IndexAccess::IndexAccess(const ParvexTrans& table, const ParvexIndex* index, ParvexDataType type)
    : mTable(table), mIndex(index), mType(type) {}

bool IndexAccess::LookupKeys(const ParvexValue& value, bool columnOnLeft, std::vector<ParvexValue>* keys) const {
  keys->clear();
  if (value.Type() == kTypeBoolean) return false;
  const bool textDomain = columnOnLeft ? ComparesAsText(mType) : ComparesAsText(value.Type());
  if (mType == kTypeInteger) {
    int32_t number = value.GetInteger();
    bool matchesNull = number == 0;
    if (textDomain) {
      // The column's text: its decimal number, or "NULL".
      const string text = value.GetString();
      matchesNull = text.view() == "NULL";
      if (!SpelledInteger(text.view(), &number)) {
        if (matchesNull) keys->push_back(ParvexValue());
        return true;
      }
    }
    keys->push_back(ParvexValue::Integer(number));
    if (matchesNull) keys->push_back(ParvexValue());
    return true;
  }
  if (!textDomain) return false;  // a number on the left: integer readings of texts
  const string text = value.GetString();
  const std::string_view prefix = TextPrefix(mType);
  if (text.view().substr(0, prefix.size()) == prefix) {
    keys->push_back(ParvexValue::Text(mType, text.Substring(prefix.size())));
  }
  if (text.view() == "NULL") keys->push_back(ParvexValue());
  return true;
}

bool IndexAccess::Candidates(const ParvexValue& value, bool columnOnLeft, std::vector<RowID>* rows) {
  if (!LookupKeys(value, columnOnLeft, &mKeys)) return false;
  rows->clear();
  for (const ParvexValue& key : mKeys) {
    if (!mIndex) {
      if (key.IsNull()) continue;  // a row ID is never NULL
      const auto row = static_cast<RowID>(static_cast<uint32_t>(key.GetInteger()));
      if (row != kInvalidRowID && mTable.ContainsRow(row)) rows->push_back(row);
      continue;
    }
    const ParvexValue* place = &key;
    const std::vector<RowID> found = mIndex->LookupAll(ParvexIndexKey(&place, 1));
    rows->insert(rows->end(), found.begin(), found.end());
  }
  if (rows->size() == 1) {
    if (!mTable.ContainsRow((*rows)[0])) rows->clear();
    return true;
  }
  if (rows->size() > 1) OrderByScan(rows);
  return true;
}

void IndexAccess::OrderByScan(std::vector<RowID>* rows) {
  if (!mScanRead) {
    SimpleVector<RowID> scan;
    mTable.GetRowIDs(&scan);
    mScanPosition.reserve(scan.size());
    for (size_t p = 0; p < scan.size(); ++p) mScanPosition.emplace_back(scan[p], static_cast<uint32_t>(p));
    std::sort(mScanPosition.begin(), mScanPosition.end());
    mScanRead = true;
  }
  std::vector<std::pair<uint32_t, RowID>> placed;
  placed.reserve(rows->size());
  for (RowID row : *rows) {
    const auto found = std::lower_bound(mScanPosition.begin(), mScanPosition.end(), std::make_pair(row, uint32_t{0}));
    if (found != mScanPosition.end() && found->first == row) placed.emplace_back(found->second, row);
  }
  std::sort(placed.begin(), placed.end());
  placed.erase(std::unique(placed.begin(), placed.end()), placed.end());
  rows->clear();
  for (const auto& [position, row] : placed) rows->push_back(row);
}

}  // namespace parvex
