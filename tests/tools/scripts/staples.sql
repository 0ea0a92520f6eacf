-- Everyday commands: the framed modes table and markdown, .separator and
-- .nullvalue in every mode (CSV writes '' as "" so that it differs from NULL),
-- .output and .once to files, .echo, .help COMMAND, --version, a transient
-- database in memory (no file, :memory:, .open without a file) and .open of a
-- file; BEGIN left open is rolled back when .open replaces the database;
-- .changes counts the rows of each statement and of the session.
$ parvex test.pvx
CREATE TABLE p (id Integer, name String, note String);
INSERT INTO p (id, name, note) VALUES (1, 'Ann', '');
INSERT INTO p (id, name, note) VALUES (22, NULL, 'a|b');
.mode table
SELECT id, name, note FROM p;
.mode markdown
SELECT id, name, note FROM p;
.mode list
.separator ", " "\n--\n"
SELECT id, name, note FROM p;
.separator \t
.nullvalue (none)
SELECT id, name, note FROM p;
.mode csv
SELECT id, name, note FROM p;
.nullvalue NULL
SELECT id, name, 'NULL' AS n FROM p;
.mode line
SELECT name FROM p WHERE id = 22;
.separator \q
.nullvalue
$ parvex test.pvx
.output out.txt
SELECT COUNT(*) FROM p;
.tables
.output
SELECT 'back';
.once lost.txt
.once once.txt
SELECT name FROM p WHERE id = 1;
SELECT 'not in the file';
.once no/such/folder/x.txt
$ cat out.txt
$ cat once.txt
$ parvex test.pvx
.echo on
SELECT 1 /* a comment */;
.mode csv
.echo off
SELECT 2;
.help import
.help .separator
.help nothing
$ parvex --version
$ parvex
CREATE TABLE m (a Integer);
INSERT INTO m (a) VALUES (5);
SELECT a FROM m;
.open test.pvx
SELECT COUNT(*) FROM p;
BEGIN;
DELETE FROM p;
.open
.tables
.open :memory:
.open no/such/folder/db.pvx
.tables
$ parvex :memory: "SELECT 1" .tables
$ parvex test.pvx "SELECT COUNT(*) FROM p"
$ write two.csv "id,name\n7,x\n8,y\n"
$ parvex test.pvx
.changes on
INSERT INTO p (id, name) VALUES (3, 'Cy');
UPDATE p SET note = 'n' WHERE id < 10;
SELECT COUNT(*) FROM p;
UPDATE p SET nope = 1;
.import two.csv p
DELETE FROM p WHERE id > 2;
