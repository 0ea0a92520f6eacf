/* Parvex: an embedded SQL database engine that keeps a whole database in one
 * file. This is its C interface, the one every embedding program uses (the
 * C++ layer <parvex/parvex.hpp> and the Python module are built on it).
 *
 *   parvex_db* db;
 *   if (parvex_open("my.pvx", PARVEX_OPEN_CREATE, 0, &db) != PARVEX_OK) {
 *     fprintf(stderr, "%s\n", parvex_errmsg(db));   // db is still closed below
 *   }
 *   parvex_exec(db, "CREATE TABLE t (a Integer, b String)");
 *   parvex_stmt* insert;
 *   parvex_prepare(db, "INSERT INTO t VALUES (?, ?)", &insert);
 *   parvex_bind_int(insert, 1, 42);
 *   parvex_bind_text(insert, 2, "Zoë", -1);
 *   parvex_step(insert);                                 // PARVEX_DONE
 *   parvex_finalize(insert);
 *   parvex_commit(db);
 *   parvex_close(db);
 *
 * Conventions, which every function below keeps:
 * - Text is UTF-8 everywhere: statements, names, bound and read text.
 * - Functions that can fail return PARVEX_OK (0) or PARVEX_ERROR; then
 *   parvex_sqlstate() and parvex_errmsg() of the database say what failed,
 *   until the next call on that database. Warnings and "no data" (a SELECT
 *   that finds nothing) are not failures.
 * - Handles are opaque. The caller owns what parvex_open, parvex_prepare and
 *   the check/recover functions hand out, and gives it back with
 *   parvex_close, parvex_finalize and parvex_report_free. Every statement of
 *   a database must be finalized before the database is closed.
 * - Pointers returned by the library (texts, blobs, names) belong to it.
 *   Unless a function says otherwise they stay valid until the next call
 *   that changes what they describe (the next step, reset or finalize for a
 *   column's value; the next statement for table and index lists; the next
 *   call on the database for error texts). Copy what you keep.
 * - NULL handles are tolerated: a function given one returns PARVEX_ERROR,
 *   0, or NULL.
 * - Statements never commit by themselves: changes stay pending until
 *   parvex_commit (or a COMMIT statement); closing without a commit
 *   discards them. A read-write database holds its file exclusively until it
 *   is closed.
 * - The engine is single-threaded: use a database and its statements from
 *   one thread at a time. Only parvex_interrupt may be called from another
 *   thread or from a signal handler.
 */
#ifndef PARVEX_PARVEX_H
#define PARVEX_PARVEX_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define PARVEX_VERSION "1.0.0"
#define PARVEX_VERSION_NUMBER 1000000 /* major * 1000000 + minor * 1000 + patch */

/* The library's version: PARVEX_VERSION of the library actually linked. */
const char* parvex_version(void);

typedef struct parvex_db parvex_db;
typedef struct parvex_stmt parvex_stmt;
typedef struct parvex_report parvex_report;

/* Result codes. */
#define PARVEX_OK 0
#define PARVEX_ERROR 1
#define PARVEX_ROW 100  /* parvex_step: a row is ready */
#define PARVEX_DONE 101 /* parvex_step: the statement has run to its end */

/* Value types: what parvex_column_type and parvex_table_column_type report. */
#define PARVEX_TYPE_NULL 0 /* an expression without a type (SELECT NULL) */
#define PARVEX_TYPE_INTEGER 3
#define PARVEX_TYPE_STRING 5
#define PARVEX_TYPE_DOUBLE 7
#define PARVEX_TYPE_DATE 8
#define PARVEX_TYPE_TIME 9
#define PARVEX_TYPE_TIMESTAMP 10
#define PARVEX_TYPE_BOOLEAN 12
#define PARVEX_TYPE_BINARY 14

/* ---- Opening and closing ------------------------------------------------ */

#define PARVEX_OPEN_CREATE 1   /* a missing (or empty) file becomes a new database */
#define PARVEX_OPEN_READONLY 2 /* shared lock; statements that change something fail with 25006 */
#define PARVEX_OPEN_NOSYNC 4   /* commits skip fsync: atomic against a kill, not a power loss */
#define PARVEX_OPEN_MEMORY 8   /* a new, transient database in memory: `path` only names it, no file is
                                  touched, everything is gone at parvex_close (CREATE is implied, READONLY
                                  and NOSYNC are ignored) */

/* Opens the database file at `path` with PARVEX_OPEN_* `flags`, waiting up to
 * `lock_timeout_ms` milliseconds for another process to let go of it (0:
 * fail at once with 55006). *db always receives a handle, also on failure
 * (except when memory runs out: then NULL): a failed open returns
 * PARVEX_ERROR and leaves a handle that only reports the error and must be
 * closed. */
