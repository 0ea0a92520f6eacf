-- The demo database that `make run` creates on first use: authors and their
-- books, related by Books.authorID = Authors.id. Try for example:
--   SELECT name, country FROM Authors ORDER BY name;
--   SELECT title, published FROM Books WHERE pages > 400 ORDER BY published;
--   SELECT name, title FROM Authors, Books WHERE Authors.id = Books.authorID ORDER BY name;
--   SELECT authorID, COUNT(*), SUM(pages) FROM Books GROUP BY authorID;
BEGIN TRANSACTION;

CREATE TABLE Authors (id Integer, name String, born Date, country String);
CREATE TABLE Books (id Integer, title String, authorID Integer, published Integer, pages Integer,
                    price Double, inStock Boolean);
CREATE INDEX ByAuthor ON Books (authorID);

INSERT INTO Authors (id, name, born, country) VALUES (1, 'Jane Austen', DATE '1775-12-16', 'England');
INSERT INTO Authors (id, name, born, country) VALUES (2, 'Charles Dickens', DATE '1812-02-07', 'England');
INSERT INTO Authors (id, name, born, country) VALUES (3, 'Mary Shelley', DATE '1797-08-30', 'England');
INSERT INTO Authors (id, name, born, country) VALUES (4, 'Herman Melville', DATE '1819-08-01', 'United States');
INSERT INTO Authors (id, name, born, country) VALUES (5, 'Fyodor Dostoevsky', DATE '1821-11-11', 'Russia');
INSERT INTO Authors (id, name, born, country) VALUES (6, 'Gustave Flaubert', DATE '1821-12-12', 'France');

INSERT INTO Books (id, title, authorID, published, pages, price, inStock)
  VALUES (1, 'Pride and Prejudice', 1, 1813, 432, 9.99, TRUE);
INSERT INTO Books (id, title, authorID, published, pages, price, inStock)
  VALUES (2, 'Emma', 1, 1815, 474, 8.5, TRUE);
INSERT INTO Books (id, title, authorID, published, pages, price, inStock)
  VALUES (3, 'Persuasion', 1, 1817, 249, 7.25, FALSE);
INSERT INTO Books (id, title, authorID, published, pages, price, inStock)
  VALUES (4, 'Oliver Twist', 2, 1838, 554, 10.0, TRUE);
INSERT INTO Books (id, title, authorID, published, pages, price, inStock)
  VALUES (5, 'A Tale of Two Cities', 2, 1859, 489, 11.5, TRUE);
INSERT INTO Books (id, title, authorID, published, pages, price, inStock)
  VALUES (6, 'Great Expectations', 2, 1861, 505, 12.0, FALSE);
INSERT INTO Books (id, title, authorID, published, pages, price, inStock)
  VALUES (7, 'Frankenstein', 3, 1818, 280, 6.99, TRUE);
INSERT INTO Books (id, title, authorID, published, pages, price, inStock)
  VALUES (8, 'The Last Man', 3, 1826, 479, 13.75, FALSE);
INSERT INTO Books (id, title, authorID, published, pages, price, inStock)
  VALUES (9, 'Moby-Dick', 4, 1851, 635, 14.0, TRUE);
INSERT INTO Books (id, title, authorID, published, pages, price, inStock)
  VALUES (10, 'Bartleby, the Scrivener', 4, 1853, 64, 3.5, TRUE);
INSERT INTO Books (id, title, authorID, published, pages, price, inStock)
  VALUES (11, 'Crime and Punishment', 5, 1866, 671, 12.5, TRUE);
INSERT INTO Books (id, title, authorID, published, pages, price, inStock)
  VALUES (12, 'The Idiot', 5, 1869, 656, 12.5, FALSE);
INSERT INTO Books (id, title, authorID, published, pages, price, inStock)
  VALUES (13, 'The Brothers Karamazov', 5, 1880, 796, 15.0, TRUE);
INSERT INTO Books (id, title, authorID, published, pages, price, inStock)
  VALUES (14, 'Madame Bovary', 6, 1857, 329, 8.0, TRUE);
INSERT INTO Books (id, title, authorID, published, pages, price, inStock)
  VALUES (15, 'Sentimental Education', 6, 1869, 464, 11.0, FALSE);

COMMIT;
