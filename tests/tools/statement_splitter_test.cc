// The shell's splitter over a long line of statements (every piece comes
// out, without quadratic work). How it cuts input is checked through the
// shell (tests/tools/scripts/input.sql).
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

TEST(StatementSplitterTest, ManyStatementsOnOneLineAllComeOut) {
  std::string line;
  for (int i = 0; i < 20000; ++i) line += "INSERT INTO t VALUES (" + std::to_string(i) + ");";
  const Pieces pieces = Split({line});
  ASSERT_EQ(pieces.size(), 20000u);
  for (int i = 0; i < 20000; ++i) ASSERT_EQ(pieces[i], "INSERT INTO t VALUES (" + std::to_string(i) + ")");
}

}  // namespace
}  // namespace parvex::shell
