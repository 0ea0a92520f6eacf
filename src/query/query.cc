// ParvexQuery: the work-stack join enumeration, the WHERE tests, grouping,
// aggregates, DISTINCT and ORDER BY.
#include "query/query.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

#include "db/database.h"
#include "query/distinct_rows.h"

namespace parvex {

// Everything one RunQuery works with; freed when it returns, except the
// result table and the record sets stored with its rows.
struct ParvexQuery::RunState {
  explicit RunState(ParvexTempTable& table) : result(table), seen(table) {}

  ParvexTempTable& result;
  bool aggregate = false;
  // One value slot per select item, its ID the result column's position.
  std::vector<std::unique_ptr<ParvexValueWithID>> slots;
  ParvexValueList values;
  // Complete record sets that passed WHERE in an aggregate query.
  std::vector<ParvexRecSet> candidates;
  DistinctRows seen;
  // The row IDs of each source table, read once on first use: the tables do
  // not change while the query runs, and re-reading them for every partial
  // record set would copy a whole table per expansion.
  std::vector<std::unique_ptr<SimpleVector<RowID>>> rowIDs;
};

namespace {

// Stack entries are stored flat, `width` row IDs each, so that pushing and
// popping record sets allocates nothing per combination.
class RecSetStack {
 public:
  explicit RecSetStack(size_t width) : mWidth(width) {}
  bool empty() const { return mCount == 0; }
  void Push(const ParvexRecSet& recSet) {
    for (size_t i = 0; i < mWidth; ++i) mIDs.push_back(recSet[i]);
    ++mCount;
  }
  void Pop(ParvexRecSet* recSet) {
    const size_t base = mIDs.size() - mWidth;
    for (size_t i = 0; i < mWidth; ++i) (*recSet)[i] = mIDs[base + i];
    mIDs.resize(base);
    --mCount;
  }

