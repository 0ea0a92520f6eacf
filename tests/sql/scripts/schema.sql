-- The _schema table: its own rows, the rows CREATE TABLE writes, defaults.
SELECT _rowid, * FROM _schema;
> 1 | _schema | 1 | TableName | 5 | 0 | 1 |
> 2 | _schema | 2 | ColumnID | 3 | 0 | 1 |
> 3 | _schema | 3 | ColumnName | 5 | 0 | 1 |
> 4 | _schema | 4 | TypeCode | 3 | 0 | 1 |
> 5 | _schema | 5 | Length | 3 | 0 | 1 |
> 6 | _schema | 6 | NotNull | 3 | 0 | 1 |
> 7 | _schema | 7 | DefaultValue | 5 | 0 | 1 |
SELECT DISTINCT TableName FROM _schema;
> _schema
.transaction no
CREATE TABLE first (a Integer, b String);
CREATE TABLE second (c Double);
SELECT TableName, ColumnID, ColumnName, TypeCode FROM _schema WHERE TableName <> '_schema';
> first | 1 | a | 3
> first | 2 | b | 5
> second | 1 | c | 7
COMMIT;
.reopen
SELECT COUNT(*) FROM _schema;
> 10

-- Defaults are stored as text and converted to the column's type when the
-- table is loaded; an empty text means no default.
UPDATE _schema SET DefaultValue = '12' WHERE TableName = 'first' AND ColumnName = 'a';
UPDATE _schema SET DefaultValue = 'hello' WHERE TableName = 'first' AND ColumnName = 'b';
UPDATE _schema SET DefaultValue = '2.5' WHERE TableName = 'second';
COMMIT;
.reopen
INSERT INTO first DEFAULT VALUES;
INSERT INTO first (b) VALUES (DEFAULT);
INSERT INTO second DEFAULT VALUES;
SELECT a, b FROM first;
> 12 | hello
> NULL | hello
SELECT c FROM second;
> 2.5
UPDATE first SET a = 1;
UPDATE first SET a = DEFAULT WHERE b = 'hello' AND _rowid = 2;
SELECT a FROM first;
> 1
> 12
ROLLBACK;

-- Tables load in the order of their first schema row.
CREATE TABLE third (x Integer);
INSERT INTO third VALUES (3);
INSERT INTO second VALUES (2.0);
INSERT INTO first VALUES (1, 'one');
COMMIT;
.reopen
SELECT a, c, x FROM first, second, third;
> 1 | 2 | 3

-- A table's rows are found in any letter case of its name, and its columns
-- come in the order of its rows, whatever their IDs; defaults are converted
-- to the column's type.
INSERT INTO _schema VALUES ('Things', 1, 'n', 3, 0, 1, '12');
INSERT INTO _schema VALUES ('THINGS', 5, 'b', 12, 0, 1, 'false');
INSERT INTO _schema VALUES ('things', 3, 'd', 8, 0, 1, '2007-03-05');
COMMIT;
.reopen
ALTER TABLE things ADD e Integer;
SELECT ColumnID FROM _schema WHERE ColumnName = 'e';
> 6
INSERT INTO things DEFAULT VALUES;
SELECT _rowid, * FROM THINGS;
: _rowid | n | b | d | e
> 1 | 12 | FALSE | DATE 2007-03-05 | NULL
ROLLBACK;

-- A schema row naming no storable type leaves a column that holds nothing.
CREATE TABLE odd (a Integer, b String);
COMMIT;
UPDATE _schema SET TypeCode = 99 WHERE TableName = 'odd' AND ColumnName = 'a';
COMMIT;
.reopen
INSERT INTO odd VALUES (5, 'five');
UPDATE odd SET a = 6;
SELECT b FROM odd;
> five
COMMIT;
.reopen
SELECT COUNT(*) FROM odd;
> 1

-- A DEFAULT in CREATE TABLE or ALTER TABLE ... ADD is stored as text.
CREATE TABLE withdef (a Integer DEFAULT 5, b String DEFAULT 'it''s', c Double DEFAULT -2, d Integer DEFAULT NULL);
ALTER TABLE withdef ADD e Date DEFAULT DATE '2001-02-03';
SELECT ColumnName, DefaultValue FROM _schema WHERE TableName = 'withdef';
> a | 5
> b | it's
> c | -2
> d |
> e | 2001-02-03
INSERT INTO withdef DEFAULT VALUES;
INSERT INTO withdef (a) VALUES (1);
SELECT a, b, c, d, e FROM withdef;
> 5 | it's | -2 | NULL | DATE 2001-02-03
> 1 | NULL | NULL | NULL | NULL
-- A DEFAULT is a literal, not an expression.
CREATE TABLE baddef (a Integer DEFAULT 1/0);
! [07000] SQL Error: comma or parenthesis expected
SELECT COUNT(*) FROM _schema WHERE TableName = 'baddef';
> 0
