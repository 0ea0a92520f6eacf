-- Every type name, the type codes in _schema and the round trip of each type through the files.
CREATE TABLE ty (i integer, s string, t TEXT, v varchar, b boolean, d date, tm time, ts timestamp, db double, f float, bi binary, bl BLOB);
SELECT ColumnID, ColumnName, TypeCode, Length, NotNull FROM _schema WHERE TableName = 'ty';
> 1 | i | 3 | 0 | 1
> 2 | s | 5 | 0 | 1
> 3 | t | 5 | 0 | 1
> 4 | v | 5 | 0 | 1
> 5 | b | 12 | 0 | 1
> 6 | d | 8 | 0 | 1
> 7 | tm | 9 | 0 | 1
> 8 | ts | 10 | 0 | 1
> 9 | db | 7 | 0 | 1
> 10 | f | 7 | 0 | 1
> 11 | bi | 14 | 0 | 1
> 12 | bl | 14 | 0 | 1
INSERT INTO ty VALUES (-5, 'a', 'b', 'c', TRUE, DATE '2001-02-03', TIME '04:05:06', TIMESTAMP '2001-02-03 04:05:06', 2.5, 0.25, 'xyz', 'q');
COMMIT;
.reopen
SELECT * FROM ty;
> -5 | a | b | c | TRUE | DATE 2001-02-03 | TIME 04:05:06 | TIMESTAMP 2001-02-03 04:05:06 | 2.5 | 0.25 | xyz | q

-- Values are converted to the column's type on the way in.
INSERT INTO ty (i, s, b, d, db) VALUES ('42', 17, 0, '1999-12-31', 3);
SELECT i, s, b, d, db FROM ty WHERE _rowid = 2;
> 42 | 17 | FALSE | DATE 1999-12-31 | 3

-- NULL stays NULL in every type, before and after COMMIT.
INSERT INTO ty VALUES (NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL);
SELECT * FROM ty WHERE _rowid = 3;
> NULL | NULL | NULL | NULL | NULL | NULL | NULL | NULL | NULL | NULL | NULL | NULL
COMMIT;
.reopen
SELECT * FROM ty WHERE _rowid = 3;
> NULL | NULL | NULL | NULL | NULL | NULL | NULL | NULL | NULL | NULL | NULL | NULL


-- Text stored into a Boolean column is false for "false", "0" and "f" in any
-- letter case, true for anything else (the empty text too).
CREATE TABLE flags (b Boolean);
INSERT INTO flags VALUES ('FALSE');
INSERT INTO flags VALUES ('False');
INSERT INTO flags VALUES ('0');
INSERT INTO flags VALUES ('F');
INSERT INTO flags VALUES ('no');
INSERT INTO flags VALUES ('');
SELECT b FROM flags;
> FALSE
> FALSE
> FALSE
> FALSE
> TRUE
> TRUE
