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

TEST(StatementSplitterTest, SemicolonsOutsideLiteralsEndStatements) {
  EXPECT_EQ(Split({"SELECT 1; SELECT 2;"}), (Pieces{"SELECT 1", "SELECT 2"}));
  EXPECT_EQ(Split({"INSERT INTO t VALUES ('a;b'); SELECT 'it''s;'"}),
            (Pieces{"INSERT INTO t VALUES ('a;b')", "SELECT 'it''s;'"}));
  // Empty statements vanish; text after the last `;` runs at the end.
  EXPECT_EQ(Split({";;  ; SELECT 3"}), (Pieces{"SELECT 3"}));
  EXPECT_EQ(Split({"   ", ""}), Pieces{});
}

TEST(StatementSplitterTest, StatementsSpanLinesWithLineEndsAsBlanksOutsideLiterals) {
  EXPECT_EQ(Split({"SELECT name", "FROM t", "WHERE a = 'x", "y';"}),
            (Pieces{"SELECT name FROM t WHERE a = 'x\ny'"}));
  // A dot at the start of a line inside a statement is statement text.
  EXPECT_EQ(Split({"SELECT 'a", ".tables';"}), (Pieces{"SELECT 'a\n.tables'"}));
  EXPECT_EQ(Split({"SELECT 1", ".tables", ";"}), (Pieces{"SELECT 1 .tables"}));
}

TEST(StatementSplitterTest, DotCommandsAndCommentsWhereAStatementWouldBegin) {
  EXPECT_EQ(Split({".mode csv", "  .tables  ", "SELECT 1;", ".quit"}),
            (Pieces{"DOT:.mode csv", "DOT:.tables", "SELECT 1", "DOT:.quit"}));
  // After a `;` the rest of the line is not the start of a line.
  EXPECT_EQ(Split({"SELECT 1; .tables"}), (Pieces{"SELECT 1", ".tables"}));
  EXPECT_EQ(Split({"-- a comment; with a semicolon", "SELECT 1; -- trailing note",
                   "SELECT 2"}),
            (Pieces{"SELECT 1", "SELECT 2"}));
  // Inside a statement `--` is arithmetic (5 minus minus 3), not a comment.
  EXPECT_EQ(Split({"SELECT 5", "--3;"}), (Pieces{"SELECT 5 --3"}));
}

TEST(StatementSplitterTest, EscapeByteKeepsQuoteInsideLiteral) {
  EXPECT_EQ(Split({"SELECT 'a\\'; b'; SELECT 2"}, '\\'), (Pieces{"SELECT 'a\\'; b'", "SELECT 2"}));
  EXPECT_EQ(Split({"SELECT 'a\\'; b'; SELECT 2"}), (Pieces{"SELECT 'a\\'", "b'; SELECT 2"}));
}

TEST(StatementSplitterTest, PendingTextAndResetForThePrompt) {
  StatementSplitter splitter;
  InputPiece piece;
  splitter.AddLine("SELECT *");
  EXPECT_FALSE(splitter.Next(&piece));
  EXPECT_TRUE(splitter.HasPendingText());
  splitter.Reset();
  EXPECT_FALSE(splitter.HasPendingText());
  splitter.AddLine("SELECT 1;   ");
  ASSERT_TRUE(splitter.Next(&piece));
  EXPECT_EQ(piece.text, "SELECT 1");
  EXPECT_FALSE(splitter.Next(&piece));
  EXPECT_FALSE(splitter.HasPendingText());
  // After a statement that ended mid-line, the next line starts a line again.
  splitter.AddLine(".tables");
  ASSERT_TRUE(splitter.Next(&piece));
  EXPECT_EQ(piece.kind, InputPiece::Kind::kDotCommand);
}

TEST(StatementSplitterTest, ManyStatementsOnOneLineAllComeOut) {
  std::string line;
  for (int i = 0; i < 20000; ++i) line += "INSERT INTO t VALUES (" + std::to_string(i) + ");";
  const Pieces pieces = Split({line});
  ASSERT_EQ(pieces.size(), 20000u);
  for (int i = 0; i < 20000; ++i) ASSERT_EQ(pieces[i], "INSERT INTO t VALUES (" + std::to_string(i) + ")");
}

TEST(StatementSplitterTest, FirstWordStopsAtBlanksAndDelimiters) {
  EXPECT_EQ(FirstWord("  select*from t"), "select");
  EXPECT_EQ(FirstWord("SELECT(1)"), "SELECT");
  EXPECT_EQ(FirstWord("\tInsert into"), "Insert");
  EXPECT_EQ(FirstWord(""), "");
}

}  // namespace
}  // namespace parvex::shell
