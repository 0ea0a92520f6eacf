-- A failed statement prints "[SQLSTATE] description" on standard error, the
-- later ones still run, and the exit status is 1; --bail and .bail stop at
-- the first failure. Usage errors and a database that cannot be opened exit
-- with 2. Options come before the file ("--" ends them); everything after
-- the file is SQL.
$ parvex --csv test.pvx "FOO BAR" "SELECT * FROM nope" "CREATE TABLE t (a Integer)" "SELECT a FROM t" "INSERT INTO t VALUES (?)"
$ parvex --bail test.pvx "CREATE TABLE t (a Integer)" "CREATE TABLE u (a Integer)"
$ parvex test.pvx
.bail on
SELECT * FROM t;
DROP TABLE nope;
CREATE TABLE v (a Integer);
$ parvex test.pvx .tables
$ parvex --check
$ parvex --tsv test.pvx
$ parvex no/such/folder/db.pvx "SELECT 1"
$ parvex --help
$ parvex --csv --no-headers -- -odd.pvx "SELECT 1" --json
$ parvex --timeout 5ms test.pvx
$ parvex --recover test.pvx
$ parvex --readonly --no-sync --timeout 250 test.pvx .tables
