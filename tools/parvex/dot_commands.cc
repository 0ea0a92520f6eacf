// The dot-commands of the shell.
#include "dot_commands.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <memory>

#include "csv_import.h"
#include "interrupt.h"
#include "maintenance.h"
#include "schema_dump.h"
#include "shell.h"
#include "sql_words.h"

namespace parvex::shell {
namespace {

// .read files may read others, but not without end.
constexpr int kMaxReadDepth = 16;

using FilePtr = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

FilePtr OpenFile(const std::string& path, const char* mode) { return FilePtr(std::fopen(path.c_str(), mode), std::fclose); }

}  // namespace

const DotCommands::Command DotCommands::kCommands[] = {
    {".bail", "on|off", "stop a script at its first failed statement", 1, 1, &DotCommands::Bail,
     "With bail on, the first failure ends the script it happened in (standard input, a\n"
     "file given to .read); at the terminal the session goes on."},
    {".changes", "on|off", "show how many rows each statement changed", 1, 1, &DotCommands::Changes,
     "After each statement: \"changes: N   total_changes: M\", the rows the statement inserted,\n"
     "updated or deleted, and those of every statement of the session (.import included)."},
    {".check", "", "check the database file for damage (reading it only)", 0, 0, &DotCommands::Check},
    {".dump", "[--postgres|--sqlite] [--no-rowid] [TABLE]",
     "SQL that recreates the database (or TABLE), also in PostgreSQL or sqlite3", 0, 3, &DotCommands::Dump,
     "Schema, rows and indexes in one transaction, with each row's _rowid so that row IDs survive.\n"
     "  --postgres  SQL that psql loads: PostgreSQL types, names quoted where needed, _rowid as\n"
     "              a bigint primary key\n"
     "  --sqlite    SQL that the sqlite3 shell loads (NaN becomes NULL, -0.0 becomes 0.0 there)\n"
     "  --no-rowid  leave the row IDs out\n"
     "Values the target can't hold exactly are counted on standard error."},
    {".echo", "on|off", "print each statement and command before it runs", 1, 1, &DotCommands::Echo},
    {".exit", "", "leave the shell (as .quit)", 0, 0, &DotCommands::Quit},
    {".headers", "on|off", "show column names above results", 1, 1, &DotCommands::Headers},
    {".help", "[COMMAND]", "show this list, or what COMMAND does", 0, 1, &DotCommands::Help},
    {".import", "FILE TABLE", "load CSV (first line names the columns) into TABLE, creating it if needed", 2, 2,
     &DotCommands::Import,
     "The whole file is loaded in one transaction: an error or Ctrl-C leaves the table as it was.\n"
     "A new table gets one column per header name, typed from the values below it: Integer,\n"
     "Double, Boolean (true/false), Date (2001-02-03), Time (04:05:06), Timestamp\n"
     "(2001-02-03 04:05:06), else String. An unquoted field equal to the .nullvalue text\n"
     "(by default the empty field) is NULL; \"\" is an empty text."},
    {".indexes", "[TABLE]", "list the indexes (as TABLE.INDEX, or those of TABLE)", 0, 1, &DotCommands::Indexes},
    {".lastrowid", "TABLE", "the ID of the last row added to TABLE", 1, 1, &DotCommands::LastRowID},
    {".mode", "[MODE]", "show or set the output mode: box, table, markdown, list, csv, json or line", 0, 1,
     &DotCommands::Mode,
     "  box       aligned columns inside line-drawing borders (the default on a terminal)\n"
     "  table     aligned columns inside +-| borders\n"
     "  markdown  a Markdown table\n"
     "  list      values separated by .separator (| by default)\n"
     "  csv       comma-separated values (RFC 4180)\n"
     "  json      one JSON array of objects per query\n"
     "  line      one \"column = value\" line per value"},
    {".nullvalue", "TEXT", "show NULL as TEXT (and read TEXT in CSV as NULL)", 1, 1, &DotCommands::NullValue},
    {".once", "FILE", "send the output of the next statement or command to FILE", 1, 1, &DotCommands::Once},
    {".open", "[FILE]", "close the database and open FILE (none: a new one in memory)", 0, 1, &DotCommands::Open},
    {".output", "[FILE]", "send output to FILE (none: back to standard output)", 0, 1, &DotCommands::Output},
    {".parse", "STATEMENT", "show how the engine reads STATEMENT, as canonical SQL", 1, 1, &DotCommands::Parse,
     nullptr, true},
    {".quit", "", "leave the shell", 0, 0, &DotCommands::Quit},
    {".read", "FILE", "run the statements and commands in FILE", 1, 1, &DotCommands::Read},
    {".schema", "[TABLE]", "the CREATE TABLE and CREATE INDEX statements of the tables (or TABLE)", 0, 1,
     &DotCommands::Schema},
    {".schema-export", "PATH", "write the database's schema data to PATH", 1, 1, &DotCommands::SchemaExport},
    {".schema-import", "PATH", "replace the schema with the schema data in PATH", 1, 1, &DotCommands::SchemaImport},
    {".separator", "COLUMN [ROW]", "the separators of list mode (\\t, \\n and \\\\ allowed)", 1, 2,
     &DotCommands::Separator},
    {".tables", "", "list the tables", 0, 0, &DotCommands::Tables},
    {".timer", "on|off", "show how long each statement takes", 1, 1, &DotCommands::Timer},
    {".warnings", "on|off", "warn when the dialect reads a statement otherwise than it looks", 1, 1,
     &DotCommands::Warnings},
};

bool DotCommands::SplitWords(const std::string& line, std::vector<std::string>* words, std::string* error) {
  words->clear();
  size_t i = 0;
  while (i < line.size()) {
    if (line[i] == ' ' || line[i] == '\t' || line[i] == '\r') {
      ++i;
      continue;
    }
    std::string word;
    if (line[i] == '\'' || line[i] == '"') {
      const char quote = line[i++];
      for (;;) {
        if (i >= line.size()) {
          *error = "Error: unterminated " + std::string(1, quote) + " in the command";
          return false;
        }
        if (line[i] == quote) {
          if (i + 1 < line.size() && line[i + 1] == quote) {
            word.push_back(quote);
            i += 2;
            continue;
          }
          ++i;
          break;
        }
        word.push_back(line[i++]);
      }
    } else {
      while (i < line.size() && line[i] != ' ' && line[i] != '\t' && line[i] != '\r') word.push_back(line[i++]);
    }
    words->push_back(std::move(word));
  }
  return true;
}

std::string DotCommands::HelpText() {
  std::string text =
      "Statements end with ';' and may span lines; -- and /* */ comments are left out. Each\n"
      "statement is committed on its own unless BEGIN (or BEGIN TRANSACTION) starts a\n"
      "transaction that COMMIT or ROLLBACK ends. Lines that start with '.' are commands of\n"
      "the shell (.help COMMAND tells more about one):\n\n";
  for (const Command& command : kCommands) {
    std::string usage = UsageOf(command);
    usage.resize(std::max<size_t>(usage.size() + 2, 26), ' ');
    text += "  " + usage + command.help + "\n";
  }
  return text;
}

std::string DotCommands::UsageOf(const Command& command) {
  return std::string(command.name) + (*command.arguments ? " " : "") + command.arguments;
}

const DotCommands::Command* DotCommands::Find(std::string_view name) {
  for (const Command& command : kCommands) {
    if (SameNoCase(name, command.name)) return &command;
  }
  return nullptr;
}

std::vector<std::string> DotCommands::Names() {
  std::vector<std::string> names;
  for (const Command& command : kCommands) names.emplace_back(command.name);
  return names;
}

void DotCommands::Run(const std::string& line) {
  std::vector<std::string> words;
  std::string error;
  const size_t nameEnd = std::min(line.find_first_of(" \t"), line.size());
  const std::string name = line.substr(0, nameEnd);
  mRest = line.substr(std::min(line.find_first_not_of(" \t", nameEnd), line.size()));
  const Command* command = Find(name);
  if (command == nullptr) {
    mShell.ReportError("Error: unknown command " + name + " (.help lists the commands)");
    return;
  }
  if (command->raw) {
    if (!mRest.empty()) words.push_back(mRest);
  } else if (!SplitWords(mRest, &words, &error)) {
    mShell.ReportError(error);
    return;
  }
  if (words.size() < command->minArgs || words.size() > command->maxArgs) {
    mShell.ReportError("Usage: " + UsageOf(*command));
    return;
  }
  (this->*command->run)(words);
}

bool DotCommands::ParseSwitch(const std::string& word, bool* flag) {
  for (const char* on : {"on", "yes", "true", "1"}) {
    if (SameNoCase(word, on)) {
      *flag = true;
      return true;
    }
  }
  for (const char* off : {"off", "no", "false", "0"}) {
    if (SameNoCase(word, off)) {
      *flag = false;
      return true;
    }
  }
  mShell.ReportError("Error: expected on or off, not " + word);
  return false;
}

void DotCommands::Bail(const Args& args) { ParseSwitch(args[0], &mShell.mBail); }

void DotCommands::Check(const Args&) {
  // The file holds what was committed: a transaction still open is not in it.
  if (mShell.mExplicitTransaction || mShell.mDb.InTransaction()) {
    mShell.ReportError("Error: .check reads the database as committed; COMMIT or ROLLBACK first");
    return;
  }
  std::cout << std::flush;
  const int result = RunCheck(mShell.mDb.handle(), std::cout, std::cerr);
  if (result != kExitClean) mShell.NoteFailure();
}

void DotCommands::Timer(const Args& args) { ParseSwitch(args[0], &mShell.mTimer); }

void DotCommands::Warnings(const Args& args) {
  bool on = false;
  if (ParseSwitch(args[0], &on)) mShell.mWarnings = on;
}

void DotCommands::Headers(const Args& args) {
  bool headers = false;
  if (ParseSwitch(args[0], &headers)) mShell.mOutput.headers = headers;
}

void DotCommands::Help(const Args& args) {
  if (args.empty()) {
    std::cout << HelpText();
    return;
  }
  // ".help mode" and ".help .mode" both work.
  const Command* command = Find(args[0].starts_with('.') ? args[0] : "." + args[0]);
  if (command == nullptr) {
    mShell.ReportError("Error: unknown command " + args[0] + " (.help lists the commands)");
    return;
  }
  std::cout << UsageOf(*command) << "\n  " << command->help << '\n';
  if (command->details != nullptr) std::cout << command->details << '\n';
}

void DotCommands::Echo(const Args& args) { ParseSwitch(args[0], &mShell.mEcho); }

void DotCommands::Changes(const Args& args) { ParseSwitch(args[0], &mShell.mShowChanges); }

void DotCommands::NullValue(const Args& args) { mShell.mOutput.nullText = args[0]; }

void DotCommands::Separator(const Args& args) {
  std::string separators[2];
  for (size_t i = 0; i < args.size(); ++i) {
    if (!ResolveEscapes(args[i], &separators[i])) {
      mShell.ReportError("Error: unknown escape in " + args[i] + " (\\t, \\n, \\r and \\\\ are known)");
      return;
    }
  }
  mShell.mOutput.separator = separators[0];
  if (args.size() > 1) mShell.mOutput.rowSeparator = separators[1];
}

bool DotCommands::ResolveEscapes(const std::string& text, std::string* out) {
  out->clear();
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\') {
      out->push_back(text[i]);
      continue;
    }
    const char next = i + 1 < text.size() ? text[++i] : '\0';
    switch (next) {
      case 't': out->push_back('\t'); break;
      case 'n': out->push_back('\n'); break;
      case 'r': out->push_back('\r'); break;
      case '\\': out->push_back('\\'); break;
      default: return false;
    }
  }
  return true;
}

