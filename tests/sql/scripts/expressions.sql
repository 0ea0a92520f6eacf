-- Expressions end to end: literals, names, arithmetic, comparisons, LIKE,
-- functions and aggregates, with the dialect's quirks.
CREATE TABLE one (a Integer, b String);
CREATE TABLE two (b String, c Integer);
INSERT INTO one VALUES (5, 'xyz');
INSERT INTO one VALUES (0, 'abc');
INSERT INTO two VALUES ('two', 3);

-- Literals: a number with '.' is a Double, without one an Integer read from
-- its leading digits; quoted text loses its quotes and doubled quotes; an
-- unterminated literal runs to the end.
SELECT 1.5, 2.5e+3, 1e-5, 42, 'How''s it going?', '', TRUE, false, NULL;
> 1.5 | 2500 | 1 | 42 | How's it going? |  | TRUE | FALSE | NULL
SELECT date '1994-07-09', Time '10:11:12', TIMESTAMP '2001-02-03 04:05:06';
> DATE 1994-07-09 | TIME 10:11:12 | TIMESTAMP 2001-02-03 04:05:06
SELECT 'open;
> open

-- Names: unqualified columns come from the first FROM table that has them;
-- a qualifier is a range variable or a table name, in any letter case;
-- _rowid names column 0.
SELECT a, b, c, x.b, TWO.B, two._ROWID FROM one x, two WHERE a = 5;
> 5 | xyz | 3 | xyz | two | 1
SELECT *, a AS aa, a+1, b+1 AS s, two.*, _rowid, NULL FROM one x, two WHERE x._rowid = 2;
: a | b | b | c | aa | (a+1) | s | b | c | _rowid | NULL
> 0 | abc | two | 3 | 0 | 1 | abc1 | two | 3 | 2 | NULL
SELECT one.a FROM one x;
! [42S02] Error: Table one not found.
> (null)
SELECT x.c FROM one x, two;
! [42S22] Error: Column x.c not found.
> (null)
SELECT nope.* FROM one;
! [42S02] Error: Table nope not found.
> (null)
SELECT 1 + UPPER(nothing) FROM one;
! [42S22] Error: Column nothing not found.
> (null)

-- Arithmetic: integers wrap at 32 bits and divide toward zero; the right
-- operand is read as an integer whatever its type; only Integer and String
-- left operands compute (a String adds by concatenating), any other left
-- operand passes through unchanged.
SELECT 2+4*10, (2+4)*10, -6*7, 10-4-3, 7/2, -7/2, 2147483647 + 1, -2147483647 - 2;
> 42 | 60 | -42 | 3 | 3 | -3 | -2147483648 | 2147483647
-- No quotient exists for a division by zero or of the smallest integer by
-- -1: the value is unknown, shown as NULL.
SELECT 7 / 0, (-2147483647-1) / -1, (-2147483647-1) / 1;
> NULL | NULL | -2147483648
SELECT 1 + '41 apples', 1 + 2.9, 'n=' + 5, 'abc' - 1, 1.5 * 2, TRUE + 2, 'abc' + 'def';
> 42 | 3 | n=5 | abc | 1.5 | TRUE | abcdef

