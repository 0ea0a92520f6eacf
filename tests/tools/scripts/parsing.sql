-- How the engine reads statements, through .parse: each statement prints as
-- its canonical SQL text (keywords in capitals, every operation in
-- parentheses, NOT dropped, range variables with AS), or as the parse error
-- it raises, "[07000]" with the parser's message.
$ parvex test.pvx
.parse SELECT 1,39+3,2+4*10,-6*7 FROM MYTABLE
.parse SELECT 2+4*10, (2+4)*10 FROM MYTABLE
.parse SELECT 10-4-3, 8/4/2, +5, 1e-5 FROM t
.parse SELECT 'abc' + 'def'
.parse SELECT foo, bar FROM MYTABLE WHERE foo=42
.parse SELECT foo FROM MYTABLE WHERE A=1 OR B=2 AND C=3
.parse SELECT a FROM t WHERE a=1 and b<>2 AND c<=3 or d>=4 OR e<5 or f>6
.parse SELECT foo FROM MYTABLE WHERE bar Not LIKE '%dat'
.parse SELECT a FROM t WHERE b like 'x^%' escape '^'
.parse DELETE FROM Foobar WHERE foo + 2 > bar
.parse SELECT a FROM t WHERE NOT a=1
.parse SELECT a FROM t WHERE b = TRUE AND c = false
.parse SELECT RV.foo FROM MYTABLE RV
.parse SELECT 1,2 FROM TAB1, TAB2
.parse SELECT 42 bar FROM MYTABLE
.parse SELECT 42 AS bar FROM MYTABLE
.parse SELECT foo,bar FROM MYTABLE T ORDER BY foo,T.bar
.parse SELECT foo,bar FROM MYTABLE T ORDER BY foo ASC,bar DESC
.parse SELECT pno, SUM(qty) FROM MYTABLE GROUP BY pno HAVING pno > 3
.parse select distinct T.*, * from t
.parse SELECT UNIQUE a FROM t
.parse SELECT ALL a FROM t
.parse SELECT 'How''s it going?' FROM BAR
.parse SELECT N'abc'
.parse SELECT ?, ?3, ? FROM t WHERE a = ? AND b LIKE ? ESCAPE ?
.parse UPDATE t SET a = -?2, b = UPPER(?) WHERE _rowid = ?1
.parse INSERT INTO t VALUES (?, DEFAULT, ?7)
.parse SELECT COUNT(*) FROM MYTABLE WHERE foo=42
.parse SELECT AVG(DISTINCT foo) FROM MYTABLE WHERE bar='baz'
.parse SELECT COUNT(ALL foo) FROM MYTABLE WHERE bar='baz'
.parse SELECT POSITION ('fu' IN 'snafu')
.parse SELECT SUBSTRING ('foobar' from 3 for 2)
.parse SELECT SUBSTRING ('foobar' from 3)
.parse SELECT TRIM (' foo ')
.parse SELECT TRIM (Leading from ' foo ')
.parse SELECT TRIM (BOTH '?' from ' foo ')
.parse SELECT TRIM('?' FROM ' foo ')
.parse SELECT trailing, TRIM(trailing 'x' FROM a) FROM t
.parse SELECT Upper(42) from FOO
.parse SELECT character_length(a), current_date, Current_Time() FROM t
.parse SELECT max(a)+min(b), sum(distinct c) FROM t
.parse SELECT LAST_ROWID('t'), LOWER(UPPER(a)) FROM t
.parse INSERT INTO foo (bar,baz, bamf ) DEFAULT VALUES
.parse INSERT INTO foo (bar,baz, bamf ) VALUES (1, DEFAULT, 42)
.parse INSERT INTO foo (bar, baz) SELECT one,2 FROM TABLE1
.parse insert into foo values ('a', -1)
.parse UPDATE foo SET when=DATE '1994-07-09'
.parse UPDATE foo SET bar=2, baz=3 WHERE this = that
.parse update foo set a = time '10:00:00', b = timestamp '2001-02-03 04:05:06'
.parse DELETE Foobar
.parse CREATE TABLE Foobar (one Integer, two String)
.parse create table t (a integer default -5, b string default 'x''y', c date DEFAULT date '2001-01-01')
.parse ALTER TABLE Foobar DROP foo RESTRICT
.parse ALTER TABLE Foobar ADD COLUMN foo Integer
.parse ALTER TABLE Foobar DROP COLUMN foo CASCADE
.parse alter table Foobar alter column foo drop default
.parse ALTER TABLE Foobar ALTER foo SET DEFAULT 'x'
.parse CREATE INDEX City on ZipCodes (City, State)
.parse drop table foo
.parse DROP TABLE foo cascade
.parse drop index ZipCodes.City
.parse commit
.parse rollback
.parse set escape  ^
.parse SET ESCAPE
.parse SELECT 1,2
.parse DELETE FROM Foobar
.parse DELETE Foobar WHERE a = 1
.parse DROP TABLE foo RESTRICT
.parse UPDATE foo SET bar=2, baz=3
.parse INSERT INTO foo VALUES (1)
.parse ALTER TABLE Foobar ADD foo Integer
.parse ALTER TABLE Foobar ALTER COLUMN foo DROP DEFAULT
.parse ALTER TABLE t ALTER COLUMN c SET DEFAULT 3
.parse CREATE TABLE t (a Integer DEFAULT -1, b String DEFAULT 'x', c Date DEFAULT NULL)
.parse SELECT * FROM a, b AS c WHERE x = 1 GROUP BY a.x, y HAVING COUNT(*) > 1 ORDER BY x DESC, y
.parse select distinct a from t;
.parse SELECT a FROM t 
.parse SELECT 1 
.parse DELETE FROM t 
.parse ROLLBACK WORK whatever
.parse SET ESCAPE \
.parse SELECT CURRENT_DATE, LAST_ROWID('t'), CHARACTER_LENGTH(a), SUBSTRING(a FROM 1 FOR 2)
.parse CREATE INDEX City over ZipCodes (City)
.parse FOO BAR BAZ
.parse CREATE UNIQUE INDEX i ON t (a)
.parse CREATE VIEW v
.parse ALTER INDEX i
.parse ALTER TABLE t RENAME a
.parse ALTER TABLE t ALTER a DROP NOTHING
.parse SELECT POSITION('a')
.parse SELECT SUBSTRING('a')
.parse SELECT TRIM(LEADING 'a')
.parse SELECT 1,2 FROM 42
.parse UPDATE 1 SET a=1
.parse CREATE TABLE (a integer)
.parse CREATE INDEX i ON (a)
.parse ALTER TABLE 'x' ADD a integer
.parse SELECT 1,2 FROM FOO AS +
.parse SELECT 1 AS
.parse CREATE INDEX (a)
.parse DROP INDEX
.parse SELECT 1 WHERE a
.parse SELECT 1)
.parse UPDATE foo
.parse UPDATE foo a=1
.parse SELECT (1+2 FROM t
.parse SELECT UPPER('a' FROM t
.parse UPDATE foo SET 1=2
.parse CREATE TABLE t (a integer, )
.parse CREATE INDEX i ON t (a, 2)
.parse ALTER TABLE t DROP COLUMN 5
.parse CREATE TABLE t (a integer b integer)
.parse CREATE INDEX i ON t (a b)
.parse CREATE TABLE t a integer
.parse SELECT DATE 5
.parse UPDATE foo SET when=time 1994
.parse SELECT a FROM t WHERE x IN (1,2)
.parse SELECT a FROM t WHERE x NOT IN (1,(2)) AND y=1
.parse SELECT POSITION('a' IN 'b' IN 'c')
.parse SELECT FROM FOO
.parse SELECT "a" FROM t
.parse SELECT 'a'b FROM t
.parse SELECT - -1
.parse SELECT a FROM t WHERE a=1 LIMIT 5
.parse SELECT a FROM t ORDER BY a WHERE b=1
.parse SELECT a FROM t WHERE NOT NOT a
.parse DELETE FROM t WHERE a=1 )
.parse DROP TABLE t u
.parse UPDATE foo SET a 2
.parse CREATE TABLE t (a)
.parse CREATE TABLE t (a integer DEFAULT b)
.parse CREATE TABLE t (a integer DEFAULT UPPER('x'))
.parse SELECT a FROM t GROUP a
.parse SELECT a FROM t ORDER BY a, 'b'
.parse INSERT foo VALUES (1)
.parse INSERT INTO foo (a b) VALUES (1)
.parse INSERT INTO foo DEFAULT (1)
.parse INSERT INTO foo VALUES 1
.parse INSERT INTO foo VALUES (1 2)
.parse SELECT NoSuchFunc FROM t
.parse SELECT NoSuchFunc(1) FROM t
.parse SELECT a FROM t )
.parse SELECT a FROM t WHERE a=1 ) junk
.parse SET escape   ;x y
.parse SET FOO bar
.parse SELECT ?0
.parse SELECT ?32768
.parse CREATE TABLE t (a integer DEFAULT ?)
