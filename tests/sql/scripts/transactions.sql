-- Pending changes, COMMIT, ROLLBACK, row IDs after ROLLBACK, DROP TABLE both ways.
CREATE TABLE r (a Integer, s String);
.transaction yes
COMMIT;
.transaction no

INSERT INTO r VALUES (1, 'one');
INSERT INTO r VALUES (2, 'two');
.transaction yes
SELECT _rowid, a FROM r;
> 1 | 1
> 2 | 2
ROLLBACK;
.transaction no
SELECT a FROM r;
! [02000] No records found.
-- The rolled-back IDs are handed out again.
INSERT INTO r VALUES (3, 'three');
SELECT _rowid, a FROM r;
> 1 | 3
SELECT LAST_ROWID('r');
> 1
COMMIT;

-- Updates and deletions read through the pending state and vanish with ROLLBACK.
INSERT INTO r VALUES (4, 'four');
INSERT INTO r VALUES (5, 'five');
COMMIT;
UPDATE r SET s = 'THREE' WHERE a = 3;
DELETE FROM r WHERE a = 4;
INSERT INTO r VALUES (6, 'six');
UPDATE r SET s = 'SIX' WHERE a = 6;
SELECT _rowid, a, s FROM r;
> 1 | 3 | THREE
> 3 | 5 | five
> 4 | 6 | SIX
ROLLBACK;
SELECT _rowid, a, s FROM r;
> 1 | 3 | three
> 2 | 4 | four
> 3 | 5 | five

-- An update that makes a row longer moves its record but not its place in the scan.
UPDATE r SET s = 'a much longer text than before' WHERE a = 3;
COMMIT;
.reopen
SELECT _rowid, a, s FROM r;
> 1 | 3 | a much longer text than before
> 2 | 4 | four
> 3 | 5 | five

-- A row added and deleted in one transaction leaves nothing, but its ID is used up.
INSERT INTO r VALUES (7, 'seven');
DELETE FROM r WHERE a = 7;
COMMIT;
.transaction no
INSERT INTO r VALUES (8, 'eight');
COMMIT;
.reopen
SELECT _rowid, a FROM r;
> 1 | 3
> 2 | 4
> 3 | 5
> 5 | 8

-- A committed row deleted and added again under its ID is one row.
DELETE FROM r WHERE _rowid = 2;
INSERT INTO r (_rowid, a, s) VALUES (2, 44, 'again');
COMMIT;
.reopen
SELECT _rowid, a FROM r;
> 1 | 3
> 3 | 5
> 5 | 8
> 2 | 44

-- Deleted rows never come back, also after a reopen.
DELETE FROM r;
COMMIT;
.reopen
SELECT a FROM r;
! [02000] No records found.
SELECT COUNT(*) FROM r;
> 0

-- The files CREATE TABLE makes at once go again with ROLLBACK: the database
-- file is as last committed.
CREATE TABLE gone (a Integer);
.file gone.dat yes
ROLLBACK;
.file gone.dat no
.file gone.map no

-- DROP TABLE is pending like any change.
CREATE TABLE d (a Integer);
INSERT INTO d VALUES (7);
CREATE INDEX da ON d (a);
COMMIT;
.file d.dat yes
.file d.map yes
.file d.da.idx yes
DROP TABLE D;
.transaction yes
SELECT * FROM d;
! [42S02] Error: Table d not found.
> (null)
SELECT COUNT(*) FROM _schema WHERE TableName = 'd';
> 0
ROLLBACK;
SELECT * FROM d;
> 7
.file d.dat yes
DROP TABLE d;
COMMIT;
.file d.dat no
.file d.map no
.file d.da.idx no
.reopen
SELECT * FROM d;
! [42S02] Error: Table d not found.
> (null)
-- A new table of the same name starts empty.
CREATE TABLE d (b String);
SELECT * FROM d;
! [02000] No records found.
INSERT INTO d VALUES ('new');
SELECT _rowid, b FROM d;
> 1 | new

-- A table created and rolled back is gone again.
CREATE TABLE gone (x Integer);
INSERT INTO gone VALUES (1);
ROLLBACK;
SELECT * FROM gone;
! [42S02] Error: Table gone not found.
> (null)
SELECT * FROM d;
! [42S02] Error: Table d not found.
> (null)
