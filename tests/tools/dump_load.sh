#!/usr/bin/env bash
# Moves a database holding every type and awkward values to PostgreSQL and to
# sqlite3: .dump --postgres is loaded by psql into a server of the test's own
# (a temporary folder, an unprivileged user, a Unix socket only), .dump
# --sqlite by the sqlite3 shell. Every row (texts and bytes as hex, doubles as
# their IEEE bits), the column types and the indexes each engine then holds are
# compared with dump_load.postgres.out and dump_load.sqlite.out beside this
# script (PARVEX_ACCEPT=1 records them anew), together with the dump's warnings.
# Exits 77, which ctest counts as skipped, only when PostgreSQL can't start.
# usage: dump_load.sh PARVEX
set -euo pipefail
parvex=$1
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
psql=$(command -v psql) sqlite3=$(command -v sqlite3) current=
pgbin=$(find /usr/lib/postgresql -path '*/bin/initdb' 2>/dev/null | sort -V | tail -n 1 | xargs -r dirname)

# The server refuses to run as root.
as_server() {
  if [ "$(id -u)" -eq 0 ]; then setpriv --reuid=nobody --regid="$(id -g nobody)" --clear-groups "$@"; else "$@"; fi
}
cleanup() {
  local rc=$?
  # A command that failed midway: show what the engines said (on the standard
  # output the script started with, as this may run inside a redirection).
  if [ $rc -ne 0 ] && [ $rc -ne 77 ] && [ -n "${current:-}" ]; then tail -n 20 "$work/$current.out" >&3; fi
  if [ -f "$work/data/postmaster.pid" ]; then
    as_server "$pgbin/pg_ctl" -D "$work/data" -m immediate -t 10 stop >/dev/null 2>&1 ||
      kill -9 "$(head -n 1 "$work/data/postmaster.pid")" 2>/dev/null || true
  fi
  rm -rf "$work"
}
exec 3>&1
trap cleanup EXIT
trap 'exit 1' INT TERM HUP

# The database. Row 2 of Mixed is deleted, so row IDs have a gap.
{
  printf '%s\n' \
    'CREATE TABLE Mixed (id Integer, when String, ratio Double, ok Boolean, born Date, at Time, stamp Timestamp, data Binary, #odd"name String);' \
    'CREATE INDEX Mixed ON Mixed (when);' \
    'CREATE INDEX ByOk ON Mixed (ok, id);' \
    'CREATE INDEX Mixed_pkey ON Mixed (id);' \
    'CREATE TABLE plain (n Integer, due Date);' \
    'CREATE INDEX ByOk ON plain (n);' \
    "INSERT INTO Mixed (id, when, ratio, ok, born, at, stamp, data, #odd\"name) VALUES (2147483647, 'it''s', 0.1, TRUE, DATE '2000-02-29', TIME '23:59:59', TIMESTAMP '2001-02-03 04:05:06', 'a''b', 'x');" \
    "INSERT INTO Mixed (id) VALUES (7);" \
    "INSERT INTO Mixed (id, when, ratio, ok, born, at, stamp, data) VALUES (-2147483647-1, 'two
lines', '-1.5', FALSE, DATE '0001-01-01', TIME '00:00:00.5', TIMESTAMP '1970-01-01 00:00:00.123456', '');" \
    "INSERT INTO Mixed (id, when, ratio, data) VALUES (0, 'naïve – 日本 \\ \"q\"', '-0.0', 'tab	bin');" \
    "INSERT INTO Mixed (id, when, ratio) VALUES (-1, '', 'nan');" \
    "INSERT INTO Mixed (id, ratio) VALUES (1, 'inf');" \
    "INSERT INTO Mixed (id, ratio) VALUES (2, '-inf');" \
    "INSERT INTO Mixed (id, ratio) VALUES (3, '5e-324');" \
    "INSERT INTO Mixed (id, ratio) VALUES (4, 1.7976931348623157e308);" \
    "INSERT INTO Mixed (id, ratio) VALUES (5, '-2.2250738585072014e-308');" \
    "INSERT INTO Mixed (id, ratio) VALUES (6, 0.30000000000000004);" \
    "DELETE FROM Mixed WHERE id = 7;" \
    "INSERT INTO plain (n, due) VALUES (1, DATE '2024-01-31');" \
    "INSERT INTO plain (n, due) VALUES (2, 'soon');"
  printf "INSERT INTO Mixed (id, when, data) VALUES (8, 'bad\\377byte', 'high\\377\\001');\n"
  # More rows than one INSERT of the PostgreSQL dump holds.
  echo 'CREATE TABLE many (n Integer);'
  seq -f 'INSERT INTO many (n) VALUES (%g);' 1 250
} > "$work/setup.sql"
"$parvex" "$work/test.pvx" < "$work/setup.sql"