-- Comparisons take the left operand's domain: doubles by their integer
-- readings, texts byte by byte with case; booleans coerce both sides; NULL
-- compares as its reading.
SELECT 1<2, 1<=2, 1>2, 1>=2, 1=2, 1<>2, 'x'<>'x', 'x'<='x';
> 1 | 1 | 0 | 0 | 0 | 1 | 0 | 1
SELECT 2.3 = 2.7, 10 < '9', '10' < 9, 'a' > 'B', 'ab' < 'abc', TRUE = 'yes', 5 = TRUE, 'f' = FALSE, NULL = 0;
> 1 | 0 | 1 | 1 | 1 | 1 | 1 | 1 | 1
SELECT DATE '2001-02-03' < DATE '2001-12-01', 1=1 AND 2=2 AND 3=4, 1=2 OR 2=3 OR 3=3;
> 1 | 0 | 1
-- NOT is discarded: the condition is (a>1 AND b LIKE 'X%') OR _rowid=3.
SELECT a FROM one WHERE a > 1 AND b LIKE 'X%' OR NOT _rowid = 3;
> 5
-- WHERE looks only at the value a condition leaves: an AND whose only
-- doubtful operand is unknown leaves 1 and passes; a lone unknown comparison
-- (or an OR of unknown and false) leaves nothing that passes.
SELECT a FROM one WHERE a / 0 = 1 AND 1 = 1;
> 5
> 0
SELECT a FROM one WHERE a / 0 = 1;
SELECT a FROM one WHERE a / 0 = 1 OR 1 = 0;
SELECT a FROM one WHERE a / 0 = 1 OR a = 5;
> 5

-- AND and OR decide with a known operand and leave their value otherwise:
-- an unknown operand of an AND that holds leaves 1, of an OR that fails 0.
SELECT a / 0 = 1 AND 1 = 0, a / 0 = 1 AND 1 = 1, a / 0 = 1 OR 1 = 1, a / 0 = 1 OR 1 = 0 FROM one WHERE a = 5;
> 0 | 1 | 1 | 0

-- LIKE reads both sides as text; ESCAPE makes the next character literal.
SELECT 'abcdef' LIKE 'a%f', 'abcdef' NOT LIKE 'a%f', '50%' LIKE '50^%' ESCAPE '^', '500' LIKE '50^%' ESCAPE '^', 123 LIKE '1_3';
> 1 | 0 | 1 | 0 | 1
-- The documented examples: '_' is one byte, '%' any run, only ASCII letters
-- fold; a later candidate of a segment may match; a trailing escape is dropped.
SELECT 'foo' LIKE 'f_o', 'foo' LIKE '___', 'foo' LIKE '%oo', 'foo' LIKE 'f%o', 'foo' LIKE 'foo%', 'foo' LIKE '%', 'foo' LIKE 'F%', 'foo' LIKE '_foo', 'foo' LIKE 'foo_', 'foo' LIKE 'fo', 'foo' LIKE '', 'foo' LIKE 'foo%%';
> 1 | 1 | 1 | 1 | 1 | 1 | 1 | 0 | 0 | 0 | 0 | 0
SELECT 'cool vanilla beans' LIKE '%vanilla%', 'cool vanilla beans' LIKE '_vanilla%', 'cool vanilla beans' LIKE '%vanilla_', 'foo.dim' LIKE '%.d__', 'foo.db' LIKE '%.d__', 'abef abccdef abcdef abcef' LIKE '%ab__ef%', 'abef abccdef abxef abcef' LIKE '%ab__ef%';
> 1 | 0 | 0 | 1 | 0 | 1 | 0
SELECT 'f%oo' LIKE 'f^%oo' ESCAPE '^', 'fxoo' LIKE 'f^%oo' ESCAPE '^', '_foo' LIKE '^_foo%' ESCAPE '^', 'xfoo' LIKE '^_foo%' ESCAPE '^', 'this^that' LIKE '%^^that' ESCAPE '^', 'this^that' LIKE '%^^that', 'this^^that' LIKE '%^^that', 'ab' LIKE 'ab^' ESCAPE '^';
> 1 | 0 | 1 | 0 | 1 | 0 | 1 | 1
SELECT '' LIKE '', '' LIKE '%', '' LIKE '%%', '' LIKE '_', 'ä' LIKE '__', 'ä' LIKE '_', 'Ä' LIKE 'ä';
> 1 | 1 | 0 | 0 | 1 | 0 | 0
-- An escape text of two characters, or of none, makes LIKE unknown.
SELECT b FROM one WHERE b LIKE '%' ESCAPE '^^';
SELECT b FROM one WHERE b LIKE '%' ESCAPE '';

