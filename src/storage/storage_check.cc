// The record-file checks: data files, row-position maps, index files.
#include "storage/storage_check.h"

#include <cstring>
#include <unordered_set>

#include "storage/record_walker.h"

namespace parvex {

namespace {

// Lines about one file beyond this many are summed up in one more line.
constexpr size_t kDetailLines = 5;

std::string Num(uint64_t n) { return std::to_string(n); }

// Reports a detail line, the first kDetailLines of them in full.
void Detail(CheckReport* report, size_t* count, const std::string& text) {
  if ((*count)++ < kDetailLines) report->Problem(text);
}

void SumUpDetails(CheckReport* report, size_t count, const std::string& what) {
  if (count > kDetailLines) report->Problem(what + ": " + Num(count - kDetailLines) + " more like the above");
}

// The same stored value: type and content, doubles bit for bit.
bool SameValue(const ParvexValue& a, const ParvexValue& b) {
  if (a.IsNull() || b.IsNull()) return a.IsNull() && b.IsNull();
  if (a.Type() != b.Type()) return false;
  switch (a.Type()) {
    case kTypeInteger:
    case kTypeBoolean:
      return a.RawInteger() == b.RawInteger();
    case kTypeDouble: {
      const double x = a.RawDouble(), y = b.RawDouble();
      return std::memcmp(&x, &y, sizeof x) == 0;
    }
    default:
      return a.GetSaveString().CompareWithCase(b.GetSaveString()) == 0 &&
             a.RawText().Encoding() == b.RawText().Encoding();
  }
}

std::string Describe(const StorageFault& fault, const std::string& fileName) {
  const string name(fileName);
  return std::string(DescribeStorageFault(fault, name, name).view());
}

// The values of `columnIDs` in a record's values (NULL where it has none).
std::vector<ParvexValue> KeyOf(const ParvexValueList& values, const SimpleVector<uint32_t>& columnIDs) {
  std::vector<ParvexValue> key(columnIDs.size());
  for (size_t k = 0; k < columnIDs.size(); ++k) {
    for (const ParvexValueWithID* v : values) {
      if (v->id == static_cast<long>(columnIDs[k])) {
        key[k] = *v;
        break;
      }
    }
  }
  return key;
}

}  // namespace

void SurveyIndexFile(std::unique_ptr<RandomAccessMechanism> stream, const std::string& label, CheckReport* report,
                     IndexSurvey* survey) {
  const std::string what = label + ": index file " + survey->fileName;
  RecordWalker walker(std::move(stream));
  OwnedValueList values;
  bool first = true;
  size_t details = 0;
  for (RecordWalker::Step step = walker.Next(values.list); step.kind != RecordWalker::Step::Kind::kEnd;
       step = walker.Next(values.list)) {
    if (step.kind == RecordWalker::Step::Kind::kDamage) {
      report->Problem(label + ": " + Describe(step.fault, survey->fileName));
      first = false;  // the first record is gone: its columns can't be told
      continue;
    }
    if (!step.live) continue;
    if (first) {
      first = false;
      survey->readable = !values.list.empty() && values.list.size() <= 64;
      for (const ParvexValueWithID* v : values.list) survey->columnIDs.push_back(static_cast<uint32_t>(v->id));
      if (!survey->readable) report->Problem(what + " does not name its columns");
    }
    if (step.rowID == kInvalidRowID || !survey->readable) continue;
    if (!survey->entries.emplace(step.rowID, KeyOf(values.list, survey->columnIDs)).second) {
      Detail(report, &details, what + " lists row " + Num(step.rowID) + " twice");
    }
  }
  if (first) report->Problem(what + " holds no record");
  survey->readable = survey->readable && !first;
  SumUpDetails(report, details, what);
}

void CheckDataFile(std::unique_ptr<RandomAccessMechanism> stream, const std::string& label,
                   const std::string& fileName, bool mapDirty, std::vector<IndexSurvey>& indexes,
                   CheckReport* report, DataFileSurvey* survey) {
  RecordWalker walker(std::move(stream));
  OwnedValueList values;
  std::unordered_map<RowID, std::vector<std::vector<ParvexValue>>> keys;  // per live row, per index
  RowID largest = 0;
  size_t duplicates = 0;
  std::unordered_set<RowID> undecodable;
  for (RecordWalker::Step step = walker.Next(values.list); step.kind != RecordWalker::Step::Kind::kEnd;
       step = walker.Next(values.list)) {
    if (step.kind == RecordWalker::Step::Kind::kDamage) {
      report->Problem(label + ": " + Describe(step.fault, fileName));
      if (!step.headerValid) continue;
      // The row is there, only its values can't be read: it is not missing
      // from the map or the indexes (and has no values to compare).
      undecodable.insert(step.rowID);
    }
    survey->records[step.position] = {step.rowID, step.live};
    if (!step.live) continue;
    largest = std::max(largest, step.rowID);
    const auto [it, added] = survey->live.insert_or_assign(step.rowID, step.position);
    if (added) {
      survey->order.push_back(step.rowID);
    } else if (!mapDirty) {
      Detail(report, &duplicates, label + ": row " + Num(step.rowID) + " has a second live record, at offset " +
                                      Num(step.position) + " of " + fileName);
    }
    std::vector<std::vector<ParvexValue>>& rowKeys = keys[step.rowID];
    rowKeys.clear();
    for (const IndexSurvey& index : indexes) rowKeys.push_back(KeyOf(values.list, index.columnIDs));
  }
  SumUpDetails(report, duplicates, label + ": " + fileName);

  string meta;
  if (walker.Storage().ReadMetadata(&meta) && meta.length() >= 4) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(meta.data());
    const uint32_t counter = uint32_t{bytes[0]} | (uint32_t{bytes[1]} << 8) | (uint32_t{bytes[2]} << 16) |
                             (uint32_t{bytes[3]} << 24);
    if (counter != 0 && counter < largest) {
      report->Problem(label + ": its row-ID counter (" + Num(counter) + ") is below its largest row ID (" +
                      Num(largest) + ")");
    }
  } else if (walker.DataLength() > 0) {
    report->Problem(label + ": the counters at the start of " + fileName + " can't be read");
  }

