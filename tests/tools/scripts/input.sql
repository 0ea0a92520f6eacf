-- Standard input is cut into statements at ';' outside literals (a doubled
-- quote stays inside); the last statement needs no ';'. After SET ESCAPE the
-- escape character keeps a quote (and a ';') inside a literal; SET ESCAPE
-- with nothing after it turns it off. Each SQL argument runs on its own; a
-- query is known by its first word in any letter case. Empty statements
-- vanish; a '.' line inside a statement is statement text, and a dot-command
-- begins only where a statement would begin on a line. Comments outside
-- literals, "--" to the end of the line and "/* */" over several lines, are
-- left out, a ';' in them ending nothing. Errors name the line where their
-- statement began.
$ parvex --csv test.pvx
CREATE TABLE t (s String);
INSERT INTO t (s) VALUES ('a;b'); INSERT INTO t (s)
  VALUES ('it''s');
-- a comment where a statement would begin
SELECT s
FROM t
$ parvex test.pvx
SET ESCAPE \;
SELECT 'it\'s; fine', 2;
SET ESCAPE ;
SELECT 'a\';
$ parvex test.pvx "SELECT COUNT(*) FROM t" "  select s from t where s = 'a;b'"
$ parvex test.pvx
;;  ; SELECT 3;
SELECT 'a
.tables';
SELECT 1
.tables
;
SELECT 1; .tables;
SELECT 5
--3;
-- a comment; with a semicolon
$ parvex test.pvx
SELECT 'a -- b' -- the rest; of the line
, 2;
/* a comment;
   over lines */ SELECT '/* kept */' /* dropped; */, 3;
/* before a command */
.tables
SELECT 4 /* a comment left open at the end; SELECT 5;
