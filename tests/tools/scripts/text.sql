-- The shell sends statements as UTF-8, so the text functions count and map
-- characters, not bytes: lengths, case (the Unicode mapping), positions and
-- substrings that never split a character; '_' in LIKE stands for one byte.
$ parvex test.pvx
SELECT CHAR_LENGTH('äöx'), OCTET_LENGTH('äöx'), LOWER('Ärger Ж'), UPPER('ςσ'), LOWER('İ');
SELECT POSITION('x' IN 'äöxü'), SUBSTRING('aä€b' FROM 2 FOR 2), SUBSTRING('aä€b' FROM 3);
SELECT 'ä' LIKE '__', 'ä' LIKE '_', 'Ä' LIKE 'ä', 'ZOË' LIKE 'zo%';
