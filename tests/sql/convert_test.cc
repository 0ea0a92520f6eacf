// Conversion of syntax nodes into expression trees, checked by evaluating the
// trees: constants in isolation, fields over small in-memory tables.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "parser_test_util.h"
#include "query/expr_nodes.h"

namespace parvex {
namespace {

// A read-only table held in memory: column 0 may or may not be `_rowid`.
class FakeTable : public ParvexTable {
 public:
  void AddColumn(const char* columnName, ParvexDataType type, long id) {
    mColumns.emplace_back(string(columnName), type, static_cast<long>(mColumns.size()), id);
  }
  void AddRow(std::vector<ParvexValue> row) { mRows.push_back(std::move(row)); }

  long QtyColumns() const override { return static_cast<long>(mColumns.size()); }
  const ParvexColumnInfo* Column(long index) const override {
    return index >= 0 && index < QtyColumns() ? &mColumns[index] : nullptr;
  }
  long QtyRows() const override { return static_cast<long>(mRows.size()); }
  void GetRowIDs(SimpleVector<RowID>* ids) const override {
    ids->clear();
    for (size_t i = 0; i < mRows.size(); ++i) ids->push_back(static_cast<RowID>(i));
  }
  bool GetValue(RowID row, long column, ParvexValue* out) const override {
    if (row >= mRows.size() || column < 0 || column >= static_cast<long>(mRows[row].size())) return false;
    *out = mRows[row][column];
    return true;
  }
  void DeleteRow(RowID) override {}

 private:
  std::vector<ParvexColumnInfo> mColumns;
  std::vector<std::vector<ParvexValue>> mRows;
};

class ConvertTest : public ::testing::Test {
 protected:
  ConvertTest() {
    // one: _rowid, a, b          two: _rowid, b, c
    one.AddColumn("_rowid", kTypeInteger, 0);
    one.AddColumn("a", kTypeInteger, 11);
    one.AddColumn("b", kTypeString, 12);
    one.AddRow({ParvexValue::Integer(1), ParvexValue::Integer(5), ParvexValue::String(string("xyz"))});
    one.AddRow({ParvexValue::Integer(2), ParvexValue::Integer(0), ParvexValue::String(string("abc"))});
    two.AddColumn("_rowid", kTypeInteger, 0);
    two.AddColumn("b", kTypeString, 21);
    two.AddColumn("c", kTypeInteger, 22);
    two.AddRow({ParvexValue::Integer(7), ParvexValue::String(string("two")), ParvexValue::Integer(3)});
    names.push_back(string("x"));  // one AS x
    names.push_back(string("two"));
    tables.push_back(&one);
    tables.push_back(&two);
  }

  // The single select item of "SELECT <item>" (kept alive by `root`).
  const SQLSelectItemNode& Item(const std::string& item) {
    auto result = test::Parse("SELECT " + item);
    EXPECT_EQ(result.error, ParvexSQLParser::kNoError) << item;
    root = std::move(result.root);
    const auto* select = dynamic_cast<const SQLSelectNode*>(root.get());
    return *select->items[0];
  }

  ParvexExprPtr Convert(const std::string& item) { return Item(item).expr->ConvertToParvexExpr(names, tables, &status); }

  // The value of a constant expression.
  ParvexValue Value(const std::string& item) {
    ParvexExprPtr expr = Convert(item);
    ParvexValue out;
    EXPECT_NE(expr, nullptr) << item;
    if (expr) {
      EXPECT_TRUE(expr->EvaluateInIsolation(&out, nullptr)) << item;
    }
    return out;
  }

  // The value of an expression on row `row` of table one and row 0 of table two.
  ParvexValue ValueAt(const std::string& item, RowID row) {
    ParvexExprPtr expr = Convert(item);
    ParvexValue out;
    EXPECT_NE(expr, nullptr) << item;
    if (!expr) return out;
    ParvexRecSet recSet(2);
    recSet[0] = row;
    recSet[1] = 0;
    ParvexEvalContext context;
    context.recSet = &recSet;
    context.tables = &tables;
    EXPECT_TRUE(expr->Evaluate(context, &out)) << item;
    return out;
  }

