-- Output modes: CSV quoting (a header even for an empty result), list (the
-- default when output is not a terminal), JSON, line and box; --headers,
-- --no-headers, and .mode/.headers switching between queries.
$ parvex test.pvx
CREATE TABLE t (id Integer, name String, score Double, born Date, ok Boolean);
INSERT INTO t (id, name, score, born, ok) VALUES (1, 'a,b', 2.5, DATE '2001-02-03', TRUE);
INSERT INTO t (id, name, score, born, ok) VALUES (-2, 'say "hi"', 0.125, DATE '1999-12-31', FALSE);
INSERT INTO t (id, name) VALUES (3, 'two
lines');
CREATE TABLE p (id Integer, name String);
INSERT INTO p (id, name) VALUES (1, 'Ann');
INSERT INTO p (id, name) VALUES (22, NULL);
$ parvex --csv test.pvx "SELECT id, name, score, born, ok FROM t" "SELECT name AS label FROM t WHERE id > 100"
$ parvex test.pvx "SELECT id, name FROM p"
$ parvex --list --headers test.pvx "SELECT id, name FROM p"
$ parvex --csv --no-headers test.pvx "SELECT id, name FROM p"
$ parvex --json test.pvx "SELECT id, name FROM p" "SELECT name, score, ok FROM t WHERE id < 3"
$ parvex --line test.pvx "SELECT id, name FROM p"
$ parvex --box test.pvx "SELECT id, name FROM p"
$ parvex test.pvx
.mode csv
SELECT id, name FROM p;
.headers off
.mode json
SELECT id, name FROM p;
.mode
