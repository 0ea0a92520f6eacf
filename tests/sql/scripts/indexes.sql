-- Index files follow the transaction: written at COMMIT, removed by a committed DROP INDEX.
CREATE TABLE z (city String, state String);
INSERT INTO z VALUES ('Paris', 'FR');
CREATE INDEX City ON z (city, state);
.file z.City.idx no
COMMIT;
.file z.City.idx yes
CREATE INDEX city ON z (state);
! [42S11] Error: Index 'city already exists.

-- An index added and rolled back is gone.
CREATE INDEX st ON z (state);
ROLLBACK;
.file z.st.idx no
CREATE INDEX st ON z (state);
DROP INDEX z.st;
COMMIT;
.file z.st.idx no

-- DROP INDEX is undone by ROLLBACK and made final by COMMIT.
DROP INDEX z.City;
DROP INDEX z.City;
! [42S12] Error: Index City not found.
ROLLBACK;
CREATE INDEX City ON z (state);
! [42S11] Error: Index 'City already exists.
DROP INDEX z.city;
COMMIT;
.file z.City.idx no
.reopen
CREATE INDEX City ON z (city);
COMMIT;
.file z.City.idx yes

-- Rows keep flowing through a table with an index.
INSERT INTO z VALUES ('Lyon', 'FR');
UPDATE z SET city = 'Nice' WHERE city = 'Lyon';
DELETE FROM z WHERE city = 'Paris';
COMMIT;
.reopen
SELECT city, state FROM z;
> Nice | FR