void DotCommands::Output(const Args& args) {
  std::string error;
  if (!mShell.RedirectOutput(args.empty() ? "" : args[0], false, &error)) mShell.ReportError(error);
}

void DotCommands::Once(const Args& args) {
  std::string error;
  if (!mShell.RedirectOutput(args[0], true, &error)) mShell.ReportError(error);
}

void DotCommands::Open(const Args& args) {
  std::string error;
  if (!mShell.Open(args.empty() ? "" : args[0], &error)) mShell.ReportError(error);
}

void DotCommands::Quit(const Args&) { mShell.mStopped = true; }

void DotCommands::Mode(const Args& args) {
  if (args.empty()) {
    std::cout << OutputModeName(mShell.mOutput.mode) << '\n';
    return;
  }
  if (!ParseOutputMode(args[0], &mShell.mOutput.mode)) {
    mShell.ReportError("Error: unknown mode " + args[0] + " (box, table, markdown, list, csv, json or line)");
  }
}

bool DotCommands::TablesNamed(const Args& args, std::vector<std::string>* tables) {
  const Database& db = mShell.mDb;
  if (args.empty()) {
    *tables = db.Tables();
    return true;
  }
  if (parvex_table_column_count(db.handle(), args[0].c_str()) < 0) {
    mShell.ReportStatus(db.LastStatus());
    return false;
  }
  // The name as the database spells it.
  tables->push_back(args[0]);
  for (const std::string& table : db.Tables()) {
    if (SameNoCase(table, args[0])) tables->back() = table;
  }
  return true;
}

