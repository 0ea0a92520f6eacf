-- Every message the statement executors produce, and what a failing statement leaves behind.
CREATE TABLE t (a Integer, b String);
INSERT INTO t VALUES (1, 'x');
COMMIT;

-- Parse errors become 07000 with the parser's message.
FOO BAR BAZ;
! [07000] SQL Error: keyword expected
UPDATE t;
! [07000] SQL Error: SET expected
SELECT 1,2 FROM 42;
! [07000] SQL Error: table name expected
> (null)
SET FOO 1;
! [07000] SQL Error: keyword expected
SELECT (1+2;
! [07000] SQL Error: unbalanced parentheses
> (null)
CREATE TABLE u (a Integer b Integer);
! [07000] SQL Error: comma or parenthesis expected
SELECT a FROM t WHERE a IN (1, 2);
! [07000] SQL Error: feature not supported
> (null)
SELECT DATE 5;
! [07000] SQL Error: datetime literal incomplete
> (null)

-- A SELECT given to the execute entry point is parsed and ignored; any other
-- statement given to the query entry point returns no table and does nothing.
.execute SELECT * FROM nowhere
! [00000] Success
.query DELETE FROM t
! [00000] Success
> (null)
SELECT a FROM t;
> 1

-- Table lookups.
SELECT * FROM nowhere;
! [42S02] Error: Table nowhere not found.
> (null)
INSERT INTO nowhere VALUES (1);
! [42S02] Error: Table nowhere not found.
UPDATE nowhere SET a = 1;
! [42S02] Error: Table nowhere not found.
DELETE FROM nowhere;
! [42S02] Error: Table nowhere not found.
ALTER TABLE nowhere ADD c Integer;
! [42S02] Error: Table nowhere not found.
DROP TABLE nowhere;
! [42S02] Error: Table nowhere not found.
CREATE INDEX i ON nowhere (a);
! [42S02] Error: Table nowhere not found.
DROP INDEX nowhere.i;
! [42S02] Error: Table nowhere not found.

-- CREATE TABLE.
CREATE TABLE T (x Integer);
! [42S01] Error: Table T already exists.
CREATE TABLE _SCHEMA (x Integer);
! [42S01] Error: Table _SCHEMA already exists.
CREATE TABLE u (x Integer, y xml);
! [22023] Error: Invalid type "xml".
SELECT COUNT(*) FROM _schema WHERE TableName = 'u';
> 0
.transaction no

-- INSERT.
INSERT INTO t VALUES (1, 'x', 3);
! [21S01] Error: Insert value list does not match column list.
INSERT INTO t (a) VALUES (1, 2);
! [21S01] Error: Insert value list does not match column list.
INSERT INTO t (a, zz) VALUES (1, 2);
! [42S22] Error: Column zz not found.
INSERT INTO t (a) VALUES (b);
! [42S22] Error: Column b not found.
INSERT INTO t (A) VALUES (1/0);
! [22000] Couldn't evaluate value for a
INSERT INTO t (a) VALUES (COUNT(*));
! [22000] Couldn't evaluate value for a
INSERT INTO t (_rowid, a) VALUES (1, 5);
! [23000] Constraint violation.
.transaction no
SELECT _rowid, a, b FROM t;
> 1 | 1 | x

-- UPDATE.
UPDATE t SET zz = 1;
! [42S22] Error: Column zz not found.
UPDATE t SET a = zz;
! [22000] Error: Couldn't evaluate zz.
UPDATE t SET a = a + 1 WHERE zz = 1;
! [42S22] Error: Column zz not found.
UPDATE t SET a = a / 0;
! [07000] Error: UPDATE failed.
-- Integer division by zero (and the most negative integer by -1) is unknown:
-- a select item shows NULL, a condition using it holds for no row.
SELECT 7 / 0, 7 / 2, -7 / 2, a FROM t;
> NULL | 3 | -3 | 1
SELECT a FROM t WHERE a / 0 = 0;
.transaction no

-- DELETE.
DELETE FROM t WHERE zz = 1;
! [42S22] Error: Column zz not found.
SELECT a FROM t;
> 1

-- ALTER TABLE.
ALTER TABLE t ADD a Integer;
! [42S21] Error: Column a already exists.
ALTER TABLE t ADD A String;
! [42S21] Error: Column A already exists.
ALTER TABLE t ADD c xml;
! [22023] Error: Invalid type "xml".
ALTER TABLE t DROP zz;
! [42S22] Error: Column zz not found.
CREATE TABLE one (only Integer);
ALTER TABLE one DROP only;
! [07000] Error: Can't drop the only column in a table.
ALTER TABLE t ALTER COLUMN a DROP DEFAULT;
! [0A000] Error: Unsupported SQL feature.
INSERT INTO t VALUES (2, 'y');
ALTER TABLE T ADD c Integer;
! [25000] Error: Table T has a transaction in progress.
DROP TABLE t;
! [25000] Error: Table t has a transaction in progress.
ROLLBACK;

-- DROP TABLE.
DROP TABLE _Schema;
! [07000] Error: Can't drop the schema table (nice try!).
DROP TABLE _SCHEMA;
! [07000] Error: Can't drop the schema table (nice try!).

-- CREATE INDEX and DROP INDEX.
CREATE INDEX ia ON t (a);
CREATE INDEX IA ON t (b);
! [42S11] Error: Index 'IA already exists.
CREATE INDEX ib ON t (a, zz);
! [42S22] Error: Column zz not found.
DROP INDEX t;
! [07000] Error: Invalid index specifier (should be TABLE.INDEX).
DROP INDEX t.;
! [07000] Error: Invalid index specifier (should be TABLE.INDEX).
DROP INDEX _schema.anything;
! [07000] Error: Can't drop schema indexes.
DROP INDEX t.nope;
! [42S12] Error: Index nope not found.
DROP INDEX t.ia;

-- SET.
SET ESCAPE ab;
! [07000] Error: ESCAPE character must be only one byte.
SET ESCAPE !;
SET ESCAPE ;
