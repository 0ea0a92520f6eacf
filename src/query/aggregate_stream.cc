// AggregateStream: per-key accumulation and the per-group combination.
#include "query/aggregate_stream.h"

#include <cmath>

#include "query/expr_walk.h"
#include "query/query.h"

namespace parvex {

namespace {

bool Accumulable(const PExprAggregate& node) {
  if (node.kind < kAggAvg || node.kind > kAggSum) return false;
  if (!node.argument) return node.kind == kAggCount;
  if (node.distinct && node.kind != kAggMax && node.kind != kAggMin) return false;
  return true;
}

// The domain MIN and MAX compare in: integer readings, double readings, or
// texts ignoring case.
ParvexDataType DomainOf(ParvexDataType argType) {
  return argType == kTypeInteger || argType == kTypeDouble ? argType : kTypeString;
}

}  // namespace

bool AggregateStream::Collect(const ParvexQuery& query, std::vector<const PExprAggregate*>* nodes) {
  nodes->clear();
  bool nested = false;
  bool known = true;
  for (const ParvexExprPtr& item : query.items) known = known && AggregatesOf(*item, nodes, &nested);
  if (query.having) known = known && AggregatesOf(*query.having, nodes, &nested);
  if (!known || nested) return false;
  for (const PExprAggregate* node : *nodes) {
    if (!Accumulable(*node)) return false;
  }
  return true;
}

AggregateStream::AggregateStream(const ParvexQuery& query, std::vector<const PExprAggregate*> nodes)
    : mQuery(query), mNodes(std::move(nodes)), mStates(mNodes.size()) {
  for (size_t n = 0; n < mNodes.size(); ++n) {
    if (!mNodes[n]->argument) continue;
    mStates[n].argType = mNodes[n]->argument->GetType(query.tables);
    mStates[n].domain = DomainOf(mStates[n].argType);
  }
}

void AggregateStream::Add(uint32_t key, const ParvexRecSet& recSet) {
  if (key == mCounts.size()) mCounts.push_back(0);
  ++mCounts[key];
  ParvexEvalContext context;
  context.recSet = &recSet;
  context.tables = &mQuery.tables;
  context.database = mQuery.database;
  ParvexValue reading;
  for (size_t n = 0; n < mNodes.size(); ++n) {
    const PExprAggregate& node = *mNodes[n];
    NodeState& state = mStates[n];
    if (node.kind == kAggCount) continue;
    reading.SetNull();
    node.argument->Evaluate(context, &reading);  // unknown leaves the NULL reading
    if (node.kind == kAggMax || node.kind == kAggMin) {
      AddExtreme(state, key, reading, node.kind == kAggMax);
    } else if (node.kind == kAggSum && state.argType != kTypeDouble) {
      if (key == state.sums.size()) state.sums.push_back(0);
      state.sums[key] += static_cast<uint32_t>(reading.GetInteger());
    } else {
      const double d = reading.GetDouble();
      if (d != 0.0 || std::isnan(d)) {
        state.readings.push_back(d);
        state.readingKey.push_back(key);
      }
    }
  }
}

void AggregateStream::AddExtreme(NodeState& state, uint32_t key, const ParvexValue& reading, bool max) {
  const bool newKey = key == state.extremes.size();
  if (newKey) state.extremes.emplace_back();
  Extreme& extreme = state.extremes[key];
  Extreme candidate;
  switch (state.domain) {
    case kTypeInteger:
      candidate.bestInteger = reading.GetInteger();
      break;
    case kTypeDouble:
      candidate.bestDouble = reading.GetDouble();
      if (std::isnan(candidate.bestDouble)) {
        if (newKey) {
          extreme.firstIsNaN = true;
          extreme.first = reading;
        }
        return;  // a NaN never wins over another reading
      }
      break;
    default:
      candidate.bestText = reading.GetString();
      break;
  }
  if (extreme.has && !Beats(candidate, extreme, state.domain, max)) return;
  extreme.has = true;
  extreme.best = reading;
  extreme.bestInteger = candidate.bestInteger;
  extreme.bestDouble = candidate.bestDouble;
  extreme.bestText = candidate.bestText;
}

bool AggregateStream::Beats(const Extreme& candidate, const Extreme& best, ParvexDataType domain, bool max) {
  int order;
  if (domain == kTypeInteger) {
    order = candidate.bestInteger < best.bestInteger ? -1 : (candidate.bestInteger > best.bestInteger ? 1 : 0);
  } else if (domain == kTypeDouble) {
    order = candidate.bestDouble < best.bestDouble ? -1 : (candidate.bestDouble > best.bestDouble ? 1 : 0);
  } else {
    order = candidate.bestText.Compare(best.bestText);
  }
  return max ? order > 0 : order < 0;
}

void AggregateStream::Seal() {
  for (NodeState& state : mStates) {
    if (state.readingKey.empty()) continue;
    // Counting sort by key; readings keep their order within a key.
    state.readingStart.assign(mCounts.size() + 1, 0);
    for (uint32_t key : state.readingKey) ++state.readingStart[key + 1];
    for (size_t k = 1; k < state.readingStart.size(); ++k) state.readingStart[k] += state.readingStart[k - 1];
    std::vector<uint32_t> next(state.readingStart.begin(), state.readingStart.end() - 1);
    std::vector<double> filed(state.readings.size());
    for (size_t r = 0; r < state.readings.size(); ++r) filed[next[state.readingKey[r]]++] = state.readings[r];
    state.readings.swap(filed);
    state.readingKey = std::vector<uint32_t>();
  }
}

void AggregateStream::Values(const std::vector<uint32_t>& keys, std::vector<ParvexValue>* values) const {
  values->assign(mNodes.size(), ParvexValue());
  uint64_t count = 0;
  for (uint32_t key : keys) count += mCounts[key];
  for (size_t n = 0; n < mNodes.size(); ++n) {
    const PExprAggregate& node = *mNodes[n];
    const NodeState& state = mStates[n];
    ParvexValue& out = (*values)[n];
    if (node.kind == kAggCount) {
      out.SetInteger(static_cast<int32_t>(count));
    } else if (node.kind == kAggMax || node.kind == kAggMin) {
      const ParvexDataType domain = state.domain;
      const Extreme& first = state.extremes[keys[0]];
      if (domain == kTypeDouble && first.firstIsNaN) {
        out = first.first;
        continue;
      }
      const Extreme* winner = nullptr;
      for (uint32_t key : keys) {
        const Extreme& extreme = state.extremes[key];
        if (!extreme.has) continue;
        if (!winner || Beats(extreme, *winner, domain, node.kind == kAggMax)) winner = &extreme;
      }
      if (winner) out = winner->best;
    } else if (node.kind == kAggSum && state.argType != kTypeDouble) {
      uint32_t sum = 0;
      for (uint32_t key : keys) sum += state.sums[key];
      out.SetInteger(static_cast<int32_t>(sum));
    } else {
      // The non-zero readings of the group's keys, key by key in order.
      long double sum = 0;
      if (!state.readingStart.empty()) {
        for (uint32_t key : keys) {
          for (uint32_t r = state.readingStart[key]; r < state.readingStart[key + 1]; ++r) sum += state.readings[r];
        }
      }
      if (node.kind == kAggAvg) {
        out.SetDouble(static_cast<double>(sum / static_cast<long double>(count)));
      } else {
        out.SetDouble(static_cast<double>(sum));
      }
    }
  }
}

}  // namespace parvex
