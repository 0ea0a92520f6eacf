// ColumnHash: classification, bucket building by counting sort, and the merge
// of the matching positions.
#include "query/column_hash.h"

#include <algorithm>
#include <array>
#include <utility>

namespace parvex {

ColumnHash::ColumnHash(const ParvexTable& table, long column, const SimpleVector<RowID>& scan)
    : mTable(table), mColumn(column), mScan(scan) {}

void ColumnHash::Build(const std::vector<EqualityKey>& keys) {
  std::array<Buckets*, kRowClassCount> wanted{};
  std::array<KeyReading, kRowClassCount> readings{};
  bool any = false;
  for (const EqualityKey& key : keys) {
    Buckets& buckets = BucketsOf(key.rowClass, key.reading);
    const auto c = static_cast<size_t>(key.rowClass);
    if (buckets.built || wanted[c]) continue;
    wanted[c] = &buckets;
    readings[c] = key.reading;
    any = true;
  }
  if (!any && mClassified) return;

  // Per wanted class: the key number and position of each of its rows, in
  // scan order. A class may want a second reading; it is built next time.
  std::array<std::vector<uint32_t>, kRowClassCount> ids;
  std::array<std::vector<uint32_t>, kRowClassCount> positions;
  if (!mClassified) mClasses.assign(mScan.size(), kSkipped);
  ParvexValue value;
  std::string key;
  for (size_t p = 0; p < mScan.size(); ++p) {
    const RowID row = mScan[p];
    if (row == kInvalidRowID) continue;
    if (mClassified) {
      const uint8_t c = mClasses[p];
      if (c >= kRowClassCount || !wanted[c]) continue;
    }
    value.SetNull();
    if (!mTable.GetValue(row, mColumn, &value)) {
      mClasses[p] = kUnreadable;
      mUnreadable.push_back(static_cast<uint32_t>(p));
      continue;
    }
    const auto c = static_cast<size_t>(ClassOf(value));
    mClasses[p] = static_cast<uint8_t>(c);
    mPresent |= 1u << c;
    if (!wanted[c]) continue;
    ReadKey(value, readings[c], &key);
    ids[c].push_back(wanted[c]->keys.Intern(key));
    positions[c].push_back(static_cast<uint32_t>(p));
  }
  mClassified = true;

  for (size_t c = 0; c < kRowClassCount; ++c) {
    Buckets* buckets = wanted[c];
    if (!buckets) continue;
    // Counting sort by key number; positions stay ascending within a key.
    buckets->starts.assign(buckets->keys.size() + 1, 0);
    for (uint32_t id : ids[c]) ++buckets->starts[id + 1];
    for (size_t k = 1; k < buckets->starts.size(); ++k) buckets->starts[k] += buckets->starts[k - 1];
    buckets->positions.resize(ids[c].size());
    std::vector<uint32_t> next(buckets->starts.begin(), buckets->starts.end() - 1);
    for (size_t i = 0; i < ids[c].size(); ++i) buckets->positions[next[ids[c][i]]++] = positions[c][i];
    buckets->built = true;
  }
}

void ColumnHash::Candidates(const ParvexValue& value, bool columnOnLeft, std::vector<uint32_t>* positions) {
  // Once the rows are classified, classes the column does not hold need no key.
  EqualityKeys(value, columnOnLeft, &mKeys, mClassified ? mPresent : kAllRowClasses);
  // A class can need a second reading only after its first was built: build
  // until every key's buckets exist (at most one round per reading).
  for (bool missing = true; missing;) {
    Build(mKeys);
    missing = false;
    for (const EqualityKey& key : mKeys) missing = missing || !BucketsOf(key.rowClass, key.reading).built;
  }

  // The matching runs (each ascending, the runs disjoint), then merged.
  std::vector<std::pair<const uint32_t*, const uint32_t*>>& runs = mRuns;
  runs.clear();
  for (const EqualityKey& key : mKeys) {
    const Buckets& buckets = BucketsOf(key.rowClass, key.reading);
    const uint32_t id = buckets.keys.Find(key.key);
    if (id == KeyDictionary::kNoKey) continue;
    const uint32_t* base = buckets.positions.data();
    runs.emplace_back(base + buckets.starts[id], base + buckets.starts[id + 1]);
  }
  if (!mUnreadable.empty()) runs.emplace_back(mUnreadable.data(), mUnreadable.data() + mUnreadable.size());

  positions->clear();
  if (runs.size() == 1) {
    positions->assign(runs[0].first, runs[0].second);
    return;
  }
  for (;;) {
    size_t best = runs.size();
    for (size_t r = 0; r < runs.size(); ++r) {
      if (runs[r].first == runs[r].second) continue;
      if (best == runs.size() || *runs[r].first < *runs[best].first) best = r;
    }
    if (best == runs.size()) return;
    positions->push_back(*runs[best].first++);
  }
}

}  // namespace parvex