void DotCommands::Schema(const Args& args) {
  std::vector<std::string> tables;
  if (!TablesNamed(args, &tables)) return;
  parvex_db* db = mShell.mDb.handle();
  std::string out;
  for (const std::string& table : tables) {
    const char* name = table.c_str();
    out += "CREATE TABLE " + table + " (";
    for (int c = 0; c < parvex_table_column_count(db, name); ++c) {
      const char* type = parvex_type_name(parvex_table_column_type(db, name, c));
      out += (c > 0 ? ", " : "") + std::string(parvex_table_column_name(db, name, c)) + " " + (type ? type : "String");
    }
    out += ");\n";
    for (int i = 0; i < parvex_index_count(db, name); ++i) {
      std::string columns;
      bool complete = parvex_index_column_count(db, name, i) > 0;
      for (int c = 0; complete && c < parvex_index_column_count(db, name, i); ++c) {
        // An index over a column that was dropped since can't be written.
        const char* column = parvex_index_column_name(db, name, i, c);
        complete = column != nullptr;
        if (complete) columns += (c > 0 ? ", " : "") + std::string(column);
      }
      if (complete) out += "CREATE INDEX " + std::string(parvex_index_name(db, name, i)) + " ON " + table + " (" + columns + ");\n";
    }
  }
  std::cout << out;
}

