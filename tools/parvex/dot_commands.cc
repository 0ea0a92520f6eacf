// The dot-commands of the shell.
#include "dot_commands.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <memory>

#include "core/status.h"
#include "csv_import.h"
#include "db/database.h"
#include "interrupt.h"
#include "maintenance.h"
#include "schema_dump.h"
#include "shell.h"
#include "sql/binder.h"
#include "sql/parser.h"

namespace parvex::shell {
namespace {

// .read files may read others, but not without end.
constexpr int kMaxReadDepth = 16;

using FilePtr = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

FilePtr OpenFile(const std::string& path, const char* mode) { return FilePtr(std::fopen(path.c_str(), mode), std::fclose); }

}  // namespace

const DotCommands::Command DotCommands::kCommands[] = {
    {".bail", "on|off", "stop at the first failed statement", 1, 1, &DotCommands::Bail},
    {".check", "", "check the database file for damage (reading it only)", 0, 0, &DotCommands::Check},
    {".dump", "[--postgres|--sqlite] [--no-rowid] [TABLE]",
     "SQL that recreates the database (or TABLE), also in PostgreSQL or sqlite3", 0, 3, &DotCommands::Dump},
    {".exit", "", "leave the shell (as .quit)", 0, 0, &DotCommands::Quit},
    {".headers", "on|off", "show column names above results", 1, 1, &DotCommands::Headers},
    {".help", "", "show this list", 0, 0, &DotCommands::Help},
    {".import", "FILE TABLE", "load CSV (first line names the columns) into TABLE, creating it if needed", 2, 2,
     &DotCommands::Import},
    {".indexes", "[TABLE]", "list the indexes (as TABLE.INDEX, or those of TABLE)", 0, 1, &DotCommands::Indexes},
    {".lastrowid", "TABLE", "the ID of the last row added to TABLE", 1, 1, &DotCommands::LastRowID},
    {".mode", "[MODE]", "show or set the output mode: box, list, csv, json or line", 0, 1, &DotCommands::Mode},
    {".parse", "STATEMENT", "show how the engine reads STATEMENT, as canonical SQL", 1, 1, &DotCommands::Parse,
     true},
    {".quit", "", "leave the shell", 0, 0, &DotCommands::Quit},
    {".read", "FILE", "run the statements and commands in FILE", 1, 1, &DotCommands::Read},
    {".schema", "[TABLE]", "the CREATE TABLE and CREATE INDEX statements of the tables (or TABLE)", 0, 1,
     &DotCommands::Schema},
    {".schema-export", "PATH", "write the database's schema data to PATH", 1, 1, &DotCommands::SchemaExport},
    {".schema-import", "PATH", "replace the schema with the schema data in PATH", 1, 1, &DotCommands::SchemaImport},
    {".tables", "", "list the tables", 0, 0, &DotCommands::Tables},
    {".timer", "on|off", "show how long each statement takes", 1, 1, &DotCommands::Timer},
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
      "Statements end with ';' and may span lines. Each statement is committed on its own\n"
      "unless BEGIN (or BEGIN TRANSACTION) starts a transaction that COMMIT or ROLLBACK ends.\n"
      "Lines that start with '.' are commands of the shell:\n\n";
  for (const Command& command : kCommands) {
    std::string usage = std::string(command.name) + (*command.arguments ? " " : "") + command.arguments;
    usage.resize(std::max<size_t>(usage.size() + 2, 26), ' ');
    text += "  " + usage + command.help + "\n";
  }
  return text;
}

void DotCommands::Run(const std::string& line) {
  std::vector<std::string> words;
  std::string error;
  const size_t nameEnd = std::min(line.find_first_of(" \t"), line.size());
  const std::string name = line.substr(0, nameEnd);
  mRest = line.substr(std::min(line.find_first_not_of(" \t", nameEnd), line.size()));
  for (const Command& command : kCommands) {
    if (CompareNoCase(name, command.name) != 0) continue;
    if (command.raw) {
      if (!mRest.empty()) words.push_back(mRest);
    } else if (!SplitWords(mRest, &words, &error)) {
      mShell.ReportError(error);
      return;
    }
    if (words.size() < command.minArgs || words.size() > command.maxArgs) {
      mShell.ReportError(std::string("Usage: ") + command.name + (*command.arguments ? " " : "") +
                         command.arguments);
      return;
    }
    (this->*command.run)(words);
    return;
  }
  mShell.ReportError("Error: unknown command " + name + " (.help lists the commands)");
}

bool DotCommands::ParseSwitch(const std::string& word, bool* flag) {
  for (const char* on : {"on", "yes", "true", "1"}) {
    if (CompareNoCase(word, on) == 0) {
      *flag = true;
      return true;
    }
  }
  for (const char* off : {"off", "no", "false", "0"}) {
    if (CompareNoCase(word, off) == 0) {
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
  if (mShell.mExplicitTransaction || mShell.mDatabase->TransactionInProgress()) {
    mShell.ReportError("Error: .check reads the database as committed; COMMIT or ROLLBACK first");
    return;
  }
  std::cout << std::flush;
  const int result = RunCheck(*mShell.mDatabase, mShell.mName, std::cout, std::cerr);
  if (result != kExitClean) mShell.NoteFailure();
}

void DotCommands::Timer(const Args& args) { ParseSwitch(args[0], &mShell.mTimer); }

void DotCommands::Headers(const Args& args) {
  bool headers = false;
  if (ParseSwitch(args[0], &headers)) mShell.mOutput.headers = headers;
}

void DotCommands::Help(const Args&) { std::cout << HelpText(); }

void DotCommands::Quit(const Args&) { mShell.mStopped = true; }

void DotCommands::Mode(const Args& args) {
  if (args.empty()) {
    std::cout << OutputModeName(mShell.mOutput.mode) << '\n';
    return;
  }
  if (!ParseOutputMode(args[0], &mShell.mOutput.mode)) {
    mShell.ReportError("Error: unknown mode " + args[0] + " (box, list, csv, json or line)");
  }
}

bool DotCommands::TablesNamed(const Args& args, std::vector<const ParvexTable*>* tables) {
  ParvexStatus status;
  *tables = TablesToDescribe(*mShell.mDatabase, args.empty() ? "" : args[0], &status);
  if (!IsErrorState(status.State())) return true;
  mShell.ReportStatus(status);
  return false;
}

void DotCommands::Schema(const Args& args) {
  std::vector<const ParvexTable*> tables;
  if (!TablesNamed(args, &tables)) return;
  std::string out;
  for (const ParvexTable* table : tables) {
    bool inexact = false;
    out += CreateTableSql(*table, &inexact) + "\n";
    for (const std::string& index : CreateIndexSql(*table)) out += index + "\n";
  }
  std::cout << out;
}

void DotCommands::Indexes(const Args& args) {
  std::vector<const ParvexTable*> tables;
  if (!TablesNamed(args, &tables)) return;
  std::string out;
  for (const ParvexTable* table : tables) {
    SimpleVector<string> names;
    table->GetIndexNames(&names);
    for (const string& name : names) {
      if (args.empty()) out += table->name.str() + ".";
      out += name.str() + "\n";
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
  std::vector<const ParvexTable*> tables;
  if (!TablesNamed(names, &tables)) return;
  DumpReport report;
  // Written to the terminal, the dump is its own progress.
  WriteDump(tables, options, std::cout, [] { return InterruptRequested(); }, isatty(STDOUT_FILENO) == 0, &report);
  std::cout << std::flush;
  if (report.damaged) {
    mShell.ReportStatus(report.damaged->DamageStatus());
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
  ParvexSQLParser parser;
  const string& escape = mShell.mDatabase->escapeOption;
  parser.SetEscape(escape.empty() ? 0 : escape.data()[0]);
  const auto node = parser.Evaluate(string(text, kEncodingUTF8));
  if (parser.LastError() != ParvexSQLParser::kNoError || node == nullptr) {
    mShell.ReportStatus(ParvexStatus(kPXDynamicSQLError, ParvexSQLParser::ErrorMessage(parser.LastError())));
    return;
  }
  std::cout << node->Description().view() << '\n';
}

void DotCommands::Tables(const Args&) {
  const SimpleVector<ParvexTable*>& tables = mShell.mDatabase->tables;
  std::string out;
  // Entry 0 is the schema table.
  for (size_t i = 1; i < tables.size(); ++i) {
    out += tables[i]->name.view();
    out += '\n';
  }
  std::cout << out;
}

void DotCommands::LastRowID(const Args& args) {
  ParvexStatus status;
  const ParvexTable* table = BindTable(*mShell.mDatabase, string(args[0], kEncodingUTF8), &status);
  if (table == nullptr) {
    mShell.ReportStatus(status);
    return;
  }
  std::cout << table->lastRowID << '\n';
}

void DotCommands::SchemaExport(const Args& args) {
  ParvexStatus status;
  const string data = mShell.mDatabase->GetSchemaData(&status);
  if (IsErrorState(status.State())) {
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
  ParvexStatus status;
  mShell.mDatabase->ReplaceSchemaData(string(bytes.data(), bytes.size(), kEncodingDefault), &status);
  if (IsErrorState(status.State())) mShell.ReportStatus(status);
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
  StreamLineSource source(file.get());
  ++mShell.mReadDepth;
  mShell.Run(source);
  --mShell.mReadDepth;
}

void DotCommands::Import(const Args& args) {
  ImportReport report;
  std::string error;
  bool changed = false;
  const bool loaded = ImportCsv(*mShell.mDatabase, args[0], args[1], &report, &error, &changed);
  for (const std::string& note : report.notes) std::cerr << "note: " << note << '\n';
  if (!loaded) {
    mShell.ReportError("Error: .import: " + error);
    if (changed) mShell.FinishChange(true, false);
    return;
  }
  mShell.FinishChange(false, false);
  if (mShell.mInteractive) {
    std::cout << "Imported " << report.rows << (report.rows == 1 ? " row" : " rows") << " into " << args[1]
              << (report.createdTable ? " (new table)." : ".") << '\n';
  }
}

}  // namespace parvex::shell
