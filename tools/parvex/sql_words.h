// Words of SQL text as the shell needs them before the library sees the
// text: letter case ignored the way the dialect ignores it (ASCII letters
// only), the first word of a statement, and names that can stand bare.
#pragma once

#include <string_view>

namespace parvex::shell {

// True when `a` and `b` differ in the letter case of ASCII letters at most.
bool SameNoCase(std::string_view a, std::string_view b);

// The first word of `sql` (blanks, bytes 1 to 32, skipped before it): a
// letter, '_' or '#', then every byte up to a blank or one of % ( ) * + , -
// / ; < = > \ ^. Empty when the text does not start with a word. `rest`,
// when given, receives the text behind the word.
std::string_view FirstWord(std::string_view sql, std::string_view* rest = nullptr);

// True when `name` can stand bare in a statement as a table or column name:
// a letter, '_' or '#', then letters, digits, '_' or '#'.
bool IsPlainName(std::string_view name);

}  // namespace parvex::shell
