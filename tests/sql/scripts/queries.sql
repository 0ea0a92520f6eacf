-- Joins, DISTINCT, GROUP BY with HAVING, aggregates and ORDER BY.
CREATE TABLE A (a Integer);
CREATE TABLE B (b Integer);
INSERT INTO A VALUES (1);
INSERT INTO A VALUES (2);
INSERT INTO A VALUES (3);
INSERT INTO B VALUES (10);
INSERT INTO B VALUES (20);
COMMIT;

-- Depth-first enumeration: the outer table's rows come in reverse, the last
-- bound table's rows in table order.
SELECT a, b FROM A, B;
> 3 | 10
> 3 | 20
> 2 | 10
> 2 | 20
> 1 | 10
> 1 | 20
-- A condition on the outer table prunes early; the inner table is then bound
-- without a usable condition, so its combinations come out in reverse.
SELECT a, b FROM A, B WHERE a = 2;
> 2 | 20
> 2 | 10
SELECT a, b FROM A, B WHERE a = b / 10;
> 2 | 20
> 1 | 10
SELECT X.a, Y.a FROM A X, A Y WHERE X.a < Y.a;
> 2 | 3
> 1 | 2
> 1 | 3
CREATE TABLE four (t String, x Integer, y Integer);
INSERT INTO four VALUES ('a', 16, 7);
INSERT INTO four VALUES ('b', 30, 10);
INSERT INTO four VALUES ('c', 24, 9);
INSERT INTO four VALUES ('d', 18, 8);
SELECT t, x FROM four WHERE y >= 9;
> b | 30
> c | 24
SELECT COUNT(*) FROM four A, four B WHERE A.t <> B.t;
> 12
SELECT A.t, B.t FROM four A, four B WHERE A.t <> B.t AND A.x < 18;
> a | b
> a | c
> a | d
-- A condition that names no table is not used for pruning.
SELECT a FROM A WHERE 1 = 1;
> 3
> 2
> 1

-- DISTINCT.
CREATE TABLE p (n Integer, s String);
INSERT INTO p VALUES (1, 'a');
INSERT INTO p VALUES (1, 'a');
INSERT INTO p VALUES (2, 'b');
INSERT INTO p VALUES (1, 'c');
SELECT DISTINCT n, s FROM p;
> 1 | a
> 2 | b
> 1 | c
SELECT UNIQUE n FROM p;
> 1
> 2
SELECT ALL n FROM p;
> 1
> 1
> 2
> 1

-- GROUP BY and HAVING.
CREATE TABLE sales (pno Integer, qty Integer, region String);
INSERT INTO sales VALUES (2, 3, 'north');
INSERT INTO sales VALUES (1, 5, 'South');
INSERT INTO sales VALUES (3, 1, 'north');
INSERT INTO sales VALUES (1, 7, 'south');
INSERT INTO sales VALUES (2, 4, 'east');
SELECT pno, SUM(qty), COUNT(*) FROM sales GROUP BY pno;
> 1 | 12 | 2
> 2 | 7 | 2
> 3 | 1 | 1
SELECT pno, SUM(qty) FROM sales GROUP BY pno HAVING SUM(qty) > 5;
> 1 | 12
> 2 | 7
SELECT pno, MAX(qty), MIN(qty) FROM sales GROUP BY pno HAVING pno > 1;
> 2 | 4 | 3
> 3 | 1 | 1
SELECT pno, COUNT(*) FROM sales GROUP BY pno HAVING COUNT(*) > 5;
! [02000] No records found.
-- Only an aggregate in the select list makes a grouped query: without one,
-- GROUP BY and HAVING leave the rows as they are.
SELECT pno FROM sales GROUP BY pno HAVING COUNT(*) > 5;
> 2
> 1
> 3
> 1
> 2
-- Groups come out in case-sensitive key order; "South" and "south" are not
-- neighbours there, so they stay two groups.
SELECT region, COUNT(*) FROM sales GROUP BY region;
> South | 1
> east | 1
> north | 2
> south | 1
SELECT pno, SUM(qty) FROM sales WHERE region = 'north' GROUP BY pno;
> 2 | 3
> 3 | 1
-- Integer keys take their four bytes in machine order (little-endian here),
-- so 256 (00 01 00 00) comes before 1 and 2.
CREATE TABLE k (n Integer);
INSERT INTO k VALUES (2);
INSERT INTO k VALUES (256);
INSERT INTO k VALUES (1);
INSERT INTO k VALUES (256);
SELECT n, COUNT(*) FROM k GROUP BY n;
> 256 | 2
> 1 | 1
> 2 | 1
-- Grouped rows go through DISTINCT and ORDER BY like any others.
SELECT DISTINCT COUNT(*) FROM sales GROUP BY pno;
> 2
> 1
SELECT pno, COUNT(*) AS n FROM sales GROUP BY pno ORDER BY n;
> 3 | 1
> 1 | 2
> 2 | 2
-- HAVING without GROUP BY has no effect.
SELECT COUNT(*) FROM sales HAVING COUNT(*) > 100;
> 5
-- A GROUP BY column named NULL gives no result and no message.
SELECT COUNT(*) FROM sales GROUP BY NULL;
! [00000] Success
> (null)

