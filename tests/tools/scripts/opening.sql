-- A missing file and an empty file become new databases that keep what was
-- committed; a file that is not a database, or a folder, is refused (exit
-- status 2), and the file is left as it was, byte for byte.
$ write empty.pvx ""
$ parvex empty.pvx "CREATE TABLE first (a Integer)" "INSERT INTO first (a) VALUES (7)"
$ parvex new.pvx "CREATE TABLE second (b String)" "INSERT INTO second (b) VALUES ('x')"
$ parvex --csv empty.pvx "SELECT a FROM first"
$ parvex --csv new.pvx "SELECT b FROM second" .tables
$ write other.pvx "name,value\nthis is not a database,42\n" "\x00\x25\x4A\x6F\x94\xB9\xDE\xFF\x03\x28\x4D\x72\x97\xBC\xE1"
$ parvex other.pvx "CREATE TABLE t (a Integer)"
$ cat other.pvx
$ parvex . "SELECT 1"
