// Tab completion: words of the dialect, dot-commands, tables and columns.
#include "completion.h"

#include <algorithm>
#include <cctype>
#include <set>

#include "dot_commands.h"

namespace parvex::shell {
namespace {

constexpr const char* kKeywords[] = {
    // statements and clauses
    "ADD", "ALL", "ALTER", "AND", "AS", "ASC", "BEGIN", "BETWEEN", "BOTH", "BY", "CASCADE", "COLUMN", "COMMIT",
    "CREATE", "DEFAULT", "DELETE", "DESC", "DISTINCT", "DROP", "ESCAPE", "FALSE", "FOR", "FROM", "GROUP",
    "HAVING", "INDEX", "INSERT", "INTO", "IS", "LEADING", "LIKE", "NOT", "NULL", "ON", "OR", "ORDER",
    "RESTRICT", "ROLLBACK", "SELECT", "SET", "TABLE", "TRAILING", "TRANSACTION", "TRUE", "UNIQUE", "UPDATE",
    "VALUES", "WHERE",
    // types (DATE, TIME and TIMESTAMP also begin literals)
    "BINARY", "BOOLEAN", "DATE", "DOUBLE", "INTEGER", "STRING", "TIME", "TIMESTAMP",
    // functions
    "AVG", "BIT_LENGTH", "CHAR_LENGTH", "CHARACTER_LENGTH", "COUNT", "CURRENT_DATE", "CURRENT_TIME",
    "CURRENT_TIMESTAMP", "LAST_ROWID", "LOWER", "MAX", "MIN", "OCTET_LENGTH", "POSITION", "SUBSTRING", "SUM",
    "TRIM", "UPPER"};

bool IsWordByte(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '#' || static_cast<unsigned char>(c) >= 0x80;
}

char Lower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }

bool StartsWithNoCase(std::string_view text, std::string_view prefix) {
  if (prefix.size() > text.size()) return false;
  for (size_t i = 0; i < prefix.size(); ++i) {
    if (Lower(text[i]) != Lower(prefix[i])) return false;
  }
  return true;
}

// A keyword in the case of the word begun: lower case when it has a lower-case letter.
std::string InCaseOf(std::string_view keyword, std::string_view begun) {
  std::string word(keyword);
  if (std::any_of(begun.begin(), begun.end(), [](char c) { return std::islower(static_cast<unsigned char>(c)); })) {
    std::transform(word.begin(), word.end(), word.begin(), Lower);
  }
  return word;
}

}  // namespace

Completion Complete(std::string_view line, size_t cursor, const CompletionNames& names) {
  cursor = std::min(cursor, line.size());
  size_t start = cursor;
  while (start > 0 && IsWordByte(line[start - 1])) --start;
  const size_t firstByte = line.find_first_not_of(" \t");
  const bool command = firstByte != std::string_view::npos && line[firstByte] == '.';

  std::vector<std::string> matches;  // full words, in the case to insert
  std::string_view begun = line.substr(start, cursor - start);
  if (command && start > 0 && start - 1 == firstByte && line[start - 1] == '.') {
    // The command's name, with its dot.
    begun = line.substr(firstByte, cursor - firstByte);
    for (const std::string& name : DotCommands::Names()) {
      if (StartsWithNoCase(name, begun)) matches.push_back(name);
    }
  } else if (command) {
    for (const std::string& table : names.tables) {
      if (StartsWithNoCase(table, begun)) matches.push_back(table);
    }
  } else if (start > 0 && line[start - 1] == '.') {
    // TABLE.COLUMN: the columns of the table before the dot.
    size_t tableStart = start - 1;
    while (tableStart > 0 && IsWordByte(line[tableStart - 1])) --tableStart;
    const std::string_view table = line.substr(tableStart, start - 1 - tableStart);
    for (const auto& [owner, column] : names.columns) {
      if (owner.size() == table.size() && StartsWithNoCase(owner, table) && StartsWithNoCase(column, begun)) {
        matches.push_back(column);
      }
    }
  } else {
    for (const char* keyword : kKeywords) {
      if (StartsWithNoCase(keyword, begun)) matches.push_back(InCaseOf(keyword, begun));
    }
    std::set<std::string> seen;  // a column name shared by tables is offered once
    for (const std::string& table : names.tables) {
      if (StartsWithNoCase(table, begun) && seen.insert(table).second) matches.push_back(table);
    }
    for (const auto& [owner, column] : names.columns) {
      if (StartsWithNoCase(column, begun) && seen.insert(column).second) matches.push_back(column);
    }
  }

  Completion completion;
  if (matches.empty()) return completion;
  if (matches.size() == 1) {
    completion.insert = matches[0].substr(begun.size()) + " ";
    return completion;
  }
  // As far as every match agrees (ignoring case, spelled as the first).
  size_t common = matches[0].size();
  for (const std::string& match : matches) {
    size_t i = 0;
    while (i < common && i < match.size() && Lower(match[i]) == Lower(matches[0][i])) ++i;
    common = i;
  }
  if (common > begun.size()) {
    completion.insert = matches[0].substr(begun.size(), common - begun.size());
  } else {
    std::sort(matches.begin(), matches.end());
    matches.erase(std::unique(matches.begin(), matches.end()), matches.end());
    completion.choices = std::move(matches);
  }
  return completion;
}

}  // namespace parvex::shell
