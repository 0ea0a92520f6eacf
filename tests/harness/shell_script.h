// Shell scripts: runs of the real parvex shell, with their standard input,
// compared with a transcript of what they printed.
//
// A script NAME.sql holds commands on lines that start with '$'; before the
// first one only comments and blank lines (its description):
//   $ parvex ARG...        runs the shell with these arguments; the lines up
//                          to the next '$' line are its standard input.
//                          "< FILE" puts FILE before them, "> FILE" sends the
//                          standard output to FILE instead of the transcript
//   $ write FILE TEXT...   writes FILE, the texts joined
//   $ cat FILE [N]         shows the bytes of FILE (its first N bytes)
//   $ truncate FILE N      cuts the last N bytes off FILE
//   $ poke FILE TEXT D BYTES  writes BYTES over FILE at D bytes (D may be
//                          negative) from where TEXT first occurs in it: damage
//                          placed by what the file holds, not by offsets
// Arguments are words separated by blanks, or quoted: '...' as it stands,
// "..." with the escapes \n \r \t \0 \\ \" \xHH. Every script runs in a
// folder of its own (also the shell's HOME), so relative paths such as
// test.pvx name files there.
//
// The transcript, kept as NAME.out beside the script, shows every '$' line as
// written and after it: for a run, the standard output as it came, then each
// line of the standard error prefixed "2> ", then "[exit N]" when the exit
// status is not 0; for cat, the bytes of the file (bytes outside printable
// ASCII as \xHH). Output that does not end with a line end is followed by
// "[no line end]". The times of .timer show as "Run Time: ...".
#pragma once

#include <filesystem>

namespace parvex::testing {

void RunShellScript(const std::filesystem::path& script);

}  // namespace parvex::testing
