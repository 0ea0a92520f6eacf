// SqlGenerator: seeded random schemas, data and statements for the
// differential test of the two query executors.
//
// Everything is drawn from small pools so that equalities hit often and the
// dialect's corners come up: values of every column type stored into columns
// of other types, NULLs, texts that read as numbers or Booleans or "NULL",
// letters in both cases (case-insensitive grouping), the integers 65 and 97
// (whose key bytes differ only in ASCII case), doubles that truncate alike,
// division by zero (unknown), joins of up to three tables (a table may appear
// twice), equalities between columns of different types and tables, indexes
// on some columns, rows committed and pending. The generator keeps an upper
// bound of each table's rows so that joins stay small enough to enumerate
// fully (the reference executor does) in a test.
#pragma once

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace parvex::differential {

struct GenColumn {
  std::string name;
  std::string type;
};

struct GenTable {
  std::string name;
  std::vector<GenColumn> columns;
};

class SqlGenerator {
 public:
  explicit SqlGenerator(uint64_t seed) : mRng(seed) {}

  // CREATE TABLE, INSERT, CREATE INDEX, COMMIT, and a few changes.
  std::vector<std::string> Setup() {
    std::vector<std::string> sql;
    const int tableCount = 2 + Pick(2);
    for (int t = 0; t < tableCount; ++t) {
      GenTable table;
      table.name = std::string(1, static_cast<char>('A' + t));
      const int columnCount = 1 + Pick(4);
      std::string create = "CREATE TABLE " + table.name + " (";
      for (int c = 0; c < columnCount; ++c) {
        static const char* kTypes[] = {"Integer", "Integer", "String", "String", "Double", "Boolean", "Date", "Time"};
        GenColumn column{std::string(1, static_cast<char>('a' + t)) + std::to_string(c + 1), kTypes[Pick(8)]};
        create += (c ? ", " : "") + column.name + " " + column.type;
        table.columns.push_back(column);
      }
      sql.push_back(create + ")");
      mTables.push_back(table);
    }
    for (const GenTable& table : mTables) {
      const bool indexFirst = Chance(50);
      if (indexFirst) AddIndexes(table, &sql);
      const int rows = Pick(9);
      const int committed = Chance(50) ? Pick(rows + 1) : -1;
      for (int r = 0; r < rows; ++r) {
        if (r == committed) sql.push_back("COMMIT");
        sql.push_back(Insert(table));
      }
      mRows.push_back(rows);
      if (!indexFirst) AddIndexes(table, &sql);
    }
    if (Chance(40)) sql.push_back("COMMIT");
    if (Chance(30)) sql.push_back(Delete());
    if (Chance(30)) sql.push_back(Update());
    return sql;
  }

  // One statement: mostly queries, some changes and transaction steps;
  // ".reopen" asks the runner to reopen the databases (their indexes then
  // come from their files).
  std::string Statement() {
    const int r = Pick(100);
    if (r < 62) return Select();
    if (r < 72) return Update();
    if (r < 80) return Delete();
    if (r < 90) return InsertSelect();
    if (r < 94) {
      const size_t t = static_cast<size_t>(Pick(static_cast<int>(mTables.size())));
      ++mRows[t];
      return Insert(mTables[t]);
    }
    if (r < 96) return "COMMIT";
    if (r < 97) return "ROLLBACK";
    if (r < 98) return ".reopen";
    std::vector<std::string> sql;
    AddIndexes(mTables[Pick(static_cast<int>(mTables.size()))], &sql);
    return sql.empty() ? std::string("COMMIT") : sql.front();
  }

 private:
  struct Source {
    const GenTable* table;
    std::string ref;  // the name or alias the statement uses
  };

  int Pick(int n) { return n <= 0 ? 0 : static_cast<int>(mRng() % static_cast<uint64_t>(n)); }
  bool Chance(int percent) { return Pick(100) < percent; }
  template <typename T, size_t N>
  const T& OneOf(const T (&pool)[N]) {
    return pool[Pick(static_cast<int>(N))];
  }

  std::string Literal(const std::string& type) {
    static const char* kIntegers[] = {"0", "1", "2", "-1", "65", "97", "65", "97", "10"};
    static const char* kStrings[] = {"'a'", "'A'", "'ab'", "'AB'", "'Ab'", "'1'", "'01'", "'TRUE'", "'false'",
                                     "'NULL'", "''", "'DATE 2001-01-01'", "'a%'", "'10'", "'nan'", "'b'"};
    static const char* kDoubles[] = {"0.0", "1.5", "-1.5", "2.0", "2.7", "1.0", "-0.5", "10.25"};
    static const char* kBooleans[] = {"TRUE", "FALSE"};
    static const char* kDates[] = {"DATE '2001-01-01'", "DATE '2001-01-02'", "date '2001-01-01'"};
    static const char* kTimes[] = {"TIME '10:00:00'", "TIME '11:30:00'"};
    if (Chance(15)) return "NULL";
    // Each schema draws its integers and texts from a few of the pool's, so
    // that equal keys (and keys equal but for case) come up often.
    if (mFewIntegers.empty()) {
      if (Chance(30)) {
        // Keys that differ only in ASCII case: one group each.
        mFewIntegers = {"65", "97", "65", "1"};
        mFewStrings = {"'ab'", "'AB'", "'Ab'", "'aB'", "'ab'"};
      } else {
        for (int i = 0; i < 4; ++i) mFewIntegers.push_back(OneOf(kIntegers));
        for (int i = 0; i < 5; ++i) mFewStrings.push_back(OneOf(kStrings));
      }
    }
    if (type == "Integer") return Chance(80) ? mFewIntegers[static_cast<size_t>(Pick(4))] : OneOf(kIntegers);
    if (type == "String") return Chance(80) ? mFewStrings[static_cast<size_t>(Pick(5))] : OneOf(kStrings);
    if (type == "Double") return OneOf(kDoubles);
    if (type == "Boolean") return OneOf(kBooleans);
    if (type == "Date") return OneOf(kDates);
    return OneOf(kTimes);
  }

  std::string AnyType() {
    static const char* kTypes[] = {"Integer", "String", "Double", "Boolean", "Date", "Time"};
    return OneOf(kTypes);
  }

  // A value for a column: usually of its type, sometimes of another.
  std::string ValueFor(const GenColumn& column) { return Literal(Chance(75) ? column.type : AnyType()); }

  std::string Insert(const GenTable& table) {
    std::string names, values;
    if (Chance(10)) {
      // A row ID of its own: scan order and row ID order part.
      names = "_rowid";
      values = std::to_string(1 + Pick(40));
    }
    for (const GenColumn& column : table.columns) {
      if (Chance(15)) continue;  // left out: NULL
      names += (names.empty() ? "" : ", ") + column.name;
      values += (values.empty() ? "" : ", ") + ValueFor(column);
    }
    if (names.empty()) return "INSERT INTO " + table.name + " DEFAULT VALUES";
    return "INSERT INTO " + table.name + " (" + names + ") VALUES (" + values + ")";
  }

  void AddIndexes(const GenTable& table, std::vector<std::string>* sql) {
    for (const GenColumn& column : table.columns) {
      if (!Chance(35)) continue;
      std::string columns = column.name;
      if (Chance(15)) columns += ", " + table.columns[static_cast<size_t>(Pick(static_cast<int>(table.columns.size())))].name;
      sql->push_back("CREATE INDEX i" + std::to_string(mIndexes++) + " ON " + table.name + " (" + columns + ")");
    }
  }

  // Up to `maxTables` sources whose combinations stay under `maxCombinations`
  // (the first source always fits).
  std::vector<Source> From(int maxTables, long maxCombinations = kMaxCombinations, long* combinations = nullptr) {
    std::vector<Source> from;
    const int count = 1 + Pick(maxTables);
    long product = 1;
    for (int i = 0; i < count; ++i) {
      const size_t t = static_cast<size_t>(Pick(static_cast<int>(mTables.size())));
      const long rows = std::max(1L, mRows[t]);
      if (i > 0 && product * rows > maxCombinations) break;
      product *= rows;
      const GenTable* table = &mTables[t];
      bool repeated = false;
      for (const Source& s : from) repeated = repeated || s.table == table;
      from.push_back({table, repeated || Chance(10) ? "X" + std::to_string(i) : table->name});
    }
    if (combinations) *combinations = product;
    return from;
  }

  std::string FromClause(const std::vector<Source>& from) {
    std::string text;
    for (const Source& s : from) {
      text += (text.empty() ? "" : ", ") + s.table->name;
      if (s.ref != s.table->name) text += " " + s.ref;
    }
    return text;
  }

  std::string ColumnRef(const Source& source, std::string* type) {
    const std::vector<GenColumn>& columns = source.table->columns;
    if (Chance(8)) {
      if (type) *type = "Integer";
      return source.ref + "._rowid";
    }
    const GenColumn& column = columns[static_cast<size_t>(Pick(static_cast<int>(columns.size())))];
    if (type) *type = column.type;
    return source.ref + "." + column.name;
  }

  std::string ColumnRef(const std::vector<Source>& from, std::string* type = nullptr) {
    return ColumnRef(from[static_cast<size_t>(Pick(static_cast<int>(from.size())))], type);
  }

  std::string Operand(const std::vector<Source>& from) {
    const int r = Pick(100);
    if (r < 50) return ColumnRef(from);
    if (r < 82) return Literal(AnyType());
    static const char* kOps[] = {" + ", " - ", " * ", " / "};
    static const char* kRight[] = {"1", "2", "0", "'x'", "1.5"};
    if (Chance(50)) return "(" + ColumnRef(from) + OneOf(kOps) + OneOf(kRight) + ")";
    return "(" + Literal(AnyType()) + OneOf(kOps) + ColumnRef(from) + ")";
  }

  std::string Comparison(const std::vector<Source>& from) {
    static const char* kOps[] = {"=", "=", "=", "=", "<>", "<", ">", "<=", ">="};
    if (from.size() > 1 && Chance(45)) {
      // Two different sources, equated: the join condition.
      const size_t a = static_cast<size_t>(Pick(static_cast<int>(from.size())));
      size_t b = static_cast<size_t>(Pick(static_cast<int>(from.size()) - 1));
      if (b >= a) ++b;
      std::string right = ColumnRef(from[b], nullptr);
      if (Chance(20)) right = "(" + right + " + 1)";
      return ColumnRef(from[a], nullptr) + (Chance(85) ? " = " : " < ") + right;
    }
    return Operand(from) + " " + OneOf(kOps) + " " + Operand(from);
  }

  std::string Condition(const std::vector<Source>& from, int depth = 0) {
    const int r = Pick(12);
    if (depth < 2 && r < 3) {
      const int n = 2 + Pick(2);
      std::string text = "(";
      for (int i = 0; i < n; ++i) text += (i ? " AND " : "") + Condition(from, depth + 1);
      return text + ")";
    }
    if (depth < 2 && r == 3) return "(" + Condition(from, depth + 1) + " OR " + Condition(from, depth + 1) + ")";
    if (r == 4) {
      static const char* kPatterns[] = {"'a%'", "'%1'", "'_'", "'%'", "'A_'", "'%a%'", "'1%'"};
      return ColumnRef(from) + (Chance(30) ? " NOT LIKE " : " LIKE ") + (Chance(80) ? OneOf(kPatterns) : ColumnRef(from));
    }
    if (r == 5) return "NOT " + Comparison(from);
    return Comparison(from);
  }

  std::string Select() {
    std::vector<Source> from = From(3);
    const int kind = Pick(10);
    std::string items;
    std::vector<std::string> names;  // output names usable in ORDER BY
    std::string groupBy, having;
    auto addItem = [&](const std::string& text, const std::string& name) {
      items += (items.empty() ? "" : ", ") + text;
      if (!name.empty()) names.push_back(name);
    };
    int aliases = 0;
    auto aliased = [&](const std::string& text) {
      if (!Chance(30)) return addItem(text, "");
      const std::string name = "e" + std::to_string(aliases++);
      addItem(text + " AS " + name, name);
    };
    if (kind < 6) {
      if (Chance(20)) {
        addItem("*", "");
      } else {
        for (int i = 1 + Pick(3); i > 0; --i) {
          if (Chance(70)) {
            std::string ref = ColumnRef(from);
            addItem(ref, ref.substr(ref.find('.') + 1));
          } else {
            aliased(Operand(from));
          }
        }
      }
    } else {
      if (kind < 9) {
        for (int i = 1 + Pick(2); i > 0; --i) {
          const std::string ref = ColumnRef(from);
          groupBy += (groupBy.empty() ? "" : ", ") + ref;
          if (Chance(80)) addItem(ref, ref.substr(ref.find('.') + 1));
        }
        if (Chance(40)) having = " HAVING " + Aggregate(from) + (Chance(50) ? " > " : " = ") + Literal("Integer");
      }
      for (int i = 1 + Pick(3); i > 0; --i) aliased(Aggregate(from));
      if (Chance(15)) addItem(ColumnRef(from), "");
    }
    std::string sql = std::string("SELECT ") + (Chance(25) ? "DISTINCT " : "") + items + " FROM " + FromClause(from);
    if (!groupBy.empty() && Chance(30)) {
      // Grouping over a whole table: every key present, case variants too.
      from.resize(1);
      return "SELECT " + ColumnRef(from) + ", COUNT(*), " + Aggregate(from) + ", " + Aggregate(from) + " FROM " +
             FromClause(from) + " GROUP BY " + ColumnRef(from);
    }
    if (Chance(80)) sql += " WHERE " + Condition(from);
    if (!groupBy.empty()) sql += " GROUP BY " + groupBy + having;
    if (!names.empty() && Chance(40)) {
      sql += " ORDER BY " + names[static_cast<size_t>(Pick(static_cast<int>(names.size())))] + (Chance(50) ? " DESC" : "");
      if (Chance(30)) sql += ", " + names[static_cast<size_t>(Pick(static_cast<int>(names.size())))];
    }
    return sql;
  }

  std::string Aggregate(const std::vector<Source>& from) {
    static const char* kFunctions[] = {"COUNT", "SUM", "AVG", "MIN", "MAX"};
    const int r = Pick(10);
    if (r == 0) return "COUNT(*)";
    const std::string function = OneOf(kFunctions);
    const std::string argument = Chance(80) ? ColumnRef(from) : Operand(from);
    std::string text = function + "(" + (Chance(20) ? "DISTINCT " : "") + argument + ")";
    if (r == 1) text = "(" + text + " + 1)";
    return text;
  }

  std::string Update() {
    const GenTable& table = mTables[static_cast<size_t>(Pick(static_cast<int>(mTables.size())))];
    const std::vector<Source> self{{&table, table.name}};
    std::string sets;
    for (int i = 1 + Pick(2); i > 0; --i) {
      const GenColumn& column = table.columns[static_cast<size_t>(Pick(static_cast<int>(table.columns.size())))];
      std::string value = Chance(50) ? ValueFor(column) : Operand(self);
      if (Chance(10)) value = Comparison(self);  // a truth value
      sets += (sets.empty() ? "" : ", ") + column.name + " = " + value;
    }
    std::string sql = "UPDATE " + table.name + " SET " + sets;
    if (Chance(80)) sql += " WHERE " + Condition(self);
    return sql;
  }

  std::string Delete() {
    const GenTable& table = mTables[static_cast<size_t>(Pick(static_cast<int>(mTables.size())))];
    const std::vector<Source> self{{&table, table.name}};
    std::string sql = "DELETE FROM " + table.name;
    if (Chance(90)) sql += " WHERE " + Condition(self);
    return sql;
  }

  std::string InsertSelect() {
    const size_t targetNumber = static_cast<size_t>(Pick(static_cast<int>(mTables.size())));
    const GenTable& target = mTables[targetNumber];
    const int count = 1 + Pick(static_cast<int>(std::min<size_t>(2, target.columns.size())));
    std::string names;
    for (int i = 0; i < count; ++i) names += (i ? ", " : "") + target.columns[static_cast<size_t>(i)].name;
    long added = 0;
    std::vector<Source> from = From(2, std::max(1L, kMaxRows - mRows[targetNumber]), &added);
    std::string items;
    const bool aggregate = Chance(25);
    mRows[targetNumber] += aggregate ? 1 : added;
    for (int i = 0; i < count; ++i) items += (i ? ", " : "") + (aggregate ? Aggregate(from) : ColumnRef(from));
    std::string sql = "INSERT INTO " + target.name + " (" + names + ") SELECT " + (Chance(20) ? "DISTINCT " : "") +
                      items + " FROM " + FromClause(from);
    if (Chance(80)) sql += " WHERE " + Condition(from);
    return sql;
  }

  // Bounds that keep a statement's enumeration small.
  static constexpr long kMaxCombinations = 3000;
  static constexpr long kMaxRows = 40;

  std::mt19937_64 mRng;
  std::vector<GenTable> mTables;
  std::vector<long> mRows;  // upper bounds of the tables' rows
  std::vector<std::string> mFewIntegers;
  std::vector<std::string> mFewStrings;
  int mIndexes = 0;
};

}  // namespace parvex::differential
