-- .tables, .schema, .indexes and .lastrowid describe the database; .parse
-- shows how the engine reads a statement.
$ parvex test.pvx
CREATE TABLE Zebra (id Integer, name String);
CREATE TABLE apple (code String, price Double, day Date, ok Boolean, t Time, ts Timestamp, b Binary);
CREATE INDEX ByName ON Zebra (name);
CREATE INDEX ByBoth ON Zebra (name, id);
INSERT INTO Zebra (id, name) VALUES (1, 'a');
INSERT INTO Zebra (id, name) VALUES (2, 'b');
$ parvex test.pvx
.tables
.indexes
.indexes Zebra
.indexes apple
.schema
.schema ZEBRA
.schema nope
.lastrowid nope
$ parvex test.pvx
.lastrowid Zebra
INSERT INTO Zebra (id) VALUES (3);
INSERT INTO Zebra (id) VALUES (4);
.lastrowid zebra
SELECT _rowid FROM Zebra WHERE id = 4;
$ parvex test.pvx
.parse SELECT foo FROM MYTABLE WHERE A=1 OR B=2 AND C=3;
.parse select x from t where not a = 1
.parse SELECT 'it''s' FROM t
.parse SELECT FROM FOO
.parse UPDATE foo
.parse
