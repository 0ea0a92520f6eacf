-- .import: a new table from the header line (names that are not plain words
-- are made into words, with a note); quoted fields with commas, doubled
-- quotes and line ends; CR LF line ends, a last line without one, a UTF-8
-- byte-order mark; an empty unquoted field is NULL, "" an empty text. Into an existing table every field is converted and checked
-- first, and one bad field refuses the whole file, naming its line. Inside
-- BEGIN the rows belong to the transaction.
$ write people.csv "name,\"home town\",note\r\n\"Smith, Ann\",Springfield,\"said \"\"hi\"\"\nand left\"\r\nBob,,\"\"\r\n\r\nZoë,Zürich,plain\r\n"
$ parvex test.pvx
.import people.csv People
.schema People
.mode csv
SELECT name, home_town, note FROM People;
.mode json
SELECT home_town, note FROM People WHERE name = 'Bob';
$ write good.csv "D,n,B,day,_rowid\n0.5,7,yes,2020-01-02,10\n,-3,F,,11\n"
$ write bad.csv "n,d\n1,1.5\n2,\"x\ny\"\n3,abc\n"
$ write nocolumn.csv "n,nope\n1,2\n"
$ write short.csv "n,d\n1\n"
$ write taken.csv "n,_rowid\n5,10\n"
$ write open.csv "n\n\"open\n"
$ write empty.csv ""
$ write junk.csv "n\n\"1\"2\n"
$ write bom.csv "\xEF\xBB\xBFn,d\n5,0.5"
$ parvex test.pvx
CREATE TABLE t (n Integer, d Double, b Boolean, day Date);
INSERT INTO t (n) VALUES (1);
.import good.csv t
.mode csv
SELECT _rowid, n, d, b, day FROM t;
.mode list
.import bad.csv t
.import nocolumn.csv t
.import short.csv t
.import taken.csv t
.import open.csv t
.import empty.csv t
.import junk.csv t
.import bom.csv t
SELECT COUNT(*) FROM t;
$ write rows.csv "a\n1\n2\n"
$ parvex test.pvx
BEGIN;
.import rows.csv fresh
SELECT COUNT(*) FROM fresh;
ROLLBACK;
.tables
.import rows.csv fresh
SELECT a FROM fresh;
$ write typed.csv "i,j,d,b,day\n -42 ,+7,-1.5e3,Yes,2001-02-03\n"
$ write big.csv "i\n2147483648\n"
$ write letters.csv "i\n12abc\n"
$ write comma.csv "d\n\"1,5\"\n"
$ write maybe.csv "b\nmaybe\n"
$ write names.csv "id,first name,2nd,,ID,e-mail,id_2\n1,2,3,4,5,6,7\n"
$ parvex typed.pvx
CREATE TABLE t (i Integer, j Integer, d Double, b Boolean, day Date);
.import typed.csv t
.import big.csv t
.import letters.csv t
.import comma.csv t
.import maybe.csv t
SELECT * FROM t;
.import names.csv n
.schema n
-- A new table's column types come from the values: Integer, Double (an
-- integer too big for Integer, exponents), Boolean only from true/false, Date,
-- Time, Timestamp; a leading zero, a mix of types or only NULLs give String.
-- Exported as CSV and imported again (into the table it created, despite the
-- renamed column), '' stays '' and NULL stays NULL, also with .nullvalue.
$ write kinds.csv "n,big,x,flag,day,at,stamp,zip,mixed,none,\"odd name\"\n1,2147483648,1e3,true,2001-02-03,04:05:06,2001-02-03 04:05:06.5,007,1,,plain\n-2,3,-0.5,FALSE,1999-12-31,23:59:59.25,1999-12-31 00:00:00,10,x,,\"\"\n"
$ parvex kinds.pvx
.import kinds.csv k
.schema k
.mode csv
SELECT * FROM k;
.once k.csv
SELECT * FROM k;
.import k.csv k
SELECT COUNT(*) FROM k WHERE odd_name = '';
.nullvalue NULL
.once knull.csv
SELECT n, none, odd_name FROM k WHERE _rowid <= 2;
DELETE FROM k;
.import knull.csv k
SELECT n, none, odd_name FROM k;
$ cat knull.csv
