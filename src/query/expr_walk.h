// Walking expression trees: the children of a node, and what a tree refers
// to (which source tables, which aggregate nodes). The query planner and the
// hash grouping read trees through these instead of evaluating them.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "query/expr_nodes.h"

namespace parvex {

// Calls `visit` for each present child of `node`, in operand order. False
// when the node is of a kind this walk does not know (its children unseen).
bool VisitChildren(const ParvexExpr& node, const std::function<void(const ParvexExpr&)>& visit);

// The source tables `node` refers to, as bits (table i is bit i). False when
// that cannot be told: an unknown node kind, or a table index outside 0..63.
bool TablesOf(const ParvexExpr& node, uint64_t* tables);

// Appends the aggregate nodes of the tree (outermost first, in operand
// order), not looking inside them; `nested` is set when an aggregate's
// argument holds another aggregate. False for an unknown node kind.
bool AggregatesOf(const ParvexExpr& node, std::vector<const PExprAggregate*>* aggregates, bool* nested);

}  // namespace parvex
