-- .read runs a file (nesting up to 16 deep); bad commands fail with one clear
-- line; .help lists every command; .quit ends the input; .timer reports on
-- standard error.
$ write inner.sql "INSERT INTO t (id, name) VALUES (10, 'from file');\nSELECT name FROM t WHERE id = 10"
$ write outer.sql ".read inner.sql\nSELECT COUNT(*) FROM t;\n"
$ write loop.sql ".read loop.sql\n"
$ parvex test.pvx
CREATE TABLE t (id Integer, name String);
.read 'outer.sql'
.read loop.sql
SELECT COUNT(*) FROM t;
$ parvex test.pvx
.frobnicate
.mode tabular
.headers maybe
.import onlyone
.read 'open
$ parvex test.pvx .help
$ parvex test.pvx
.timer on
SELECT COUNT(*) FROM t;
.quit
DROP TABLE t;
$ parvex test.pvx .tables
