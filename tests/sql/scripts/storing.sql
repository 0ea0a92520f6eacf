-- How a value is stored into a column of another type: through INSERT, UPDATE, INSERT ... SELECT and DEFAULT.

-- Text-form columns take the text of the value, keyword included.
CREATE TABLE t (s String);
INSERT INTO t VALUES (DATE '2001-02-03');
INSERT INTO t VALUES (TIME '10:00:00');
UPDATE t SET s = TIMESTAMP '2001-02-03 10:00:00' WHERE _rowid = 2;
SELECT s, s + '|' AS p FROM t;
> DATE 2001-02-03 | DATE 2001-02-03|
> TIMESTAMP 2001-02-03 10:00:00 | TIMESTAMP 2001-02-03 10:00:00|
SELECT _rowid FROM t WHERE s = DATE '2001-02-03';
> 1
COMMIT;
.reopen
SELECT s FROM t WHERE s = TIMESTAMP '2001-02-03 10:00:00';
> TIMESTAMP 2001-02-03 10:00:00

-- Every other type into each text-form column; NULL stays NULL.
CREATE TABLE x (s String, d Date, tm Time, ts Timestamp, bi Binary);
INSERT INTO x VALUES (17, 17, 17, 17, 17);
INSERT INTO x VALUES (TRUE, FALSE, TRUE, FALSE, TRUE);
INSERT INTO x VALUES (2.5, 2.5, 2.5, 2.5, 2.5);
INSERT INTO x VALUES (TIME '04:05:06', TIMESTAMP '2001-02-03 04:05:06', DATE '2001-02-03', TIME '04:05:06', DATE '2001-02-03');
INSERT INTO x VALUES ('plain', '1999-12-31', '23:59:59', '1999-12-31 23:59:59', 'raw');
INSERT INTO x VALUES (NULL, NULL, NULL, NULL, NULL);
COMMIT;
.reopen
SELECT s, d, tm, ts, bi FROM x;
> 17 | DATE 17 | TIME 17 | TIMESTAMP 17 | 17
> TRUE | DATE FALSE | TIME TRUE | TIMESTAMP FALSE | TRUE
> 2.5 | DATE 2.5 | TIME 2.5 | TIMESTAMP 2.5 | 2.5
> TIME 04:05:06 | DATE TIMESTAMP 2001-02-03 04:05:06 | TIME DATE 2001-02-03 | TIMESTAMP TIME 04:05:06 | DATE 2001-02-03
> plain | DATE 1999-12-31 | TIME 23:59:59 | TIMESTAMP 1999-12-31 23:59:59 | raw
> NULL | NULL | NULL | NULL | NULL

-- A value of the column's own type keeps its text.
INSERT INTO x (d, tm, ts) VALUES (DATE '2020-01-02', TIME '01:02:03', TIMESTAMP '2020-01-02 01:02:03');
SELECT d, tm, ts FROM x WHERE _rowid = 7;
> DATE 2020-01-02 | TIME 01:02:03 | TIMESTAMP 2020-01-02 01:02:03

-- INSERT ... SELECT stores by the same rules.
CREATE TABLE src (d Date, n Integer, f Double, b Boolean);
INSERT INTO src VALUES (DATE '2001-02-03', -4, 1.5, TRUE);
CREATE TABLE dst (a String, b String, c String, d String, e Double, g Double, h Integer);
INSERT INTO dst SELECT d, n, f, b, n, b, f FROM src;
SELECT a, b, c, d, e, g, h FROM dst;
> DATE 2001-02-03 | -4 | 1.5 | TRUE | -4 | 1 | 1

-- Double columns keep the number: integers and booleans by value, text by its leading decimal number.
CREATE TABLE n (f Double);
INSERT INTO n VALUES (5);
INSERT INTO n VALUES (TRUE);
INSERT INTO n VALUES ('-1.5e2xyz');
INSERT INTO n VALUES ('none');
UPDATE n SET f = 7 WHERE _rowid = 4;
SELECT f FROM n;
> 5
> 1
> -150
> 7

-- Defaults are kept as their saved text and converted to the column's type when used; columns an
-- INSERT leaves out are NULL, not their default.
CREATE TABLE dft (s String DEFAULT DATE '2001-02-03', d Date DEFAULT '2001-02-03', f Double DEFAULT '-2.5', k Integer DEFAULT 3, e String);
INSERT INTO dft DEFAULT VALUES;
INSERT INTO dft (s, f) VALUES (DEFAULT, DEFAULT);
UPDATE dft SET k = DEFAULT, d = DEFAULT, e = TIME '10:11:12' WHERE _rowid = 2;
SELECT s, d, f, k, e FROM dft;
> 2001-02-03 | DATE 2001-02-03 | -2.5 | 3 | NULL
> 2001-02-03 | DATE 2001-02-03 | -2.5 | 3 | TIME 10:11:12
