-- The comparison rules where the fast executor looks rows up instead of
-- testing every row (both executors run every script and must agree).

-- Lookups on an indexed Integer column: NULL reads as 0 and as the text
-- "NULL"; the left operand's type picks integer or text comparison; a
-- Boolean on either side compares truth values.
CREATE TABLE t (n Integer, s String, d Date);
INSERT INTO t VALUES (1, 'a', DATE '2001-01-01');
INSERT INTO t (s) VALUES ('b');
INSERT INTO t VALUES (0, 'c', DATE '2001-01-02');
INSERT INTO t VALUES (2, 'd', NULL);
CREATE INDEX tn ON t (n);
CREATE INDEX ts ON t (s);
CREATE INDEX td ON t (d);
SELECT s FROM t WHERE n = 0;
> b
> c
SELECT s FROM t WHERE 'NULL' = n;
> b
SELECT s FROM t WHERE '01' = n;
SELECT s FROM t WHERE n = '01';
> a
SELECT s FROM t WHERE n = 1.9;
> a
SELECT s FROM t WHERE n = TRUE;
> a
> d
-- Text compares case-sensitively (the index finds 'a' for 'A'; the row is not taken).
SELECT n FROM t WHERE s = 'A';
SELECT n FROM t WHERE s = 'a';
> 1
-- A date reads "DATE ..." as text.
SELECT s FROM t WHERE d = 'DATE 2001-01-01';
> a
SELECT s FROM t WHERE d = '2001-01-01';
SELECT s FROM t WHERE 'NULL' = d;
> b
> d
-- Row IDs.
SELECT s FROM t WHERE _rowid = 2;
> b
SELECT s FROM t WHERE '2' = _rowid;
> b
SELECT s FROM t WHERE _rowid = '2x';
> b
SELECT s FROM t WHERE '2x' = _rowid;

-- A hash join keeps the enumeration's order: the outer table in reverse,
-- the inner one in table order; mixed types follow the left operand.
CREATE TABLE u (m Integer, label String);
INSERT INTO u VALUES (0, 'zero');
INSERT INTO u VALUES (2, 'two');
INSERT INTO u VALUES (0, 'nought');
SELECT s, label FROM t, u WHERE t.n = u.m;
> d | two
> c | zero
> c | nought
> b | zero
> b | nought
SELECT s, label FROM u, t WHERE u.label = t.s;
SELECT label, s FROM u, t WHERE t.n = u.m AND u.label = 'two';
> two | d

-- Group keys are ordered by their bytes and split where they differ but
-- for ASCII case: the integers 65 and 97 (bytes 'A' and 'a' first) fall in
-- one group, as do 'AB' and 'ab'; a plain column reads the group's first
-- record set (smallest key, then enumeration order).
CREATE TABLE g (n Integer, s String, k Integer);
INSERT INTO g VALUES (65, 'ab', 1);
INSERT INTO g VALUES (97, 'AB', 2);
INSERT INTO g VALUES (65, 'Ab', 3);
INSERT INTO g VALUES (1, 'b', 4);
INSERT INTO g VALUES (97, 'ab', 5);
SELECT n, COUNT(*), MIN(k), SUM(k) FROM g GROUP BY n;
> 1 | 1 | 4 | 4
> 65 | 4 | 1 | 11
SELECT k, s, COUNT(DISTINCT s) FROM g GROUP BY s;
> 2 | AB | 1
> 4 | b | 1

-- Sums of doubles add up left to right over the group in that order:
-- 1 + 1e20 - 1e20 is 0, not 1 (1e20 + 1 rounds to 1e20). A group whose first
-- reading is NaN keeps it as MIN and MAX; elsewhere NaN never wins.
CREATE TABLE h (s String, x Double);
INSERT INTO h VALUES ('ab', '1e20');
INSERT INTO h VALUES ('AB', 1.0);
INSERT INTO h VALUES ('ab', '-1e20');
INSERT INTO h VALUES ('c', 'nan');
INSERT INTO h VALUES ('c', 2.5);
INSERT INTO h VALUES ('c', 0.5);
SELECT s, SUM(x), AVG(x), MAX(x), MIN(x) FROM h GROUP BY s;
> AB | 0 | 0 | 1e+20 | -1e+20
> c | nan | nan | nan | nan
SELECT MAX(x), MIN(x) FROM h WHERE x > 0;
> 1e+20 | 1
