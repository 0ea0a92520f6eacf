/* Parvex from C: create a table, insert rows through one prepared
 * statement, commit, and read them back. Usage: example_c FILE */
#include <parvex/parvex.h>
#include <stdio.h>

static int fail(parvex_db* db, const char* what) {
  fprintf(stderr, "%s: [%s] %s\n", what, parvex_sqlstate(db), parvex_errmsg(db));
  parvex_close(db);
  return 1;
}

int main(int argc, char** argv) {
  parvex_db* db;
  if (argc != 2) return 2;
  if (parvex_open(argv[1], PARVEX_OPEN_CREATE, 0, &db) != PARVEX_OK) return fail(db, "open");
  if (parvex_exec(db, "CREATE TABLE people (name String, born Date, height Double)") != PARVEX_OK) {
    return fail(db, "create");
  }

  const char* names[] = {"Zoë Ünal", "Ada"};
  const char* born[] = {"1990-04-01", "1815-12-10"};
  const double heights[] = {1.68, -1.5}; /* a negative double binds exactly */
  parvex_stmt* insert;
  if (parvex_prepare(db, "INSERT INTO people VALUES (?, ?, ?)", &insert) != PARVEX_OK) return fail(db, "prepare");
  for (int i = 0; i < 2; ++i) {
    parvex_reset(insert);
    parvex_bind_text(insert, 1, names[i], -1);
    parvex_bind_date(insert, 2, born[i]);
    parvex_bind_double(insert, 3, heights[i]);
    if (parvex_step(insert) != PARVEX_DONE) return fail(db, "insert");
  }
  parvex_finalize(insert);
  if (parvex_commit(db) != PARVEX_OK) return fail(db, "commit");

  parvex_stmt* select;
  if (parvex_prepare(db, "SELECT UPPER(name), born, height FROM people ORDER BY born", &select) != PARVEX_OK) {
    return fail(db, "prepare");
  }
  int result;
  while ((result = parvex_step(select)) == PARVEX_ROW) {
    printf("%s | %s | %g\n", parvex_column_text(select, 0), parvex_column_text(select, 1),
           parvex_column_double(select, 2));
  }
  parvex_finalize(select);
  if (result != PARVEX_DONE) return fail(db, "select");
  return parvex_close(db) == PARVEX_OK ? 0 : 1;
}
