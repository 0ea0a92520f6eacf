-- Box output aligns by display width (wide characters take two columns)
-- and right-aligns numbers; without headers only the
-- values decide the widths. JSON gives numbers, booleans and null their own
-- types and escapes what a JSON string can't hold (a line end, a quote,
-- control bytes, bytes that are not UTF-8).
$ write odd.csv "b\n\xff\x01\n"
$ parvex test.pvx
CREATE TABLE people (id Integer, name String, score Double, born Date, ok Boolean);
INSERT INTO people VALUES (7, 'Zoë, "Z"', 2.5, DATE '1990-01-02', TRUE);
INSERT INTO people VALUES (-12, 'two
lines', NULL, NULL, FALSE);
CREATE TABLE odd (b Binary);
.import odd.csv odd
$ parvex --box test.pvx "SELECT id, name, score, born, ok FROM people" "SELECT '漢字' AS x, 'ab' AS y"
$ parvex --box --no-headers test.pvx "SELECT 'ab' AS longname"
$ parvex --json test.pvx "SELECT id, name, score, born, ok FROM people" "SELECT b FROM odd" "SELECT id FROM people WHERE id > 100"
