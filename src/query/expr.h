// ParvexExpr: the executable expression tree.
//
// Every select item, WHERE and HAVING condition, GROUP BY column and SET value
// is evaluated as a tree of ParvexExpr nodes against a record set (one row ID
// per source table). A node whose value cannot be determined (a column of a
// table with no row bound, a failed sub-expression) returns false from
// Evaluate: "unknown". Logical nodes combine unknowns three-valued; callers
// decide what unknown means. A node owns its children.
#pragma once

#include <string_view>

#include "core/table.h"
#include "core/value.h"
#include "platform/parvex_string.h"
#include "platform/simple_vector.h"

namespace parvex {

class ParvexDatabase;
class PExprAggregate;

// Aggregate values computed ahead of evaluation (a grouping that accumulates
// its aggregates row by row): an aggregate node listed here yields value i
// instead of evaluating over the group.
struct ParvexAggregateValues {
  const PExprAggregate* const* nodes = nullptr;
  const ParvexValue* values = nullptr;
  size_t count = 0;
};

struct ParvexEvalContext {
  const ParvexRecSet* recSet = nullptr;               // current combination, or null
  const SimpleVector<ParvexRecSet*>* group = nullptr;  // record sets of the current group
  const SimpleVector<ParvexTable*>* tables = nullptr;  // source tables in FROM order
  ParvexDatabase* database = nullptr;                  // for clock functions and LAST_ROWID
  const ParvexAggregateValues* aggregateValues = nullptr;  // usually null
};

class ParvexExpr {
 public:
  ParvexExpr() = default;
  ParvexExpr(const ParvexExpr&) = delete;
  ParvexExpr& operator=(const ParvexExpr&) = delete;
  virtual ~ParvexExpr() = default;

  // The static type of the result (used to type result columns).
  virtual ParvexDataType GetType(const SimpleVector<ParvexTable*>& tables) const;
  // True when `out` holds the result; false when the result is unknown
  // (`out` may still have been written).
  virtual bool Evaluate(const ParvexEvalContext& context, ParvexValue* out) const = 0;
  // A readable text of the tree (result-column names, query descriptions).
  virtual string Description() const = 0;
  // The index of a source table the expression refers to that has no row in
  // `recSet` yet, or -1; `usable` (when not null) receives whether the answer
  // on the partial record set is meaningful once that table is bound.
  virtual long ChooseWildcardTable(const ParvexRecSet* recSet, bool* usable) const = 0;
  virtual bool Valid() const { return true; }
  virtual bool HasAggregate() const { return false; }
  // For a reader that only looks at a String's bytes: true, with `text` on
  // the bytes (valid until the next read of the same table), when the node
  // is a column reference whose value is a non-NULL String its table can
  // show in place. False means "use Evaluate" and says nothing else.
  virtual bool PeekString(const ParvexEvalContext&, std::string_view*) const { return false; }
  // The value of a constant node, or null for any other node.
  virtual const ParvexValue* ConstantValue() const { return nullptr; }

  // Evaluates with no record set, group or tables (constants and functions of constants).
  bool EvaluateInIsolation(ParvexValue* out, ParvexDatabase* database) const;

  string name;  // output name (alias); empty when none was given
};

}  // namespace parvex
