// How the shell cuts its input into statements and dot-commands.
#include "statement_splitter.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace parvex::shell {
namespace {

// Feeds `lines` one by one, taking pieces after each line and at the end;
// dot-commands come back prefixed with "DOT:".
std::vector<std::string> Split(const std::vector<std::string>& lines, char escape = 0) {
  StatementSplitter splitter;
  splitter.SetEscape(escape);
  std::vector<std::string> pieces;
  InputPiece piece;
  const auto take = [&](const InputPiece& p) {
    pieces.push_back((p.kind == InputPiece::Kind::kDotCommand ? "DOT:" : "") + p.text);
  };
  for (const std::string& line : lines) {
    splitter.AddLine(line);
    while (splitter.Next(&piece)) take(piece);
  }
  while (splitter.Finish(&piece)) take(piece);
  EXPECT_FALSE(splitter.HasPendingText());
  return pieces;
}

using Pieces = std::vector<std::string>;

TEST(StatementSplitterTest, PiecesOfInput) {
  struct Case {
    std::vector<std::string> lines;
    char escape;
    Pieces pieces;
  };
  const std::vector<Case> cases = {
      // Semicolons outside literals end statements; empty statements vanish; text after the last `;` runs at
      // the end.
      {{"SELECT 1; SELECT 2;"}, 0, {"SELECT 1", "SELECT 2"}},
      {{"INSERT INTO t VALUES ('a;b'); SELECT 'it''s;'"}, 0, {"INSERT INTO t VALUES ('a;b')", "SELECT 'it''s;'"}},
      {{";;  ; SELECT 3"}, 0, {"SELECT 3"}},
      {{"   ", ""}, 0, {}},
      // Statements span lines, line ends becoming blanks outside literals; a dot at the start of a line
      // inside a statement is statement text.
      {{"SELECT name", "FROM t", "WHERE a = 'x", "y';"}, 0, {"SELECT name FROM t WHERE a = 'x\ny'"}},
      {{"SELECT 'a", ".tables';"}, 0, {"SELECT 'a\n.tables'"}},
      {{"SELECT 1", ".tables", ";"}, 0, {"SELECT 1 .tables"}},
      // Dot-commands and comments where a statement would begin; after a `;` the rest of the line is not the
      // start of a line; inside a statement `--` is arithmetic (5 minus minus 3), not a comment.
      {{".mode csv", "  .tables  ", "SELECT 1;", ".quit"}, 0, {"DOT:.mode csv", "DOT:.tables", "SELECT 1", "DOT:.quit"}},
      {{"SELECT 1; .tables"}, 0, {"SELECT 1", ".tables"}},
      {{"-- a comment; with a semicolon", "SELECT 1; -- trailing note", "SELECT 2"}, 0, {"SELECT 1", "SELECT 2"}},
      {{"SELECT 5", "--3;"}, 0, {"SELECT 5 --3"}},
      // The escape byte keeps a quote inside a literal.
      {{"SELECT 'a\\'; b'; SELECT 2"}, '\\', {"SELECT 'a\\'; b'", "SELECT 2"}},
      {{"SELECT 'a\\'; b'; SELECT 2"}, 0, {"SELECT 'a\\'", "b'; SELECT 2"}},
  };
  for (const Case& c : cases) EXPECT_EQ(Split(c.lines, c.escape), c.pieces) << c.lines[0];
}

TEST(StatementSplitterTest, ManyStatementsOnOneLineAllComeOut) {
  std::string line;
  for (int i = 0; i < 20000; ++i) line += "INSERT INTO t VALUES (" + std::to_string(i) + ");";
  const Pieces pieces = Split({line});
  ASSERT_EQ(pieces.size(), 20000u);
  for (int i = 0; i < 20000; ++i) ASSERT_EQ(pieces[i], "INSERT INTO t VALUES (" + std::to_string(i) + ")");
}

}  // namespace
}  // namespace parvex::shell
