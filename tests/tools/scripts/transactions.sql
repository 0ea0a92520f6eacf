-- Autocommit: each statement that succeeds is committed, a failed one is
-- rolled back whole (an UPDATE that fails on its second row keeps nothing).
-- BEGIN suspends this until COMMIT or ROLLBACK; changes left open at the end
-- are rolled back with a warning; a second BEGIN is refused.
$ parvex test.pvx
CREATE TABLE t (a Integer, b Integer, c Integer);
INSERT INTO t (a, b, c) VALUES (1, 10, 2);
INSERT INTO t (a, b, c) VALUES (2, 10, 0);
UPDATE t SET a = b / c;
SELECT a FROM t;
$ parvex test.pvx "SELECT a FROM t"
$ parvex test.pvx
begin transaction;
UPDATE t SET a = b / c;
INSERT INTO t (a) VALUES (3);
COMMIT;
$ parvex test.pvx "SELECT a FROM t"
$ parvex test.pvx
BEGIN;
INSERT INTO t (a) VALUES (4);
CREATE TABLE u (x Integer);
DELETE FROM t;
SELECT a FROM t;
ROLLBACK;
SELECT a FROM t;
.tables
INSERT INTO t (a) VALUES (4);
$ parvex test.pvx "SELECT a FROM t"
$ parvex test.pvx
BEGIN;
INSERT INTO t (a) VALUES (99);
$ parvex test.pvx
BEGIN;
BEGIN TRANSACTION;
INSERT INTO t (a) VALUES (6);
COMMIT;
$ parvex test.pvx "INSERT INTO t (a) VALUES (7)" "INSERT INTO t (nope) VALUES (0)" "INSERT INTO t (a) VALUES (8)"
$ parvex test.pvx "SELECT a FROM t"