-- Aggregates over no rows still give one row; with GROUP BY none.
CREATE TABLE empty (a Integer);
SELECT COUNT(*) FROM empty;
> 0
SELECT COUNT(*), SUM(a) FROM empty;
> 0 | 0
SELECT a, COUNT(*) FROM empty;
> NULL | 0
SELECT COUNT(*) FROM empty GROUP BY a;
! [02000] No records found.
SELECT COUNT(*) FROM sales WHERE qty > 100;
> 0

-- ORDER BY.
SELECT pno, qty FROM sales ORDER BY qty;
> 3 | 1
> 2 | 3
> 2 | 4
> 1 | 5
> 1 | 7
SELECT pno, qty FROM sales ORDER BY pno DESC, qty;
> 3 | 1
> 2 | 3
> 2 | 4
> 1 | 5
> 1 | 7
SELECT qty AS q FROM sales ORDER BY q DESC;
> 7
> 5
> 4
> 3
> 1
-- Text sorts without regard to case: letters fold to lower case before the
-- bytes compare, so '_' (0x5F) comes before every letter.
CREATE TABLE words (w String);
INSERT INTO words VALUES ('b');
INSERT INTO words VALUES ('_');
INSERT INTO words VALUES ('A');
SELECT w FROM words ORDER BY w;
> _
> A
> b
-- Text sorts without regard to case.
SELECT DISTINCT region FROM sales ORDER BY region;
> east
> north
> South
-- A name that is not in the select list, or a qualified one, leaves the order alone.
SELECT qty FROM sales ORDER BY pno;
> 3
> 5
> 1
> 7
> 4
SELECT qty FROM sales S ORDER BY S.qty;
> 3
> 5
> 1
> 7
> 4
-- Doubles sort by their text.
CREATE TABLE dd (x Double);
INSERT INTO dd VALUES (9.2);
INSERT INTO dd VALUES (10.5);
INSERT INTO dd VALUES (100.25);
SELECT x FROM dd ORDER BY x;
> 10.5
> 100.25
> 9.2

-- LIKE, with and without an escape.
CREATE TABLE e (s String);
INSERT INTO e VALUES ('100%');
INSERT INTO e VALUES ('100 percent');
INSERT INTO e VALUES ('Vanilla beans');
SELECT s FROM e WHERE s LIKE '100%';
> 100%
> 100 percent
SELECT s FROM e WHERE s LIKE '100!%' ESCAPE '!';
> 100%
SELECT s FROM e WHERE s LIKE '%VANILLA%';
> Vanilla beans
SELECT s FROM e WHERE s NOT LIKE '100%';
> Vanilla beans
-- The same over stored rows (matched where they lie), under a pending
-- change, and over numbers and NULLs (their texts).
COMMIT;
SELECT s FROM e WHERE s LIKE '%BEANS';
> Vanilla beans
UPDATE e SET s = 'beans' WHERE s LIKE '100 %';
SELECT s FROM e WHERE s LIKE '%beans';
> beans
> Vanilla beans
ROLLBACK;
CREATE TABLE en (n Integer, s String);
INSERT INTO en VALUES (105, NULL);
INSERT INTO en VALUES (7, 'x');
COMMIT;
SELECT n FROM en WHERE n LIKE '1%';
> 105
SELECT n FROM en WHERE s LIKE 'N%';
> 105

-- The read-only system table _TABLES.
SELECT * FROM _TABLES;
: TableName
> _TABLES
SELECT TableName FROM _tables;
> _TABLES
INSERT INTO _TABLES VALUES ('x');
! [42S02] Error: Table _TABLES not found.
