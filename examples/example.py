"""Parvex from Python (PEP 249): the same as example.c. Usage: example.py FILE"""
import datetime
import sys

import parvex

with parvex.connect(sys.argv[1]) as db:  # commits when the block ends normally
    db.execute("CREATE TABLE people (name String, born Date, height Double)")
    db.executemany("INSERT INTO people VALUES (?, ?, ?)",
                   [("Zoë Ünal", datetime.date(1990, 4, 1), 1.68), ("Ada", datetime.date(1815, 12, 10), -1.5)])
    for name, born, height in db.execute("SELECT UPPER(name), born, height FROM people ORDER BY born"):
        print(f"{name} | {born} | {height:g}")
db.close()