-- Functions.
SELECT UPPER('abc'), LOWER('FOO'), UPPER(12), POSITION('fu' IN 'snafu'), POSITION('x' IN 'snafu'), POSITION('' IN 'banana'), POSITION('NAN' IN 'banana');
> ABC | foo | 12 | 4 | 0 | 1 | 0
SELECT SUBSTRING('foobar' FROM 3 FOR 2), SUBSTRING('foobar' FROM 3), SUBSTRING('Foo' FROM 0 FOR 2), SUBSTRING('Foo' FROM -1 FOR 2), SUBSTRING('Foo' FROM 2 FOR 2147483647), SUBSTRING('Foo' FROM 1 FOR -1);
> ob | obar | F |  | oo |
SELECT TRIM('  foo  '), TRIM(LEADING FROM '  foo  '), TRIM(TRAILING FROM '  foo  '), TRIM(BOTH '?' FROM '??foo??'), TRIM('?' FROM '??foo??'), TRIM(TRAILING '?' FROM '???'), TRIM('ab' FROM 'abABabxab');
> foo | foo   |   foo | foo | foo | ? | ABabx
SELECT TRIM('?' FROM ''), TRIM('' FROM '?foo?'), TRIM(LEADING '?' FROM '???'), LOWER('ÄRGER');
>  | ?foo? |  | Ärger
SELECT CHARACTER_LENGTH('abcd'), BIT_LENGTH('foo'), OCTET_LENGTH('foo'), BIT_LENGTH(5), OCTET_LENGTH(5), BIT_LENGTH(1.5), CHAR_LENGTH(1.5);
> 4 | 24 | 3 | 32 | 4 | NULL | 3

-- Aggregates: COUNT counts NULLs too (a NULL is one distinct value); SUM
-- follows the argument's type and wraps; AVG reads doubles only (integers
-- average 0); MIN and MAX keep the first of equal values, compare texts of
-- an Integer column by their integer readings and other texts as text.
CREATE TABLE g (i Integer, d Double, s String);
INSERT INTO g VALUES (2147483647, 1, 'b');
INSERT INTO g VALUES (1, 2, 'a');
INSERT INTO g VALUES (NULL, 2, 'B');
INSERT INTO g VALUES (1, 7, '10');
CREATE TABLE big (d Double);
INSERT INTO big VALUES (1.0e16);
INSERT INTO big VALUES (1.0);
INSERT INTO big VALUES (1.0);
-- Doubles are summed with more precision than a double holds.
SELECT SUM(d), SUM(DISTINCT d) FROM big;
> 10000000000000002 | 1e+16
SELECT COUNT(*), COUNT(i), COUNT(DISTINCT i), SUM(i), SUM(DISTINCT i), SUM(d), AVG(d), AVG(DISTINCT d), AVG(i) FROM g;
> 4 | 4 | 3 | -2147483647 | -2147483648 | 12 | 3 | 3.3333333333333335 | 0
SELECT MAX(s), MIN(s), MAX(DISTINCT s), MAX(i), MIN(d) FROM g;
> b | 10 | b | 2147483647 | 1
-- DISTINCT inside an aggregate keeps values Equals tells apart: texts
-- without regard to case, 0.0 and -0.0 as one, every NaN on its own.
CREATE TABLE dv (d Double, s String);
INSERT INTO dv VALUES (0.0, 'b');
INSERT INTO dv VALUES ('-0.0', 'B');
INSERT INTO dv VALUES ('nan', 'a');
INSERT INTO dv VALUES ('nan', 'A');
INSERT INTO dv VALUES (1.5, 'b');
SELECT COUNT(DISTINCT d), COUNT(DISTINCT s) FROM dv;
> 4 | 2
-- An aggregate anywhere in the select list makes a grouped query.
SELECT COUNT(*) + 1, UPPER(MAX(s)) FROM g;
> 5 | B