int parvex_open(const char* path, int flags, int lock_timeout_ms, parvex_db** db);
/* Discards uncommitted changes, releases the file and frees the handle.
 * PARVEX_ERROR (nothing closed) while statements of the database are not
 * finalized. */
int parvex_close(parvex_db* db);

/* ---- Errors -------------------------------------------------------------- */

/* The five-character SQLSTATE of the last call on the database: "00000"
 * success, "01..." warning, "02000" no data, anything else an error. */
const char* parvex_sqlstate(parvex_db* db);
/* The message of the last call ("" after a success). */
const char* parvex_errmsg(parvex_db* db);

/* After parvex_exec or parvex_prepare failed with 07000 because the text
 * does not parse: the byte offset, in that text, of the token where the
 * parser stopped making sense of it (the text's length when it ended too
 * soon), for pointing at it. -1 when the last statement parsed. */
int64_t parvex_error_offset(parvex_db* db);

/* Asks the statement running on the database to stop at its next check: it
 * then fails with "Error: Interrupted.". Safe from another thread or a
 * signal handler. A request made while nothing runs is dropped when the next
 * statement starts. */
void parvex_interrupt(parvex_db* db);

/* ---- Statements ---------------------------------------------------------- */

/* Runs one statement (a SELECT's rows are read and dropped). A `;` ends the
 * statement: text after it is not read (the shell splits scripts). */
int parvex_exec(parvex_db* db, const char* sql);

/* Parses one statement into *stmt (NULL on failure). The text may hold
 * placeholders where a literal may stand: `?` takes the number after the
 * highest so far, `?NNN` (1 to 32767) names its own. Placeholders are bound
 * as typed values, never through SQL text; an unbound one is NULL. */
int parvex_prepare(parvex_db* db, const char* sql, parvex_stmt** stmt);
/* Frees the statement (NULL is fine). */
void parvex_finalize(parvex_stmt* stmt);
/* Makes the statement ready to run again; bindings stay. */
int parvex_reset(parvex_stmt* stmt);
/* Runs the statement or moves to its next row. A SELECT runs at the first
 * step (the whole result is computed then) and returns PARVEX_ROW per row,
 * then PARVEX_DONE; any other statement runs and returns PARVEX_DONE.
 * PARVEX_ERROR when it fails. After PARVEX_DONE or PARVEX_ERROR, a further
 * step runs the statement again. */
int parvex_step(parvex_stmt* stmt);

/* Statement kinds, from parvex_stmt_kind. */
#define PARVEX_KIND_SELECT 1
#define PARVEX_KIND_INSERT 2
#define PARVEX_KIND_UPDATE 3
#define PARVEX_KIND_DELETE 4
#define PARVEX_KIND_CREATE_TABLE 5
#define PARVEX_KIND_ALTER_TABLE 6
#define PARVEX_KIND_DROP_TABLE 7
#define PARVEX_KIND_CREATE_INDEX 8
#define PARVEX_KIND_DROP_INDEX 9
#define PARVEX_KIND_COMMIT 10
#define PARVEX_KIND_ROLLBACK 11
#define PARVEX_KIND_SET 12
int parvex_stmt_kind(parvex_stmt* stmt);
/* The statement as canonical SQL text (keywords in upper case, infix
 * operations parenthesised, placeholders as `?` or `?NNN`). Valid until the
 * statement is finalized. */
const char* parvex_stmt_sql(parvex_stmt* stmt);
/* The highest placeholder number in the statement. */
int parvex_bind_parameter_count(parvex_stmt* stmt);

/* Binding: `index` counts from 1. PARVEX_ERROR for an index the statement
 * has no placeholder for, and while a SELECT's rows are being read (reset
 * first). Values are copied. */
int parvex_bind_null(parvex_stmt* stmt, int index);
/* Integers are 32-bit in the engine: a value outside -2147483648 ..
 * 2147483647 is refused (22023). */
int parvex_bind_int(parvex_stmt* stmt, int index, int64_t value);
int parvex_bind_double(parvex_stmt* stmt, int index, double value);
int parvex_bind_bool(parvex_stmt* stmt, int index, int value);
/* UTF-8 text of `length` bytes, or up to its NUL when `length` is negative. */
int parvex_bind_text(parvex_stmt* stmt, int index, const char* text, int64_t length);
/* Bytes, zero bytes included; `data` may be NULL when `length` is 0. */
int parvex_bind_blob(parvex_stmt* stmt, int index, const void* data, size_t length);
/* Dates and times as text: "YYYY-MM-DD", "HH:MM:SS", "YYYY-MM-DD HH:MM:SS"
 * (a fraction of a second may follow). Refused (22023) when the text does
 * not have that form. */
