-- .schema-export writes "SCHEMADA" and the schema table's data file;
-- .schema-import gives another database the same tables and columns (and
-- none of their rows), which stay after a reopen; the tag may be in any
-- letter case, and a tag alone gives an empty schema. Refusals come as status
-- lines and change nothing.
$ parvex test.pvx
CREATE TABLE Zebra (id Integer, name String);
CREATE TABLE apple (code String, price Double, day Date, ok Boolean, t Time, ts Timestamp, b Binary);
.schema-export schema.bin
$ cat schema.bin 8
$ parvex other.pvx "CREATE TABLE gone (x Integer)" "BEGIN" "INSERT INTO gone VALUES (1)" ".schema-import schema.bin" "ROLLBACK"
$ parvex other.pvx ".schema-import schema.bin" .tables "SELECT id, name FROM Zebra"
$ parvex other.pvx ".schema apple" "INSERT INTO Zebra (id, name) VALUES (1, 'z')" "SELECT name FROM Zebra" "SELECT COUNT(*) FROM _schema"
$ write bad.bin "NOT SCHEMA DATA"
$ write short.bin "SCHEM"
$ parvex other.pvx ".schema-import bad.bin" ".schema-import short.bin" .tables
$ write lower.bin "schemada"
$ parvex lower.pvx "CREATE TABLE t (a Integer)" ".schema-import lower.bin" .tables "SELECT COUNT(*) FROM _schema"
$ parvex test.pvx
BEGIN;
INSERT INTO Zebra (id) VALUES (9);
.schema-export schema.bin
ROLLBACK;
.schema-import missing.bin
