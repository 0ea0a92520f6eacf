// Tab completion for the shell's line editor.
//
// Completes the word before the cursor: on a line that starts with '.', its
// first word from the dot-commands and later words from the table names; in a
// statement, from the dialect's keywords, function and type names, the tables
// and their columns, and after "TABLE." from that table's columns. Keywords
// match in any case and are completed in the case the word was begun in
// (upper case for a word of no letters); names keep their own spelling.
// A single match is completed with a blank after it; several are completed
// as far as they agree, and when that adds nothing they are listed.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace parvex::shell {

// What the database offers for completion.
struct CompletionNames {
  std::vector<std::string> tables;
  std::vector<std::pair<std::string, std::string>> columns;  // (table, column)
};

struct Completion {
  std::string insert;                // text to insert at the cursor
  std::vector<std::string> choices;  // the matches, when they are to be listed
};

Completion Complete(std::string_view line, size_t cursor, const CompletionNames& names);

}  // namespace parvex::shell