int parvex_bind_date(parvex_stmt* stmt, int index, const char* text);
int parvex_bind_time(parvex_stmt* stmt, int index, const char* text);
int parvex_bind_timestamp(parvex_stmt* stmt, int index, const char* text);
/* Sets every placeholder back to NULL. */
int parvex_clear_bindings(parvex_stmt* stmt);

/* Result columns of a SELECT, known once a step has run it (0 before, and
 * for other statements); they stay readable after PARVEX_DONE until the next
 * step, reset or finalize. `column` counts from 0. */
int parvex_column_count(parvex_stmt* stmt);
/* The column's name: its alias, its source column's name, or the
 * expression's canonical text. */
const char* parvex_column_name(parvex_stmt* stmt, int column);
/* The column's type (PARVEX_TYPE_*). */
int parvex_column_type(parvex_stmt* stmt, int column);

/* Values of the current row (after parvex_step returned PARVEX_ROW). A
 * column out of range reads as NULL. */
int parvex_column_is_null(parvex_stmt* stmt, int column);
/* An Integer or Boolean as it is; a Double truncated; text read as its
 * leading decimal number; NULL as 0. */
int64_t parvex_column_int(parvex_stmt* stmt, int column);
/* A Double as it is; an Integer or Boolean as that number; text read as its
 * leading decimal number; NULL as 0.0. */
double parvex_column_double(parvex_stmt* stmt, int column);
/* The value as UTF-8 text, NUL-terminated: a String or Binary as its bytes,
 * a Date, Time or Timestamp as "YYYY-MM-DD", "HH:MM:SS", "YYYY-MM-DD
 * HH:MM:SS", an Integer in decimal, a Double as the shortest text that
 * reads back as the same number ("1.5", "2", "1e+20", "nan", "-inf"), a
 * Boolean as TRUE or FALSE. NULL for SQL NULL. */
const char* parvex_column_text(parvex_stmt* stmt, int column);
/* The bytes of a String or Binary (zero bytes included), the text of any
 * other value; NULL for SQL NULL. parvex_column_bytes is their count. */
const void* parvex_column_blob(parvex_stmt* stmt, int column);
size_t parvex_column_bytes(parvex_stmt* stmt, int column);
/* The value as an SQL literal that reads back as the same value ("NULL",
 * "42", "'it''s'", "DATE '2001-02-03'"...). */
const char* parvex_column_literal(parvex_stmt* stmt, int column);

/* The escape character that `SET ESCAPE` put in force for string literals
 * (a byte: a quote behind it stays inside the literal), or 0 when none is.
 * Programs that cut SQL text into statements need it to see where literals
 * end. */
int parvex_escape_char(parvex_db* db);

/* ---- Transactions and counters ------------------------------------------- */

/* Rows the last INSERT, UPDATE or DELETE inserted, updated or deleted (0
 * after any other statement). */
int64_t parvex_changes(parvex_db* db);
/* The row ID of the last row an INSERT added through this handle (0 before
 * any). */
int64_t parvex_last_insert_row_id(parvex_db* db);
/* The row ID the last row added to `table` got in this session (0 when none
 * was added); -1 when there is no such table (the error, 42S02, says so). */
int64_t parvex_last_row_id(parvex_db* db, const char* table);
/* Writes every pending change as one atomic, durable unit. On PARVEX_ERROR
 * nothing was committed and the transaction has been rolled back: run it
 * again once the cause (disk full, say) is mended. */
int parvex_commit(parvex_db* db);
/* Discards every pending change. */
int parvex_rollback(parvex_db* db);
/* 1 while changes are pending, else 0. */
int parvex_in_transaction(parvex_db* db);

/* ---- Schema ---------------------------------------------------------------- */

/* The whole schema as one block of bytes ("SCHEMADA" and the schema's
 * data), for parvex_schema_replace on another database. *data receives a
 * buffer that the caller frees with parvex_free. Refused (25S02) while a
 * transaction is in progress. */
int parvex_schema_export(parvex_db* db, void** data, size_t* length);
/* Replaces the schema with an exported one (tables' data files are kept by
 * name). Refused while a transaction is in progress. */
int parvex_schema_replace(parvex_db* db, const void* data, size_t length);
void parvex_free(void* data);

/* The open user tables in load order (the schema table `_schema` is not
 * listed). Names stay valid until the next statement on the database. */
int parvex_table_count(parvex_db* db);
const char* parvex_table_name(parvex_db* db, int table);
/* The user columns of the table called `table` (any letter case; -1 when
 * there is none), in order; the hidden `_rowid` is not listed. */
