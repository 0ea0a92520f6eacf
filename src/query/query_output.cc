// QueryOutput: result columns, value slots, the WHERE and HAVING tests,
// DISTINCT and the interrupt poll.
#include "query/query_output.h"

#include "db/database.h"
#include "query/query.h"

namespace parvex {

namespace {

// Steps of enumeration between two looks at the interrupt request.
constexpr unsigned kInterruptPollMask = 4095;

}  // namespace

QueryOutput::QueryOutput(const ParvexQuery& query, ParvexTempTable& result, bool linearDistinct)
    : mQuery(query), mResult(result), mLinearDistinct(linearDistinct) {
  for (size_t i = 0; i < query.items.size(); ++i) {
    const ParvexExpr& item = *query.items[i];
    result.AddColumn(item.name.empty() ? item.Description() : item.name, item.GetType(query.tables));
    mSlots.push_back(std::make_unique<ParvexValueWithID>(ParvexValue(), static_cast<long>(i)));
    mValues.push_back(mSlots.back().get());
    if (item.HasAggregate()) mAggregate = true;
  }
  if (query.distinct && !linearDistinct) mSeen = std::make_unique<DistinctRows>(result);
}

ParvexEvalContext QueryOutput::ContextFor(const ParvexRecSet* recSet,
                                          const SimpleVector<ParvexRecSet*>* group) const {
  ParvexEvalContext context;
  context.recSet = recSet;
  context.group = group;
  context.tables = &mQuery.tables;
  context.database = mQuery.database;
  return context;
}

bool QueryOutput::Passes(const ParvexExpr& condition, const ParvexEvalContext& context) {
  ParvexValue verdict;
  condition.Evaluate(context, &verdict);
  return verdict.GetInteger() != 0;
}

bool QueryOutput::PassesWhere(const ParvexRecSet& recSet) const {
  return !mQuery.where || Passes(*mQuery.where, ContextFor(&recSet, nullptr));
}

void QueryOutput::EvaluateItems(const ParvexEvalContext& context) {
  for (size_t i = 0; i < mQuery.items.size(); ++i) {
    ParvexValueWithID& slot = *mValues[i];
    slot.SetNull();
    mQuery.items[i]->Evaluate(context, &slot);  // a failed item keeps what it wrote
  }
}

void QueryOutput::AddCombination(const ParvexRecSet& recSet) {
  EvaluateItems(ContextFor(&recSet, nullptr));
  AddRow(&recSet);
}

void QueryOutput::AddGroup(const ParvexEvalContext& context, bool grouped) {
  if (!grouped) {
    // One group of everything, even of nothing: exactly one row.
    EvaluateItems(context);
    mResult.AddRow(mValues, false);
    return;
  }
  if (mQuery.having && !Passes(*mQuery.having, context)) return;
  EvaluateItems(context);
  AddRow(nullptr);
}

bool QueryOutput::IsDuplicate() {
  if (!mLinearDistinct) return mSeen->Contains(mValues);
  // From the last kept row back to the first.
  const long width = static_cast<long>(mValues.size());
  for (long row = mResult.QtyRows() - 1; row >= 0; --row) {
    const RowID id = static_cast<RowID>(row);
    if (mResult.ValueAt(id, width) != nullptr) continue;  // a wider row
    bool equal = true;
    for (long c = 0; equal && c < width; ++c) {
      const ParvexValue* stored = mResult.ValueAt(id, c);
      equal = stored && mValues[static_cast<size_t>(c)]->Equals(*stored);
    }
    if (equal) return true;
  }
  return false;
}

void QueryOutput::AddRow(const ParvexRecSet* source) {
  if (mQuery.distinct && IsDuplicate()) return;
  const RowID row = mResult.AddRow(mValues, false, source);
  if (mSeen && row != kInvalidRowID) mSeen->Remember(row);
}

bool QueryOutput::ShouldStop() {
  if (mStopped) return true;
  if ((++mSteps & kInterruptPollMask) != 0) return false;
  mStopped = mQuery.database && mQuery.database->InterruptRequested();
  return mStopped;
}

}  // namespace parvex
