-- Damaged files through the shell: a statement that meets damage fails,
-- naming the table, while the other tables answer; a commit over damage is
-- refused whole; .dump stops before its COMMIT; a file cut short is refused
-- at open; --check and .check report damage (exit status 1); --recover
-- copies every readable row, with its row ID, and the indexes into a new
-- file, saying what it skipped.
$ write books.sql "CREATE TABLE Authors (name String);\nCREATE TABLE Books (title String, pages Integer);\nCREATE INDEX byTitle ON Books (title);\nINSERT INTO Authors (name) VALUES ('author 1');\nINSERT INTO Authors (name) VALUES ('author 2');\nINSERT INTO Authors (name) VALUES ('author 3');\nINSERT INTO Authors (name) VALUES ('author 4');\nINSERT INTO Authors (name) VALUES ('author 5');\nINSERT INTO Books (title, pages) VALUES ('title-1001', 1);\nINSERT INTO Books (title, pages) VALUES ('title-1002', 2);\nINSERT INTO Books (title, pages) VALUES ('title-1003', 3);\nINSERT INTO Books (title, pages) VALUES ('title-1004', 4);\nINSERT INTO Books (title, pages) VALUES ('title-1005', 5);\nINSERT INTO Books (title, pages) VALUES ('title-1006', 6);\nINSERT INTO Books (title, pages) VALUES ('title-1007', 7);\nINSERT INTO Books (title, pages) VALUES ('title-1008', 8);\nINSERT INTO Books (title, pages) VALUES ('title-1009', 9);\nINSERT INTO Books (title, pages) VALUES ('title-1010', 10);\nINSERT INTO Books (title, pages) VALUES ('title-1011', 11);\nINSERT INTO Books (title, pages) VALUES ('title-1012', 12);\nINSERT INTO Books (title, pages) VALUES ('title-1013', 13);\nINSERT INTO Books (title, pages) VALUES ('title-1014', 14);\nINSERT INTO Books (title, pages) VALUES ('title-1015', 15);\nINSERT INTO Books (title, pages) VALUES ('title-1016', 16);\nINSERT INTO Books (title, pages) VALUES ('title-1017', 17);\nINSERT INTO Books (title, pages) VALUES ('title-1018', 18);\nINSERT INTO Books (title, pages) VALUES ('title-1019', 19);\nINSERT INTO Books (title, pages) VALUES ('title-1020', 20);\nINSERT INTO Books (title, pages) VALUES ('title-1021', 21);\nINSERT INTO Books (title, pages) VALUES ('title-1022', 22);\nINSERT INTO Books (title, pages) VALUES ('title-1023', 23);\nINSERT INTO Books (title, pages) VALUES ('title-1024', 24);\nINSERT INTO Books (title, pages) VALUES ('title-1025', 25);\nINSERT INTO Books (title, pages) VALUES ('title-1026', 26);\nINSERT INTO Books (title, pages) VALUES ('title-1027', 27);\nINSERT INTO Books (title, pages) VALUES ('title-1028', 28);\nINSERT INTO Books (title, pages) VALUES ('title-1029', 29);\nINSERT INTO Books (title, pages) VALUES ('title-1030', 30);\nINSERT INTO Books (title, pages) VALUES ('title-1031', 31);\nINSERT INTO Books (title, pages) VALUES ('title-1032', 32);\nINSERT INTO Books (title, pages) VALUES ('title-1033', 33);\nINSERT INTO Books (title, pages) VALUES ('title-1034', 34);\nINSERT INTO Books (title, pages) VALUES ('title-1035', 35);\nINSERT INTO Books (title, pages) VALUES ('title-1036', 36);\nINSERT INTO Books (title, pages) VALUES ('title-1037', 37);\nINSERT INTO Books (title, pages) VALUES ('title-1038', 38);\nINSERT INTO Books (title, pages) VALUES ('title-1039', 39);\nINSERT INTO Books (title, pages) VALUES ('title-1040', 40);\n"
$ parvex books.pvx < books.sql
$ parvex --check books.pvx
-- .check reads the database as committed: not inside BEGIN; a table created
-- and rolled back leaves no file behind.
$ parvex books.pvx
BEGIN;
CREATE TABLE scratch (a Integer);
.check
ROLLBACK;
.check
-- Row 17's value count becomes 127, more than its body can hold. Counting
-- rows reads no values; reading them meets the damage.
$ poke books.pvx title-1017 -17 "\x7F"
$ parvex books.pvx "SELECT COUNT(*) FROM Authors" "SELECT COUNT(*) FROM Books" "SELECT title FROM Books WHERE pages > 30"
$ parvex books.pvx
BEGIN;
INSERT INTO Authors (name) VALUES ('late');
INSERT INTO Books (title) VALUES ('late');
SELECT title FROM Books;
COMMIT;
$ parvex books.pvx "SELECT COUNT(*) FROM Authors" ".dump Books"
$ parvex --check books.pvx
$ parvex --recover books.pvx saved.pvx
$ parvex --check saved.pvx
$ parvex saved.pvx "SELECT _rowid, pages FROM Books WHERE pages > 38" "INSERT INTO Books (pages) VALUES (0)" "SELECT _rowid FROM Books WHERE pages = 0" .indexes
$ parvex --recover books.pvx saved.pvx
-- A copy cut short by 500 bytes: refused at open, found by --check.
$ parvex cut.pvx < books.sql
$ truncate cut.pvx 500
$ parvex cut.pvx "SELECT 1"
$ parvex --check cut.pvx
$ parvex --check missing.pvx