int parvex_table_column_count(parvex_db* db, const char* table);
const char* parvex_table_column_name(parvex_db* db, const char* table, int column);
int parvex_table_column_type(parvex_db* db, const char* table, int column);
/* The type's name as CREATE TABLE takes it ("Integer", "String", ...). */
const char* parvex_type_name(int type);
/* The column's DEFAULT as an SQL literal, or NULL when it has none; valid
 * until the next call on the database. */
const char* parvex_table_column_default(parvex_db* db, const char* table, int column);
/* The table's indexes, and the columns each covers, in key order. */
int parvex_index_count(parvex_db* db, const char* table);
const char* parvex_index_name(parvex_db* db, const char* table, int index);
int parvex_index_column_count(parvex_db* db, const char* table, int index);
const char* parvex_index_column_name(parvex_db* db, const char* table, int index, int column);

/* ---- Warnings about the dialect's traps ----------------------------------- */

/* Some statements run without an error yet do not do what they seem to say,
 * because the dialect reads them its own way. parvex_warnings reads `sql` as
 * parvex_exec would, without running it, and returns how many such places
 * it has (0 for a statement that means what it says, and for one that does
 * not parse: running it reports the error); -1 for a NULL or closed
 * database. The warnings are read with the functions below, by index from
 * 0, and stay until the next parvex_warnings call on the database or its
 * close. Each has a kind, a message saying what the statement does instead,
 * and a hint saying how to write what was probably meant. */
#define PARVEX_WARNING_UNREAD_TEXT 1       /* text the parser left unread (`!=`, `LIMIT 2`, ...) */
#define PARVEX_WARNING_DROPPED_NOT 2       /* a leading NOT, which the dialect discards */
#define PARVEX_WARNING_ARITHMETIC 3        /* arithmetic that keeps its left operand or cuts a Double */
#define PARVEX_WARNING_DOUBLE_COMPARISON 4 /* a comparison done on the whole parts of Doubles */
#define PARVEX_WARNING_DOUBLE_ORDER 5      /* ORDER BY a Double, which sorts by text */
#define PARVEX_WARNING_ORDER_SKIPPED 6     /* ORDER BY a name that is no result column */
int parvex_warnings(parvex_db* db, const char* sql);
/* The statement as it was read, as canonical SQL ("" when it did not parse). */
const char* parvex_warnings_sql(parvex_db* db);
/* A warning's PARVEX_WARNING_* kind; 0 for an index out of range. */
int parvex_warning_kind(parvex_db* db, int warning);
/* NULL for an index out of range. */
const char* parvex_warning_message(parvex_db* db, int warning);
const char* parvex_warning_hint(parvex_db* db, int warning);

/* ---- Checking and recovering files --------------------------------------- */

/* Checks the database file at `path` without writing to it (a shared lock;
 * a writer refuses it with 55006). *report receives a report in every case
 * (NULL only when memory runs out); PARVEX_ERROR when the check could not
 * run (parvex_report_sqlstate and _errmsg say why). */
int parvex_check_file(const char* path, parvex_report** report);
/* Checks an open database as last committed; refused while a transaction is
 * in progress. */
int parvex_check_db(parvex_db* db, parvex_report** report);
/* Copies what can be read of the damaged database `from` into the new
 * database `to` (which must not exist). PARVEX_ERROR when recovery could not
 * run; the report then holds what was done before it stopped. */
int parvex_recover_file(const char* from, const char* to, parvex_report** report);

/* 1 when the check found no damage, or the recovery copied everything. */
int parvex_report_clean(const parvex_report* report);
/* The report's lines, in order: problems and notes ("note: ..."), or what
 * recovery copied and skipped. The summary line is not among them. */
size_t parvex_report_line_count(const parvex_report* report);
const char* parvex_report_line(const parvex_report* report, size_t line);
/* "ok: ...", "damaged: N problems ..." or "recovered: ..." with the counts,
 * naming the checked or written file. */
const char* parvex_report_summary(const parvex_report* report);
/* Why the check or recovery could not run ("00000" and "" when it ran). */
const char* parvex_report_sqlstate(const parvex_report* report);
const char* parvex_report_errmsg(const parvex_report* report);
void parvex_report_free(parvex_report* report);

/* ---- Built-in self-check ---------------------------------------------------- */

/* Cases that exercise the linked library's parts: value and file-format
 * round trips in memory, parser and expression cases, a transaction cycle on
 * a temporary file (in $TMPDIR, removed afterwards). */
int parvex_self_check_count(void);
const char* parvex_self_check_name(int index);
/* Runs one case: PARVEX_OK when it passes; *message (when given) receives ""
 * or what the case saw instead of what it expected, valid until the next
 * run. Not thread-safe. */
int parvex_self_check_run(int index, const char** message);

#ifdef __cplusplus
}
#endif

#endif /* PARVEX_PARVEX_H */
