// SQLSyntaxNode: the root of the syntax tree that ParvexSQLParser builds.
//
// Every node can print itself as canonical SQL (Description): keywords in
// upper case, list elements separated by ", ", infix operations wrapped in
// parentheses. The statement-kind tests let the statement executor dispatch
// without casts beyond the one to the matching class. Nodes own their
// children through std::unique_ptr; an absent child (left by a parse error)
// prints as nothing.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/parvex_string.h"

namespace parvex {

class SQLSyntaxNode {
 public:
  SQLSyntaxNode() = default;
  SQLSyntaxNode(const SQLSyntaxNode&) = delete;
  SQLSyntaxNode& operator=(const SQLSyntaxNode&) = delete;
  virtual ~SQLSyntaxNode() = default;

  virtual bool IsSelect() const { return false; }
  virtual bool IsInsert() const { return false; }
  virtual bool IsUpdate() const { return false; }
  virtual bool IsDelete() const { return false; }
  virtual bool IsSetOption() const { return false; }
  virtual bool IsCreateTable() const { return false; }
  virtual bool IsCreateIndex() const { return false; }
  virtual bool IsAlterTable() const { return false; }
  virtual bool IsEndTransaction() const { return false; }
  virtual bool IsDropTable() const { return false; }
  virtual bool IsDropIndex() const { return false; }

  // The node as canonical SQL text, in the encoding of the statement it came from.
  string Description() const;
  // Appends the canonical SQL text to `out`. Description is built on this so
  // that printing a tree costs time linear in the size of its text.
  virtual void AppendSQL(std::string& out) const = 0;

  // Text encoding of the statement the node was parsed from.
  uint32_t encoding = kEncodingDefault;
};

// Appends a child's text, or nothing when the child is absent.
inline void AppendSQLOf(const SQLSyntaxNode* node, std::string& out) {
  if (node) node->AppendSQL(out);
}

}  // namespace parvex
