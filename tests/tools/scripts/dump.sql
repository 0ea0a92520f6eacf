-- .dump writes SQL that recreates tables, rows (with their row IDs) and
-- indexes; fed to a new database it gives the same dump again. Doubles the
-- dialect has no literal for are written as quoted text that a Double column
-- reads back exactly; text with NUL bytes loses them, with a warning.
$ parvex test.pvx
CREATE TABLE People (id Integer, name String, score Double, born Date, ok Boolean);
CREATE TABLE Events (at Timestamp, t Time, data Binary, note String);
CREATE INDEX ByName ON People (name);
CREATE INDEX ByBoth ON People (ok, id);
INSERT INTO People (id, name, score, born, ok) VALUES (1, 'O''Brien; "Bob"', 2.5, DATE '1970-01-01', TRUE);
INSERT INTO People (id, name, score, born, ok) VALUES (-2147483647-1, 'two
lines', 1.0e+20, NULL, FALSE);
INSERT INTO People (id, name, score) VALUES (3, 'gone', 0.1);
INSERT INTO People (id, name, score) VALUES (4, '', 3.0);
DELETE FROM People WHERE id = 3;
$ write events.sql "INSERT INTO Events (at, t, data, note) VALUES (TIMESTAMP '2001-02-03 04:05:06', TIME '23:59:59', 'bytes\t\x01', NULL);\n"
$ parvex test.pvx < events.sql
$ parvex test.pvx .dump > dump.out
$ cat dump.out
$ parvex copy.pvx < dump.out
$ parvex copy.pvx .dump > copy.out
$ cat copy.out
$ parvex test.pvx ".dump Events" > events.out
$ cat events.out
$ parvex test.pvx ".dump --sqlite --no-rowid Events" ".dump --mysql"
$ write m.csv "x,s\n-1.5,a\n-0.0,b\n-inf,c\nnan,d\n2.25,e\n"
$ write n.csv "s\n\"a\0b\"\nplain\n"
$ parvex doubles.pvx
CREATE TABLE m (x Double, s String);
.import m.csv m
CREATE TABLE n (s String);
.import n.csv n
.mode json
SELECT s FROM n;
$ parvex doubles.pvx .dump > doubles.out
$ cat doubles.out
$ parvex doubles-copy.pvx < doubles.out
$ parvex doubles-copy.pvx "SELECT x FROM m" .dump