  for (size_t i = 0; i < indexes.size(); ++i) {
    IndexSurvey& index = indexes[i];
    if (!index.readable) continue;
    const std::string what = label + ": index file " + index.fileName;
    size_t details = 0;
    for (RowID row : survey->order) {
      const auto entry = index.entries.find(row);
      if (entry == index.entries.end()) {
        Detail(report, &details, what + " has no entry for row " + Num(row));
        continue;
      }
      if (undecodable.count(row)) continue;
      const std::vector<ParvexValue>& key = keys[row][i];
      bool same = key.size() == entry->second.size();
      for (size_t k = 0; same && k < key.size(); ++k) same = SameValue(key[k], entry->second[k]);
      if (!same) Detail(report, &details, what + " holds other values for row " + Num(row) + " than the row");
      ++index.matched;
    }
    for (const auto& [row, entry] : index.entries) {
      if (!survey->live.count(row)) Detail(report, &details, what + " lists row " + Num(row) + ", which does not exist");
    }
    SumUpDetails(report, details, what);
  }
}

bool IsMapFileDirty(RandomAccessMechanism& stream) {
  uint32_t state = 0;
  return stream.GetLength() > 0 && stream.SeekFromStart(0) && stream.ReadLong(&state) && state == kMapStateDirty;
}

void CheckRowPosMapFile(RandomAccessMechanism& stream, const std::string& label, const std::string& mapName,
                        const DataFileSurvey& survey, CheckReport* report) {
  const std::string what = label + ": " + mapName;
  const int32_t length = stream.GetLength();
  uint32_t state = 0, count = 0;
  if (length <= 0) {
    report->Note(what + " is empty; it is rebuilt from the records when the file is next opened for writing");
    return;
  }
  if (!stream.SeekFromStart(0) || !stream.ReadLong(&state)) {
    report->Problem(what + " can't be read");
    return;
  }
  if (state == kMapStateDirty) {
    report->Note(what + " is marked \"Drty\" (a change was cut short); it is rebuilt from the records when the "
                        "file is next opened for writing");
    return;
  }
  if (state != kMapStateReady || length < static_cast<int32_t>(kMapFixedSize) || !stream.ReadLong(&count) ||
      count > (static_cast<uint32_t>(length) - kMapFixedSize) / kMapPairSize) {
    report->Problem(what + " does not parse");
    return;
  }
  std::unordered_set<RowID> listed;
  size_t details = 0;
  for (uint32_t i = 0; i < count; ++i) {
    RowID row = 0;
    uint32_t position = 0;
    if (!stream.ReadLong(&row) || !stream.ReadLong(&position)) {
      report->Problem(what + " can't be read");
      return;
    }
    const std::string pair = what + " puts row " + Num(row) + " at offset " + Num(position);
    if (!listed.insert(row).second) {
      Detail(report, &details, what + " lists row " + Num(row) + " twice");
      continue;
    }
    const auto record = survey.records.find(position);
    if (record == survey.records.end()) {
      Detail(report, &details, pair + ", where no record starts");
    } else if (record->second.first != row) {
      Detail(report, &details, pair + ", which holds row " + Num(record->second.first));
    } else if (!record->second.second) {
      // A deleted row, unless the row lives on elsewhere (it would be lost).
      const auto live = survey.live.find(row);
      if (live != survey.live.end()) {
        Detail(report, &details, pair + ", a deleted copy; its live record is at offset " + Num(live->second));
      }
    } else if (survey.live.at(row) != position) {
      Detail(report, &details, pair + ", not at its last live record");
    }
  }
  uint32_t endMark = 0;
  if (!stream.ReadLong(&endMark) || endMark != kMapEndMark) report->Problem(what + " has no end mark");
  for (RowID row : survey.order) {
    if (!listed.count(row)) {
      Detail(report, &details, what + " does not list row " + Num(row) + " (offset " + Num(survey.live.at(row)) + ")");
    }
  }
  SumUpDetails(report, details, what);
}

}  // namespace parvex