# Each engine's output: the dump's warnings, then its view of the data.
dump() {  # TARGET [OPTIONS]: the dump in $work/TARGET.sql, its warnings on standard output
  "$parvex" "$work/test.pvx" ".dump --$*" 2>&1 > "$work/$1.sql" | sed 's/^/-- /'
}
status=0
compare() {  # NAME
  current=
  if [ "${PARVEX_ACCEPT:-}" = 1 ]; then cp "$work/$1.out" "$here/dump_load.$1.out"; fi
  diff -u "$here/dump_load.$1.out" "$work/$1.out" || status=1
}

# PostgreSQL.
mkdir "$work/data"
[ "$(id -u)" -ne 0 ] || chown nobody "$work" "$work/data"
if [ -z "$pgbin" ] ||
  ! as_server timeout 60 "$pgbin/initdb" -D "$work/data" -U parvex --auth=trust --no-sync -E UTF8 --locale=C \
    > "$work/initdb.log" 2>&1 ||
  ! as_server "$pgbin/pg_ctl" -D "$work/data" -w -t 30 -l "$work/server.log" \
    -o "-c listen_addresses='' -k $work -c fsync=off" start > /dev/null 2>&1; then
  echo "SKIP: PostgreSQL could not be started: $(tail -n 1 "$work/server.log" "$work/initdb.log" 2>/dev/null |
    grep -v '^==>' | grep . | tail -n 1)"
  exit 77
fi
psql() { timeout 60 "$psql" -X -q -A -t -F '|' -P null=NULL -v ON_ERROR_STOP=1 -h "$work" -U parvex -d postgres "$@"; }
current=postgres
{
  dump postgres
  psql -f "$work/postgres.sql"
  psql -c "SELECT table_name, column_name, data_type FROM information_schema.columns
           WHERE table_schema = 'public' ORDER BY table_name, ordinal_position"
  psql -c "SELECT i.relname, t.relname, string_agg(a.attname, ',' ORDER BY k.n) FROM pg_index x
           JOIN pg_class i ON i.oid = x.indexrelid JOIN pg_class t ON t.oid = x.indrelid
           CROSS JOIN unnest(x.indkey) WITH ORDINALITY k(attnum, n)
           JOIN pg_attribute a ON a.attrelid = t.oid AND a.attnum = k.attnum
           WHERE t.relnamespace = 'public'::regnamespace GROUP BY 1, 2 ORDER BY 1"
  psql -c "SELECT _rowid, id, encode(convert_to(\"when\", 'UTF8'), 'hex'), encode(float8send(ratio), 'hex'), ok,
           born, \"at\", stamp, encode(data, 'hex'), encode(convert_to(\"#odd\"\"name\", 'UTF8'), 'hex')
           FROM \"Mixed\" ORDER BY _rowid"
  psql -c "SELECT * FROM plain ORDER BY _rowid"
  psql -c "SELECT count(*), sum(n), max(_rowid) FROM many"
} > "$work/postgres.out" 2>&1
compare postgres

# sqlite3; also its dump without row IDs.
sqlite() { timeout 60 "$sqlite3" -batch -bail -nullvalue NULL -separator '|' "$@"; }
current=sqlite
{
  dump sqlite
  sqlite "$work/test.db" < "$work/sqlite.sql"
  sqlite "$work/test.db" "SELECT m.name, p.name, p.type FROM sqlite_schema m, pragma_table_info(m.name) p
    WHERE m.type = 'table' ORDER BY m.name, p.cid"
  sqlite "$work/test.db" "SELECT i.name, i.tbl_name, group_concat(c.name) FROM sqlite_schema i,
    pragma_index_info(i.name) c WHERE i.type = 'index' GROUP BY i.name ORDER BY i.name"
  sqlite "$work/test.db" "SELECT _rowid, id, quote(CAST(\"when\" AS BLOB)), quote(ieee754_to_blob(ratio)), ok, born,
    at, stamp, quote(data), quote(CAST(\"#odd\"\"name\" AS BLOB)) FROM Mixed ORDER BY _rowid"
  sqlite "$work/test.db" "SELECT * FROM plain ORDER BY _rowid"
  sqlite "$work/test.db" "SELECT count(*), sum(n), max(_rowid) FROM many"
  dump sqlite --no-rowid plain
  sqlite "$work/plain.db" < "$work/sqlite.sql"
  sqlite "$work/plain.db" "SELECT sql FROM sqlite_schema; SELECT * FROM plain"
} > "$work/sqlite.out" 2>&1
compare sqlite
exit $status