void DotCommands::Indexes(const Args& args) {
  std::vector<std::string> tables;
  if (!TablesNamed(args, &tables)) return;
  parvex_db* db = mShell.mDb.handle();
  std::string out;
  for (const std::string& table : tables) {
    for (int i = 0; i < parvex_index_count(db, table.c_str()); ++i) {
      if (args.empty()) out += table + ".";
      out += std::string(parvex_index_name(db, table.c_str(), i)) + "\n";
    }
  }
  std::cout << out;
}

void DotCommands::Dump(const Args& args) {
  DumpOptions options;
  Args names;
  for (const std::string& arg : args) {
    if (arg == "--postgres" || arg == "--sqlite") {
      options.target = arg == "--postgres" ? SqlTarget::kPostgres : SqlTarget::kSqlite;
    } else if (arg == "--no-rowid") {
      options.rowIDs = false;
    } else if (arg.rfind("--", 0) == 0 || !names.empty()) {
      mShell.ReportError("Error: .dump: unknown option or extra word " + arg);
      return;
    } else {
      names.push_back(arg);
    }
  }
  std::vector<std::string> tables;
  if (!TablesNamed(names, &tables)) return;
  DumpReport report;
  // Written to the terminal, the dump is its own progress.
  WriteDump(mShell.mDb, tables, options, std::cout, [] { return InterruptRequested(); }, !mShell.OutputIsTerminal(),
            &report);
  std::cout << std::flush;
  if (report.damaged) {
    mShell.ReportStatus(*report.damaged);
    return;
  }
  for (const std::string& column : report.textColumns) std::cerr << "warning: .dump: " << column << '\n';
  if (report.inexactValues > 0) {
    std::string places;
    // Places for other engines carry a reason after a colon.
    const char* separator = options.target == SqlTarget::kParvex ? ", " : "; ";
    for (const std::string& place : report.inexactPlaces) places += (places.empty() ? "" : separator) + place;
    const char* what = "have no exact form in SQL and were written as the closest text";
    if (options.target == SqlTarget::kPostgres) what = "cannot be held exactly by PostgreSQL";
    if (options.target == SqlTarget::kSqlite) what = "cannot be held exactly by sqlite3";
    std::cerr << "warning: .dump: " << report.inexactValues << " value(s) " << what << " (" << places
              << (report.inexactValues > report.inexactPlaces.size() ? separator + std::string("...") : "") << ")\n";
  }
}

