-- ALTER TABLE adds and drops columns; the schema rows follow the transaction.
CREATE TABLE Mixed (x Integer, y String);
INSERT INTO Mixed VALUES (1, 'one');
COMMIT;
ALTER TABLE mixed ADD z Integer;
SELECT * FROM mixed;
: x | y | z
> 1 | one | NULL
SELECT TableName, ColumnID, ColumnName FROM _schema WHERE ColumnName = 'z';
> Mixed | 3 | z
UPDATE mixed SET z = 5;
SELECT * FROM mixed;
> 1 | one | 5
COMMIT;

-- Dropping an earlier column: later columns keep their IDs and their values,
-- and an UPDATE changes the right column.
ALTER TABLE MIXED DROP COLUMN x;
SELECT * FROM mixed;
: y | z
> one | 5
UPDATE mixed SET z = 6;
SELECT * FROM mixed;
> one | 6
INSERT INTO mixed VALUES ('two', 7);
SELECT y, z FROM mixed;
> one | 6
> two | 7
COMMIT;
.reopen
SELECT * FROM mixed;
: y | z
> one | 6
> two | 7

-- A new column never takes the ID (and so the stored values) of a dropped one.
ALTER TABLE mixed ADD w Integer;
SELECT ColumnID FROM _schema WHERE TableName = 'Mixed' AND ColumnName = 'w';
> 4
SELECT * FROM mixed;
: y | z | w
> one | 6 | NULL
> two | 7 | NULL
ROLLBACK;
SELECT * FROM mixed;
: y | z
> one | 6
> two | 7
ALTER TABLE mixed ADD x String;
SELECT ColumnID FROM _schema WHERE TableName = 'Mixed' AND ColumnName = 'x';
> 4
SELECT * FROM mixed;
> one | 6 | NULL
> two | 7 | NULL
COMMIT;

-- Reloading a table keeps its row ID counter: IDs are never handed out again.
INSERT INTO mixed (y, z) VALUES ('three', 8);
DELETE FROM mixed WHERE z = 8;
COMMIT;
ALTER TABLE mixed ADD v Integer;
INSERT INTO mixed (y) VALUES ('four');
SELECT _rowid, y FROM mixed;
> 1 | one
> 2 | two
> 4 | four
ROLLBACK;

-- Dropping the table removes every schema row, also those ALTER TABLE added.
DROP TABLE MIXED;
SELECT COUNT(*) FROM _schema WHERE TableName = 'Mixed';
> 0
COMMIT;
.reopen
SELECT * FROM mixed;
! [42S02] Error: Table mixed not found.
> (null)

-- ALTER TABLE on a table created in the same transaction.
CREATE TABLE fresh (a Integer, b Integer);
ALTER TABLE fresh DROP a;
ALTER TABLE fresh ADD c Integer;
SELECT ColumnID, ColumnName FROM _schema WHERE TableName = 'fresh';
> 2 | b
> 3 | c
ROLLBACK;
SELECT * FROM fresh;
! [42S02] Error: Table fresh not found.
> (null)
