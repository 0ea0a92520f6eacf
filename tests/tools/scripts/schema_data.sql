-- .schema-export writes "SCHEMADA" and the schema table's data file;
-- .schema-import gives another database the same tables and columns.
-- Refusals come as status lines.
$ parvex test.pvx
CREATE TABLE Zebra (id Integer, name String);
CREATE TABLE apple (code String, price Double, day Date, ok Boolean, t Time, ts Timestamp, b Binary);
.schema-export schema.bin
$ cat schema.bin 8
$ parvex other.pvx ".schema-import schema.bin" .tables "SELECT id, name FROM Zebra" ".schema apple"
$ write bad.bin "NOT SCHEMA DATA"
$ parvex other.pvx ".schema-import bad.bin"
$ parvex test.pvx
BEGIN;
INSERT INTO Zebra (id) VALUES (9);
.schema-export schema.bin
ROLLBACK;
.schema-import missing.bin
