-- INSERT forms, UPDATE and DELETE, and how NULL is stored.
CREATE TABLE t (a Integer, b String, c Integer);
INSERT INTO t VALUES (1, 'x', 10);
INSERT INTO t (c, a) VALUES (20, 2);
INSERT INTO t DEFAULT VALUES;
INSERT INTO t (a, b) VALUES (DEFAULT, 'd');
SELECT _rowid, a, b, c FROM t;
> 1 | 1 | x | 10
> 2 | 2 | NULL | 20
> 3 | NULL | NULL | NULL
> 4 | NULL | d | NULL
COMMIT;

-- Setting a column to NULL removes it; setting it again brings it back.
UPDATE t SET b = NULL WHERE a = 1;
SELECT a, b, c FROM t WHERE _rowid = 1;
> 1 | NULL | 10
COMMIT;
.reopen
SELECT a, b, c FROM t WHERE _rowid = 1;
> 1 | NULL | 10
UPDATE t SET b = 'back', c = c + 1 WHERE _rowid = 1;
SELECT a, b, c FROM t WHERE _rowid = 1;
> 1 | back | 11

-- UPDATE without WHERE, with a row-dependent value, and with DEFAULT.
UPDATE t SET c = 0;
SELECT c FROM t;
> 0
> 0
> 0
> 0
UPDATE t SET c = _rowid * 100;
SELECT c FROM t;
> 100
> 200
> 300
> 400
UPDATE t SET c = DEFAULT WHERE _rowid > 2;
SELECT c FROM t;
> 100
> 200
> NULL
> NULL
UPDATE t SET c = 1 WHERE a = 99;
UPDATE t SET a = a + 1, b = b + '!' WHERE a = 2;
SELECT a, b FROM t WHERE _rowid = 2;
> 3 | NULL!
COMMIT;

-- DELETE with and without WHERE.
DELETE FROM t WHERE c = 100 OR c = 200;
SELECT _rowid FROM t;
> 3
> 4
DELETE t WHERE _rowid = 3;
SELECT _rowid FROM t;
> 4
DELETE FROM t;
SELECT _rowid FROM t;
! [02000] No records found.
ROLLBACK;
SELECT _rowid FROM t;
> 1
> 2
> 3
> 4

-- INSERT ... SELECT copies by position; * counts as one item.
CREATE TABLE src (x Integer, y String);
INSERT INTO src VALUES (1, 'one');
INSERT INTO src VALUES (2, 'two');
CREATE TABLE dst (p Integer, q String);
INSERT INTO dst SELECT * FROM src;
! [21S01] Error: Insert value list does not match column list.
INSERT INTO dst SELECT x, y FROM src;
INSERT INTO dst (q, p) SELECT y, x * 10 FROM src WHERE x = 2;
INSERT INTO dst (p) SELECT x FROM src WHERE x > 5;
! [02000] No records found.
INSERT INTO dst (p) SELECT x FROM nowhere;
! [42S02] Error: Table nowhere not found.
SELECT _rowid, p, q FROM dst;
> 1 | 1 | one
> 2 | 2 | two
> 3 | 20 | two
INSERT INTO dst SELECT p + 100, q FROM dst;
SELECT p FROM dst;
> 1
> 2
> 20
> 101
> 102
> 120
COMMIT;
.reopen
SELECT COUNT(*), SUM(p) FROM dst;
> 6 | 346

-- A name given to two columns (CREATE TABLE doesn't check): INSERT and the
-- expressions take the first, UPDATE's SET list the last.
CREATE TABLE dup (a Integer, a String);
INSERT INTO dup (a) VALUES (5);
UPDATE dup SET a = 'y';
SELECT * FROM dup;
> 5 | y
SELECT a FROM dup;
> 5

-- A value that can't be computed for a row stops UPDATE at that row; the
-- rows before it keep their new values.
CREATE TABLE upd (k Integer, v Integer);
INSERT INTO upd VALUES (1, 5);
INSERT INTO upd VALUES (2, 0);
INSERT INTO upd VALUES (3, 4);
UPDATE upd SET k = k * 10, v = 100 / v WHERE k > 0;
! [07000] Error: UPDATE failed.
SELECT k, v FROM upd;
> 10 | 20
> 2 | 0
> 3 | 4
