-- Warnings for statements the dialect reads otherwise than they look. Off
-- for input that is not a terminal unless .warnings on or --warnings asks;
-- each names what happened, the statement as it ran and how to write what
-- was meant. The results show that each warning describes what really ran.
$ parvex test.pvx
CREATE TABLE Books (id Integer, title String, pages Integer, price Double, inStock Boolean, added Date);
INSERT INTO Books VALUES (1, 'Emma', 432, 9.5, TRUE, DATE '2001-02-03');
INSERT INTO Books VALUES (2, 'Persuasion', 250, 12.25, FALSE, DATE '2002-03-04');
INSERT INTO Books VALUES (3, 'Ulysses', 0, 2.75, TRUE, DATE '2003-04-05');
SELECT id FROM Books WHERE pages != 432 AND id < 3;
-- Text left unread: a comparison the dialect has no operator for, LIMIT, a
-- second statement, text behind ROLLBACK.
$ parvex --warnings test.pvx
SELECT id FROM Books WHERE pages != 432 AND id < 3;
SELECT id FROM Books LIMIT 2 OFFSET 1;
SELECT id FROM Books WHERE title = 'Emma' || 'x';
ROLLBACK TO SAVEPOINT a;
COMMIT WORK;
-- A dropped NOT, with the opposite condition written out.
$ parvex test.pvx
.warnings on
SELECT id FROM Books WHERE NOT pages > 300 AND id < 3;
SELECT id FROM Books WHERE NOT (pages = 0 OR title LIKE 'E%');
SELECT id FROM Books WHERE NOT inStock;
SELECT id FROM Books WHERE NOT (NOT id = 1);
-- Arithmetic that leaves its left operand alone or cuts a Double.
$ parvex --warnings test.pvx
SELECT price * 2, 2 * price, title - 1, added + 1, inStock + 1, -price FROM Books WHERE id = 1;
SELECT SUM(price) * 2, AVG(pages) + 1 FROM Books;
UPDATE Books SET price = price * 2 WHERE id = 3;
INSERT INTO Books (id, price) VALUES (4, -1.5);
SELECT id, price FROM Books WHERE id > 2;
-- Comparisons on whole parts.
$ parvex --warnings test.pvx
SELECT id FROM Books WHERE price = 12;
SELECT id FROM Books WHERE price > 12 OR 9 = price;
SELECT id FROM Books WHERE pages >= 250.5 OR pages = 0.5;
SELECT COUNT(*) FROM Books GROUP BY inStock HAVING MAX(price) > 9;
-- ORDER BY on a Double, and a name that is no result column.
$ parvex --warnings test.pvx
SELECT id, price FROM Books ORDER BY price;
SELECT id, AVG(price) AS average FROM Books GROUP BY id ORDER BY average DESC;
SELECT title FROM Books ORDER BY pages;
SELECT B.title FROM Books B ORDER BY B.title;
-- Statements close to the traps that mean what they say: no warning.
$ parvex --warnings --csv test.pvx
SELECT id FROM Books WHERE pages <> 432 AND id < 3 AND _rowid <= 2;
SELECT id FROM Books WHERE pages <= 300 AND title NOT LIKE 'E%' OR inStock = FALSE;
SELECT pages * 2, pages / 3, title + '!', 2 * 3.0, -pages, -(3), -2.0, '' + price FROM Books WHERE id = 1;
SELECT id FROM Books WHERE price < 10 AND price >= 1 AND 3.0 <= price OR pages > 300.0 OR '' + price = '12.25' OR price = NULL OR added = DATE '2001-02-03';
SELECT title, pages, added FROM Books ORDER BY pages DESC, title, added;
SELECT * FROM Books ORDER BY title;
SELECT B.id, COUNT(*) AS n, SUM(pages) FROM Books AS B GROUP BY id HAVING COUNT(*) > 0 ORDER BY n, id;
SELECT SUBSTRING(title FROM 1 FOR 3), POSITION('e' IN title) + 1, CHAR_LENGTH(title) * 2 FROM Books WHERE LOWER(title) LIKE 'e%';
UPDATE Books SET pages = pages + 1, price = '-3.5' WHERE id = 4;
DELETE FROM Books WHERE id = 99 OR title = 'x';
CREATE TABLE Other (a Double DEFAULT 1.5, b Integer DEFAULT -3);
SET ESCAPE ^;
COMMIT TRANSACTION;
-- A statement that fails shows its error only; --no-warnings and the default
-- for scripts show none.
$ parvex --warnings test.pvx "SELECT nope FROM Books WHERE NOT id = 1" "SELECT 1 FROM Books WHERE id != 1"
$ parvex --no-warnings test.pvx "SELECT id FROM Books LIMIT 1"
$ parvex test.pvx
.warnings off
SELECT id FROM Books WHERE NOT id = 1;
.warnings maybe
