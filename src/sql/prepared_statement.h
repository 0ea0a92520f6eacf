// ParvexPreparedStatement: one statement parsed once and run many times.
//
// The text may hold placeholders (`?`, `?NNN`) wherever a literal may stand;
// each run converts them to constants holding the values bound at that
// moment, so values never pass through SQL text and need no quoting. A
// placeholder left unbound is NULL. The tree is parsed with the database's
// escape byte of the moment of Prepare. Runs behave exactly as
// ParvexSQLExecute and ParvexSQLQuery do with the same statement written out
// (same statuses, same damage and read-only checks); the statement never
// commits by itself. The statement keeps a reference to its database, which
// must outlive it.
#pragma once

#include <memory>
#include <vector>

#include "core/status.h"
#include "core/table.h"
#include "core/value.h"
#include "platform/parvex_string.h"
#include "platform/simple_vector.h"
#include "sql/syntax_node.h"

namespace parvex {

class ParvexDatabase;

class ParvexPreparedStatement {
 public:
  // Null, with the status set (07000 and the parser's message), when the
  // text does not parse; otherwise the status is success.
  static std::unique_ptr<ParvexPreparedStatement> Prepare(const string& sql, ParvexDatabase& db,
                                                          ParvexStatus* status);
  ParvexPreparedStatement(const ParvexPreparedStatement&) = delete;
  ParvexPreparedStatement& operator=(const ParvexPreparedStatement&) = delete;
  ~ParvexPreparedStatement();

  // The highest placeholder number in the text (0 when there is none).
  int ParameterCount() const { return static_cast<int>(mValues.size()); }
  // Binds `value` to placeholder `index` (1-based); false when the statement
  // has no such placeholder.
  bool Bind(int index, const ParvexValue& value);
  // Sets every placeholder back to NULL.
  void ClearBindings();

  const SQLSyntaxNode& Node() const { return *mNode; }
  bool IsQuery() const { return mNode->IsSelect(); }
  // Runs a statement that is not a query (a SELECT is ignored, as
  // ParvexSQLExecute ignores it).
  void Execute(ParvexStatus* status);
  // Runs a SELECT: its result table (owned by the caller) or null, as
  // ParvexSQLQuery returns it. Null, status unchanged, for other statements.
  ParvexTable* Query(ParvexStatus* status);

 private:
  explicit ParvexPreparedStatement(ParvexDatabase& db);
  // Readies the database for a statement; false with the status set when it
  // refuses work.
  bool Begin(ParvexStatus* status);

  ParvexDatabase& mDatabase;
  std::vector<ParvexValue> mValues;  // the tree's placeholder nodes point at this list
  std::unique_ptr<SQLSyntaxNode> mNode;
};

}  // namespace parvex