 private:
  size_t mWidth;
  size_t mCount = 0;
  std::vector<RowID> mIDs;
};

}  // namespace

bool ParvexQuery::WellFormed() const {
  for (const ParvexTable* table : tables) {
    if (!table) return false;
  }
  for (const ParvexExprPtr& item : items) {
    if (!item || !item->Valid()) return false;
  }
  for (const auto& field : groupBy) {
    if (!field || !field->Valid()) return false;
  }
  if (where && !where->Valid()) return false;
  if (having && !having->Valid()) return false;
  return true;
}

ParvexEvalContext ParvexQuery::ContextFor(const ParvexRecSet* recSet,
                                          const SimpleVector<ParvexRecSet*>* group) const {
  ParvexEvalContext context;
  context.recSet = recSet;
  context.group = group;
  context.tables = &tables;
  context.database = database;
  return context;
}

bool ParvexQuery::Passes(const ParvexExpr& condition, const ParvexEvalContext& context) {
  ParvexValue verdict;
  condition.Evaluate(context, &verdict);
  return verdict.GetInteger() != 0;
}

bool ParvexQuery::Evaluate(const PExprField& field, const ParvexRecSet& recSet,
                           ParvexValue* out) const {
  return field.Evaluate(ContextFor(&recSet, nullptr), out);
}

void ParvexQuery::EvaluateItems(const ParvexEvalContext& context, ParvexValueList& values) const {
  for (size_t i = 0; i < items.size(); ++i) {
    ParvexValueWithID& slot = *values[i];
    slot.SetNull();
    items[i]->Evaluate(context, &slot);  // a failed item keeps what it wrote
  }
}

ParvexTempTable* ParvexQuery::RunQuery() {
  combinations = 0;
  if (!WellFormed()) return nullptr;
  auto result = std::make_unique<ParvexTempTable>();
  RunState run(*result);

  for (size_t i = 0; i < items.size(); ++i) {
    const ParvexExpr& item = *items[i];
    result->AddColumn(item.name.empty() ? item.Description() : item.name, item.GetType(tables));
    run.slots.push_back(std::make_unique<ParvexValueWithID>(ParvexValue(), static_cast<long>(i)));
    run.values.push_back(run.slots.back().get());
    if (item.HasAggregate()) run.aggregate = true;
  }
  // Only an aggregate in the select list makes an aggregate query; GROUP BY
  // alone does not group (its rows come out one per combination).
  run.rowIDs.resize(tables.size());

  interrupted = false;
  // An interrupt request is polled every few thousand steps of enumeration.
  constexpr unsigned kInterruptPollMask = 4095;
  unsigned steps = 0;
  auto shouldStop = [&]() {
    if ((++steps & kInterruptPollMask) != 0 || !database || !database->InterruptRequested()) return false;
    interrupted = true;
    return true;
  };

  const size_t width = tables.size();
  RecSetStack stack(width);
  ParvexRecSet current(width);  // every entry unbound
  ParvexRecSet next(width);
  stack.Push(current);
  while (!stack.empty()) {
    if (shouldStop()) return nullptr;
    stack.Pop(&current);
    ++combinations;
    size_t firstUnbound = width;
    size_t unboundCount = 0;
    for (size_t i = 0; i < width; ++i) {
      if (current[i] != kInvalidRowID) continue;
      if (unboundCount++ == 0) firstUnbound = i;
    }
    if (unboundCount == 0) {
      HandOver(run, current);
      continue;
    }

    size_t bind = firstUnbound;
    bool usable = true;
    if (where) {
      const long choice = where->ChooseWildcardTable(&current, &usable);
      // A negative answer (or one naming no unbound table) binds the first
      // unbound table, and the condition says nothing about the result.
      if (choice < 0 || static_cast<size_t>(choice) >= width ||
          current[static_cast<size_t>(choice)] != kInvalidRowID) {
        usable = false;
      } else {
        bind = static_cast<size_t>(choice);
      }
    }
    const bool completes = unboundCount == 1;

    std::unique_ptr<SimpleVector<RowID>>& ids = run.rowIDs[bind];
    if (!ids) {
      ids = std::make_unique<SimpleVector<RowID>>();
      tables[bind]->GetRowIDs(ids.get());
    }
    for (RowID id : *ids) {
      if (shouldStop()) return nullptr;
      if (id == kInvalidRowID) continue;  // cannot be bound: it means "no row"
      next = current;
      next[bind] = id;
      if (usable && completes) {
        HandOver(run, next);
        continue;
      }
      if (usable && where) {
        ParvexValue verdict;
        if (where->Evaluate(ContextFor(&next, nullptr), &verdict) && verdict.GetInteger() == 0) {
          continue;  // definitely false: the whole subtree is pruned
        }
      }
      stack.Push(next);
    }
  }

  if (run.aggregate) EvalAggregates(run);
  if (!orderColumns.empty()) result->Sort(orderColumns, orderDirections);
  return result.release();
}

void ParvexQuery::HandOver(RunState& run, const ParvexRecSet& recSet) const {
  if (run.aggregate) {
    ConsiderAggRecord(run, recSet);
  } else {
    ConsiderOutputRecord(run, recSet);
  }
}

void ParvexQuery::AddResultRow(RunState& run, const ParvexRecSet* source) const {
  if (distinct && run.seen.Contains(run.values)) return;
  std::unique_ptr<ParvexRecSet> kept;
  if (source) kept = std::make_unique<ParvexRecSet>(*source);
  const RowID row = run.result.AddRow(run.values, false, std::move(kept));
  if (distinct && row != kInvalidRowID) run.seen.Remember(row);
}

void ParvexQuery::ConsiderOutputRecord(RunState& run, const ParvexRecSet& recSet) const {
  const ParvexEvalContext context = ContextFor(&recSet, nullptr);
  if (where && !Passes(*where, context)) return;
  EvaluateItems(context, run.values);
  AddResultRow(run, &recSet);
}

void ParvexQuery::ConsiderAggRecord(RunState& run, const ParvexRecSet& recSet) const {
  if (where && !Passes(*where, ContextFor(&recSet, nullptr))) return;
  run.candidates.push_back(recSet);
}

void ParvexQuery::EvalAggregates(RunState& run) const {
  SimpleVector<ParvexRecSet*> all;
  all.reserve(run.candidates.size());
  for (ParvexRecSet& recSet : run.candidates) all.push_back(&recSet);

  if (groupBy.empty()) {
    // One group of everything, even of nothing: exactly one row.
    EvaluateItems(ContextFor(nullptr, &all), run.values);
    run.result.AddRow(run.values, false);
    return;
  }

  std::vector<size_t> starts;
  SortIntoGroups(all, &starts);
  SimpleVector<ParvexRecSet*> group;
  for (size_t g = 0; g < starts.size(); ++g) {
    const size_t end = g + 1 < starts.size() ? starts[g + 1] : all.size();
    group.clear();
    for (size_t i = starts[g]; i < end; ++i) group.push_back(all[i]);
    const ParvexEvalContext context = ContextFor(nullptr, &group);
    if (having && !Passes(*having, context)) continue;
    EvaluateItems(context, run.values);
    AddResultRow(run, nullptr);
  }
}

void ParvexQuery::SortIntoGroups(SimpleVector<ParvexRecSet*>& candidates,
                                 std::vector<size_t>* groupStarts) const {
  struct Keyed {
    string key;
    ParvexRecSet* recSet;
  };
  std::vector<Keyed> keyed;
  keyed.reserve(candidates.size());
  std::string buffer;
  ParvexValue value;
  for (ParvexRecSet* recSet : candidates) {
    // The key is the plain concatenation of the columns' parts: an Integer's
    // four bytes in machine order, any other value's text.
    buffer.clear();
    for (const auto& field : groupBy) {
      value.SetNull();
      Evaluate(*field, *recSet, &value);
      if (value.Type() == kTypeInteger && !value.IsNull()) {
        const int32_t number = value.GetInteger();
        char bytes[sizeof number];
        std::memcpy(bytes, &number, sizeof number);
        buffer.append(bytes, sizeof bytes);
      } else {
        buffer.append(value.GetString().view());
      }
    }
    keyed.push_back({string(buffer), recSet});
  }

  std::sort(keyed.begin(), keyed.end(),
            [](const Keyed& a, const Keyed& b) { return a.key.CompareWithCase(b.key) < 0; });

  groupStarts->clear();
  for (size_t i = 0; i < keyed.size(); ++i) {
    candidates[i] = keyed[i].recSet;
    // Sorted by exact bytes, but split where keys differ ignoring case.
    if (i == 0 || keyed[i].key.Compare(keyed[i - 1].key) != 0) groupStarts->push_back(i);
  }
}

string ParvexQuery::Description() const {
  std::string text = "SELECT ";
  if (distinct) text += "DISTINCT ";
  for (size_t i = 0; i < items.size(); ++i) {
    if (i > 0) text += ", ";
    if (items[i]) text += items[i]->Description().view();
  }
  text += "\n  FROM ";
  for (size_t i = 0; i < tables.size(); ++i) {
    if (i > 0) text += ", ";
    if (tables[i]) text += tables[i]->name.view();
  }
  if (where) {
    text += "\n  WHERE ";
    text += where->Description().view();
  }
  return string(text);
}

}  // namespace parvex
