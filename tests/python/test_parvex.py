"""The Python module against an installed library (run by tests/install):
values round-trip exactly both ways, errors raise the PEP 249 classes their
SQLSTATE maps to, and bulk work goes through one prepared statement."""

import datetime
import math
import os
import tempfile
import unittest

import parvex


class ParvexModuleTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.path = os.path.join(self.folder.name, "test.pvx")
        self.db = parvex.connect(self.path)

    def tearDown(self):
        self.db.close()
        self.folder.cleanup()

    def test_values_round_trip_through_the_file(self):
        self.db.execute("CREATE TABLE t (i Integer, d Double, s String, b Binary, dt Date, tm Time, "
                        "ts Timestamp, f Boolean)")
        rows = [
            (-2**31, -1.5, "Zoë Ünal", b"a\x00b\x00", datetime.date(2001, 2, 3), datetime.time(23, 59, 58),
             datetime.datetime(1999, 12, 31, 23, 59, 59, 250000), True),
            (None, float("nan"), "", b"", None, None, None, False),
            (2**31 - 1, -0.0, None, None, datetime.date(1, 1, 1), None, None, None),
        ]
        cursor = self.db.executemany("INSERT INTO t VALUES (?, ?, ?, ?, ?, ?, ?, ?)", rows)
        self.assertEqual(cursor.rowcount, 3)
        self.assertEqual(cursor.lastrowid, 3)
        self.db.commit()
        self.db.close()
        self.db = parvex.connect(self.path, create=False)
        cursor = self.db.execute("SELECT i, d, s, b, dt, tm, ts, f FROM t")
        self.assertEqual([column[0] for column in cursor.description], ["i", "d", "s", "b", "dt", "tm", "ts", "f"])
        self.assertEqual(cursor.description[4][1], parvex.DATETIME)
        got = cursor.fetchall()
        self.assertEqual(got[0], rows[0])
        self.assertTrue(math.isnan(got[1][1]))
        self.assertEqual(got[1][:1] + got[1][2:], rows[1][:1] + rows[1][2:])
        self.assertEqual(math.copysign(1, got[2][1]), -1.0)
        self.assertEqual(got[2], rows[2])

    def test_text_is_utf8_and_parameters_are_values(self):
        upper, length = self.db.execute("SELECT UPPER(?), CHAR_LENGTH(?1)", ("Zoë Ünal",)).fetchone()
        self.assertEqual((upper, length), ("ZOË ÜNAL", 8))
        self.db.execute("CREATE TABLE t (s String)")
        self.db.execute("INSERT INTO t VALUES (?)", ("'); DROP TABLE t; --",))
        self.assertEqual(self.db.execute("SELECT s FROM t WHERE s = ?", ("'); DROP TABLE t; --",)).fetchall(),
                         [("'); DROP TABLE t; --",)])
        cursor = self.db.execute("SELECT s FROM t WHERE s = ?", ("nothing",))
        self.assertIsNone(cursor.fetchone())
        self.assertEqual(cursor.description[0][0], "s")

    def test_errors_raise_their_classes(self):
        self.db.execute("CREATE TABLE t (a Integer)")
        self.db.execute("INSERT INTO t (_rowid, a) VALUES (1, 5)")
        self.db.commit()  # ALTER TABLE refuses a table with pending changes
        cases = [
            ("SELEKT 1", (), parvex.ProgrammingError, "07000"),
            ("SELECT a FROM nowhere", (), parvex.ProgrammingError, "42S02"),
            ("INSERT INTO t VALUES (1, 2)", (), parvex.ProgrammingError, "21S01"),
            ("CREATE TABLE u (a Xml)", (), parvex.DataError, "22023"),
            ("INSERT INTO t VALUES (?)", (2**40,), parvex.DataError, "22023"),
            ("INSERT INTO t (_rowid, a) VALUES (1, 5)", (), parvex.IntegrityError, "23000"),
            ("ALTER TABLE t ALTER COLUMN a DROP DEFAULT", (), parvex.NotSupportedError, "0A000"),
        ]
        for sql, parameters, kind, sqlstate in cases:
            with self.subTest(sql=sql), self.assertRaises(kind) as raised:
                self.db.execute(sql, parameters)
            self.assertEqual(raised.exception.sqlstate, sqlstate)
            self.assertIsInstance(raised.exception, parvex.DatabaseError)
        with self.assertRaises(parvex.ProgrammingError):
            self.db.execute("SELECT ?", ())
        with self.assertRaises(parvex.OperationalError) as raised:
            parvex.connect(self.path)
        self.assertEqual(raised.exception.sqlstate, "55006")

    def test_transactions_and_context_managers(self):
        with self.db:
            self.db.execute("CREATE TABLE t (a Integer)")
        with self.assertRaises(ZeroDivisionError), self.db:
            self.db.execute("INSERT INTO t VALUES (1)")
            1 / 0
        self.assertFalse(self.db.in_transaction)
        with self.db.cursor() as cursor:
            self.assertEqual(cursor.execute("SELECT COUNT(*) FROM t").fetchone(), (0,))

    def test_executemany_of_100000_rows(self):
        self.db.execute("CREATE TABLE t (a Integer, b String)")
        cursor = self.db.executemany("INSERT INTO t VALUES (?, ?)", ((i, str(i)) for i in range(100000)))
        self.assertEqual(cursor.rowcount, 100000)
        self.db.commit()
        self.assertEqual(self.db.execute("SELECT COUNT(*), MAX(a) FROM t").fetchone(), (100000, 99999))
        self.assertEqual(len(self.db.execute("SELECT a FROM t WHERE a < 1000").fetchmany(10)), 10)


if __name__ == "__main__":
    unittest.main()