void DotCommands::Parse(const Args& args) {
  std::string_view text = args[0];
  while (!text.empty() && (text.back() == ';' || text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  const Statement statement = mShell.mDb.Prepare(std::string(text));
  if (!statement.valid()) {
    mShell.ReportStatus(statement.status());
    return;
  }
  std::cout << statement.Sql() << '\n';
}

void DotCommands::Tables(const Args&) {
  std::string out;
  for (const std::string& table : mShell.mDb.Tables()) out += table + '\n';
  std::cout << out;
}

void DotCommands::LastRowID(const Args& args) {
  const int64_t rowID = mShell.mDb.LastRowID(args[0]);
  if (rowID < 0) {
    mShell.ReportStatus(mShell.mDb.LastStatus());
    return;
  }
  std::cout << rowID << '\n';
}

void DotCommands::SchemaExport(const Args& args) {
  Status status;
  const std::string data = mShell.mDb.ExportSchema(&status);
  if (!status) {
    mShell.ReportStatus(status);
    return;
  }
  FilePtr file = OpenFile(args[0], "wb");
  const bool written = file && std::fwrite(data.data(), 1, data.length(), file.get()) == data.length();
  if (!written || std::fclose(file.release()) != 0) {
    mShell.ReportError("Error: cannot write " + args[0] + ": " + std::strerror(errno));
  }
}

void DotCommands::SchemaImport(const Args& args) {
  FilePtr file = OpenFile(args[0], "rb");
  if (!file) {
    mShell.ReportError("Error: cannot open " + args[0] + ": " + std::strerror(errno));
    return;
  }
  std::string bytes;
  char buffer[1 << 16];
  size_t count;
  while ((count = std::fread(buffer, 1, sizeof buffer, file.get())) > 0) bytes.append(buffer, count);
  if (std::ferror(file.get())) {
    mShell.ReportError("Error: cannot read " + args[0] + ": " + std::strerror(errno));
    return;
  }
  const Status status = mShell.mDb.ReplaceSchema(bytes);
  if (!status) mShell.ReportStatus(status);
}

void DotCommands::Read(const Args& args) {
  if (mShell.mReadDepth >= kMaxReadDepth) {
    mShell.ReportError("Error: .read files nested more than " + std::to_string(kMaxReadDepth) + " deep");
    return;
  }
  FilePtr file = OpenFile(args[0], "rb");
  if (!file) {
    mShell.ReportError("Error: cannot open " + args[0] + ": " + std::strerror(errno));
    return;
  }
  StreamLineSource source(file.get(), args[0]);
  ++mShell.mReadDepth;
  mShell.Run(source);
  --mShell.mReadDepth;
}

void DotCommands::Import(const Args& args) {
  ImportReport report;
  std::string error;
  bool changed = false;
  const std::string nullText = mShell.mOutput.nullText.value_or("");
  const bool loaded = ImportCsv(mShell.mDb, args[0], args[1], nullText, &report, &error, &changed);
  for (const std::string& note : report.notes) std::cerr << "note: " << note << '\n';
  if (!loaded) {
    mShell.ReportError("Error: .import: " + error);
    if (changed) mShell.FinishChange(true, false);
    if (report.createdTable && mShell.mExplicitTransaction) {
      std::cerr << "note: the new table " << args[1] << " stays, empty, until the transaction ends\n";
    }
    return;
  }
  mShell.FinishChange(false, false);
  mShell.mTotalChanges += static_cast<int64_t>(report.rows);
  if (mShell.mInteractive) {
    std::cout << "Imported " << report.rows << (report.rows == 1 ? " row" : " rows") << " into " << args[1]
              << (report.createdTable ? " (new table: " + report.columns + ")." : ".") << '\n';
  }
}

}  // namespace parvex::shell
