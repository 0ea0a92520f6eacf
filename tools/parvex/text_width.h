// Terminal display of text: how many columns UTF-8 text takes, and a form of
// a value's text that is safe to show inside a table cell.
//
// Width rules: ASCII and most characters take one column; East Asian wide and
// full-width characters and emoji take two; combining marks and zero-width
// characters take none; a byte that does not start a valid UTF-8 sequence is
// counted as one column. Cell text replaces line ends, tabs and other control
// bytes by visible escapes (\n, \r, \t, \xNN) so that a value can neither break
// the table's layout nor send control sequences to the terminal.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace parvex::shell {

size_t DisplayWidth(std::string_view text);

// The length of the valid UTF-8 sequence that starts at text[i], 0 when the
// bytes there are not one.
size_t Utf8SequenceLength(std::string_view text, size_t i);

std::string EscapeControlBytes(std::string_view text);

}  // namespace parvex::shell
