-- Tables, rows, the hidden _rowid column, * expansion and persistence.
CREATE TABLE people (name String, age Integer);
INSERT INTO people VALUES ('Ann', 31);
INSERT INTO people (age, name) VALUES (42, 'Bob');
INSERT INTO people (name) VALUES ('Cid');
SELECT * FROM people;
: name | age
> Ann | 31
> Bob | 42
> Cid | NULL
SELECT _rowid, name FROM people;
: _rowid | name
> 1 | Ann
> 2 | Bob
> 3 | Cid
SELECT name FROM people WHERE age > 35;
> Bob
SELECT name FROM people WHERE _rowid = 3;
> Cid
SELECT LAST_ROWID('people'), LAST_ROWID('nothing');
> 3 | NULL

-- Nothing is written before COMMIT: closing without it loses the table.
.transaction yes
.reopen
.transaction no
SELECT * FROM people;
! [42S02] Error: Table people not found.
> (null)

CREATE TABLE people (name String, age Integer);
INSERT INTO people VALUES ('Ann', 31);
INSERT INTO people VALUES ('Bob', 42);
COMMIT;
.transaction no
.file people.dat yes
.file people.map yes
.reopen
SELECT _rowid, * FROM people;
> 1 | Ann | 31
> 2 | Bob | 42

-- Row IDs keep counting across a reopen; deleted IDs are never handed out again.
DELETE FROM people WHERE name = 'Bob';
COMMIT;
.reopen
INSERT INTO people VALUES ('Dee', 27);
SELECT _rowid, name FROM people;
> 1 | Ann
> 3 | Dee
COMMIT;

-- An explicit _rowid is taken as the row's ID; a taken one is refused.
INSERT INTO people (_rowid, name) VALUES (10, 'Eve');
INSERT INTO people (_rowid, name) VALUES (3, 'Fay');
! [23000] Constraint violation.
INSERT INTO people (name) VALUES ('Gus');
SELECT _rowid, name FROM people;
> 1 | Ann
> 3 | Dee
> 10 | Eve
> 11 | Gus
COMMIT;
.reopen
SELECT _rowid, name FROM people;
> 1 | Ann
> 3 | Dee
> 10 | Eve
> 11 | Gus

-- Table and column names match in any letter case; results keep the table's spelling.
SELECT NAME FROM PEOPLE WHERE Age = 27;
> Dee

-- A query without FROM evaluates once.
SELECT 1+1, 'a' + 'b', 7/2, -7/2;
> 2 | ab | 3 | -3