  FakeTable one;
  FakeTable two;
  SimpleVector<string> names;
  SimpleVector<ParvexTable*> tables;
  ParvexStatus status;
  std::unique_ptr<SQLSyntaxNode> root;
};

// Constant expressions: the type and GetString text of their value.
TEST_F(ConvertTest, ConstantValues) {
  struct Case {
    const char* text;
    ParvexDataType type;
    const char* value;
  };
  for (const Case& c : {
           Case{"2+4*10", kTypeInteger, "42"}, Case{"(2+4)*10", kTypeInteger, "60"},
           Case{"-6*7", kTypeInteger, "-42"}, Case{"10-4-3", kTypeInteger, "3"}, Case{"7/2", kTypeInteger, "3"},
           Case{"'abc' + 'def'", kTypeString, "abcdef"}, Case{"'How''s it going?'", kTypeString, "How's it going?"},
           Case{"''", kTypeString, ""}, Case{"'open", kTypeString, "open"}, Case{"1.5", kTypeDouble, "1.5"},
           Case{"2.5e+3", kTypeDouble, "2500"}, Case{"42", kTypeInteger, "42"},
           // Without a '.', a number is an integer read from its leading digits.
           Case{"1e-5", kTypeInteger, "1"}, Case{"true", kTypeBoolean, "TRUE"}, Case{"FALSE", kTypeBoolean, "FALSE"},
           Case{"date '1994-07-09'", kTypeDate, "DATE 1994-07-09"}, Case{"time '10:11:12'", kTypeTime, "TIME 10:11:12"},
           Case{"TIMESTAMP '2001-02-03 04:05:06'", kTypeTimestamp, "TIMESTAMP 2001-02-03 04:05:06"},
           // Comparisons, logic and LIKE give 1 or 0 (their type is not checked).
           Case{"3 = 4", kTypeNone, "0"}, Case{"3 <> 4", kTypeNone, "1"},
           Case{"3 <= 4", kTypeNone, "1"}, Case{"3 >= 4", kTypeNone, "0"},
           Case{"1=1 AND 2=2 AND 3=4", kTypeNone, "0"}, Case{"1=2 OR 2=3 OR 3=3", kTypeNone, "1"},
           Case{"'abcdef' LIKE 'a%f'", kTypeNone, "1"}, Case{"'abcdef' NOT LIKE 'a%f'", kTypeNone, "0"},
           Case{"'50%' LIKE '50^%' ESCAPE '^'", kTypeNone, "1"},
           Case{"'500' LIKE '50^%' ESCAPE '^'", kTypeNone, "0"},
           Case{"UPPER('abc')", kTypeString, "ABC"}, Case{"POSITION('fu' IN 'snafu')", kTypeInteger, "4"},
           Case{"POSITION('x' IN 'snafu')", kTypeInteger, "0"},
           Case{"SUBSTRING('foobar' FROM 3 FOR 2)", kTypeString, "ob"},
           Case{"SUBSTRING('foobar' FROM 3)", kTypeString, "obar"}, Case{"TRIM('  foo  ')", kTypeString, "foo"},
           Case{"TRIM(LEADING FROM '  foo  ')", kTypeString, "foo  "},
           Case{"TRIM(TRAILING FROM '  foo  ')", kTypeString, "  foo"},
           Case{"TRIM(BOTH '?' FROM '?" "?foo?" "?')", kTypeString, "foo"},
           Case{"TRIM('?' FROM '?" "?foo?" "?')", kTypeString, "foo"},
           Case{"CHARACTER_LENGTH('abcd')", kTypeInteger, "4"},
       }) {
    const ParvexValue v = Value(c.text);
    if (c.type != kTypeNone) {
      EXPECT_EQ(v.Type(), c.type) << c.text;
    }
    EXPECT_EQ(v.GetString().str(), c.value) << c.text;
  }
  EXPECT_TRUE(Value("null").IsNull());
  // Whatever the case of its keyword, a datetime literal prints in capitals.
  EXPECT_EQ(Item("Date '1994-07-09'").Description().str(), "DATE '1994-07-09'");
  SQLLiteralNode lower(string("time 'x'"), 0);
  ParvexExprPtr expr = lower.ConvertToParvexExpr(names, tables, &status);
  auto* constant = dynamic_cast<PExprConstant*>(expr.get());
  ASSERT_NE(constant, nullptr);
  EXPECT_EQ(constant->value.Type(), kTypeTime);
  // A hand-built NOT node converts to PExprNot.
  SQLNotNode notNode(std::make_unique<SQLLiteralNode>(string("0"), 0));
  ParvexValue out;
  ASSERT_TRUE(notNode.ConvertToParvexExpr(names, tables, &status)->EvaluateInIsolation(&out, nullptr));
  EXPECT_EQ(out.GetInteger(), 1);
}

TEST_F(ConvertTest, EscapeByteInStringLiterals) {
  EXPECT_EQ(StringLiteralValue(string("'it\\'s'"), '\\').str(), "it's");
  // Other escape sequences stay for LIKE to read.
  EXPECT_EQ(StringLiteralValue(string("'50\\%'"), '\\').str(), "50\\%");
  EXPECT_EQ(StringLiteralValue(string("'a\\'"), 0).str(), "a\\");
  EXPECT_EQ(StringLiteralValue(string("'a''b''"), 0).str(), "a'b'");
}

TEST_F(ConvertTest, OperatorCodesAndAggregates) {
  struct Op {
    const char* op;
    long code;
  };
  for (const Op& c : {Op{"=", 15677}, Op{"<>", 8509}, Op{"<", 60}, Op{"<=", 15421}, Op{">", 62}, Op{">=", 15933}}) {
    ParvexExprPtr expr = Convert(std::string("3 ") + c.op + " 4");
    auto* compare = dynamic_cast<PExprCompare*>(expr.get());
    ASSERT_NE(compare, nullptr) << c.op;
    EXPECT_EQ(compare->op, c.code) << c.op;
  }
  struct Agg {
    const char* text;
    long kind;
    bool distinct;
  };
  for (const Agg& c : {Agg{"COUNT(*)", kAggCount, false}, Agg{"AVG(DISTINCT a)", kAggAvg, true},
                       Agg{"COUNT(ALL a)", kAggCount, false}, Agg{"MAX(a)", kAggMax, false},
                       Agg{"MIN(b)", kAggMin, false}, Agg{"SUM(DISTINCT a)", kAggSum, true}}) {
    ParvexExprPtr expr = Convert(c.text);
    auto* agg = dynamic_cast<PExprAggregate*>(expr.get());
    ASSERT_NE(agg, nullptr) << c.text;
    EXPECT_EQ(agg->kind, c.kind) << c.text;
    EXPECT_EQ(agg->distinct, c.distinct) << c.text;
    EXPECT_EQ(agg->argument == nullptr, std::string(c.text) == "COUNT(*)") << c.text;
  }
}

TEST_F(ConvertTest, FieldReferences) {
  struct Case {
    const char* name;
    long table;
    long column;
  };
  for (const Case& c : {Case{"a", 0, 1}, Case{"b", 0, 2} /* first in FROM order */, Case{"c", 1, 2},
                        Case{"x.b", 0, 2}, Case{"TWO.B", 1, 1}, Case{"_rowid", 0, 0}, Case{"two._ROWID", 1, 0}}) {
    ParvexExprPtr expr = Convert(c.name);
    auto* field = dynamic_cast<PExprField*>(expr.get());
    ASSERT_NE(field, nullptr) << c.name;
    EXPECT_EQ(field->table, c.table) << c.name;
    EXPECT_EQ(field->column, c.column) << c.name;
  }
  EXPECT_EQ(ValueAt("a * 2 + c", 0).GetInteger(), 13);
  EXPECT_EQ(ValueAt("UPPER(x.b) + two.b", 1).GetString().str(), "ABCtwo");
}

TEST_F(ConvertTest, UnknownNamesSetTheStatus) {
  EXPECT_EQ(Convert("one.a"), nullptr);  // the table is known as x here
  EXPECT_EQ(status.State(), kPXTableNotFound);
  EXPECT_EQ(status.Description().str(), "Error: Table one not found.");

  status = ParvexStatus();
  EXPECT_EQ(Convert("x.c"), nullptr);
  EXPECT_EQ(status.State(), kPXColumnNotFound);
  EXPECT_EQ(status.Description().str(), "Error: Column x.c not found.");

  status = ParvexStatus();
  EXPECT_EQ(Convert("1 + UPPER(nothing)"), nullptr);
  EXPECT_EQ(status.Description().str(), "Error: Column nothing not found.");

  // A null status pointer makes the failure silent.
  EXPECT_EQ(Item("zz").expr->ConvertToParvexExpr(names, tables, nullptr), nullptr);
}

TEST_F(ConvertTest, IncompleteNodesConvertToNullWithoutAStatus) {
  SQLInfixOpNode oneOperand(string("="));
  oneOperand.AddOperand(std::make_unique<SQLLiteralNode>(string("1"), 0));
  EXPECT_EQ(oneOperand.ConvertToParvexExpr(names, tables, &status), nullptr);

  SQLInfixOpNode missing(string("<"));
  missing.AddOperand(std::make_unique<SQLLiteralNode>(string("1"), 0));
  missing.AddOperand(nullptr);
  EXPECT_EQ(missing.ConvertToParvexExpr(names, tables, &status), nullptr);

  SQLInfixOpNode unknown(string("%"));
  unknown.AddOperand(std::make_unique<SQLLiteralNode>(string("1"), 0));
  unknown.AddOperand(std::make_unique<SQLLiteralNode>(string("2"), 0));
  EXPECT_EQ(unknown.ConvertToParvexExpr(names, tables, &status), nullptr);

  SQLLikeNode noPattern(std::make_unique<SQLLiteralNode>(string("'a'"), 0), nullptr, nullptr, false);
  EXPECT_EQ(noPattern.ConvertToParvexExpr(names, tables, &status), nullptr);
  EXPECT_EQ(status.State(), kPXStateSuccess);
}

TEST_F(ConvertTest, ExprListNamesAndIDs) {
  auto result = test::Parse("SELECT *, a AS aa, a+1, b+1 AS s, two.*, _rowid, NULL FROM one x, two");
  ASSERT_EQ(result.error, ParvexSQLParser::kNoError);
  const auto* select = dynamic_cast<const SQLSelectNode*>(result.root.get());
  SimpleVector<ParvexExprPtr> exprs;
  SimpleVector<string> columnNames;
  SimpleVector<long> columnIDs;
  for (const auto& item : select->items) {
    ASSERT_TRUE(item->ConvertToExprList(names, tables, exprs, &status, &columnNames, &columnIDs));
  }
  const std::vector<std::string> expectedExprNames = {"a", "b", "b", "c", "aa", "(a+1)", "s", "b", "c", "_rowid", "NULL"};
  const std::vector<std::string> expectedColumnNames = {"a", "b", "b", "c", "a", "(a+1)", "s", "b", "c", "_rowid", "NULL"};
  const std::vector<long> expectedIDs = {11, 12, 21, 22, 11, -1, -1, 21, 22, 0, -1};
  ASSERT_EQ(exprs.size(), expectedExprNames.size());
  ASSERT_EQ(columnNames.size(), expectedColumnNames.size());
  ASSERT_EQ(columnIDs.size(), expectedIDs.size());
  for (size_t i = 0; i < exprs.size(); ++i) {
    EXPECT_EQ(exprs[i]->name.str(), expectedExprNames[i]) << i;
    EXPECT_EQ(columnNames[i].str(), expectedColumnNames[i]) << i;
    EXPECT_EQ(columnIDs[i], expectedIDs[i]) << i;
  }
  // The star of table two points at its columns.
  auto* field = dynamic_cast<PExprField*>(exprs[2].get());
  ASSERT_NE(field, nullptr);
  EXPECT_EQ(field->table, 1);
  EXPECT_EQ(field->column, 1);
  // The lists are optional.
  SimpleVector<ParvexExprPtr> more;
  EXPECT_TRUE(select->items[0]->ConvertToExprList(names, tables, more, &status, nullptr, nullptr));
  EXPECT_EQ(more.size(), 4u);
}

TEST_F(ConvertTest, StarOfATableWithoutRowIDColumn) {
  FakeTable system;
  system.AddColumn("TableName", kTypeString, 0);
  SimpleVector<string> systemNames;
  systemNames.push_back(string("_TABLES"));
  SimpleVector<ParvexTable*> systemTables;
  systemTables.push_back(&system);
  SimpleVector<ParvexExprPtr> exprs;
  SimpleVector<string> columnNames;
  EXPECT_TRUE(Item("*").ConvertToExprList(systemNames, systemTables, exprs, &status, &columnNames, nullptr));
  ASSERT_EQ(columnNames.size(), 1u);
  EXPECT_EQ(columnNames[0].str(), "TableName");
}

TEST_F(ConvertTest, ExprListFailures) {
  SimpleVector<ParvexExprPtr> exprs;
  EXPECT_FALSE(Item("nope.*").ConvertToExprList(names, tables, exprs, &status, nullptr, nullptr));
  EXPECT_EQ(status.State(), kPXTableNotFound);
  status = ParvexStatus();
  EXPECT_FALSE(Item("a + nope").ConvertToExprList(names, tables, exprs, &status, nullptr, nullptr));
  EXPECT_EQ(status.State(), kPXColumnNotFound);
  EXPECT_TRUE(exprs.empty());
}

TEST_F(ConvertTest, WhereConditionOverRows) {
  auto result = test::Parse("SELECT a FROM one x WHERE a > 1 AND b LIKE 'X%' OR NOT _rowid = 3");
  ASSERT_EQ(result.error, ParvexSQLParser::kNoError);
  const auto* select = dynamic_cast<const SQLSelectNode*>(result.root.get());
  ParvexExprPtr where = select->where->ConvertToParvexExpr(names, tables, &status);
  ASSERT_NE(where, nullptr);
  // NOT is discarded: the condition is (a>1 AND b LIKE 'X%') OR _rowid=3.
  std::vector<int> matches;
  for (RowID row = 0; row < 2; ++row) {
    ParvexRecSet recSet(2);
    recSet[0] = row;
    ParvexEvalContext context;
    context.recSet = &recSet;
    context.tables = &tables;
    ParvexValue out;
    ASSERT_TRUE(where->Evaluate(context, &out));
    matches.push_back(out.GetInteger());
  }
  EXPECT_EQ(matches, (std::vector<int>{1, 0}));
}

}  // namespace
}  // namespace parvex
