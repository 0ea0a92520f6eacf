"""Parvex for Python: a DB-API 2.0 (PEP 249) module over the engine's C
interface (libparvex), loaded with ctypes.

    import parvex
    with parvex.connect("my.pvx") as db:          # commits at the end, or rolls back
        db.execute("CREATE TABLE t (a Integer, b String)")
        db.executemany("INSERT INTO t VALUES (?, ?)", [(1, "one"), (2, "two")])
        for a, b in db.execute("SELECT a, b FROM t"):
            print(a, b)

Parameters use the qmark style (`?`, and `?NNN`) and are bound as typed
values, never spliced into SQL text. Types both ways: None, bool, int (32-bit
in the engine), float, str, bytes, datetime.date, datetime.time,
datetime.datetime. Statements never commit by themselves: call commit(), or
leave a `with` block normally. The library is found through the environment
variable PARVEX_LIBRARY (a path), then beside this package, then by the
system's usual search for "parvex".
"""

import ctypes
import ctypes.util
import datetime
import os
import weakref

apilevel = "2.0"
threadsafety = 1  # threads may share the module, not connections
paramstyle = "qmark"

_OK, _ERROR, _ROW, _DONE = 0, 1, 100, 101
_OPEN_CREATE, _OPEN_READONLY, _OPEN_NOSYNC = 1, 2, 4
_KIND_SELECT, _KIND_INSERT, _KIND_UPDATE, _KIND_DELETE = 1, 2, 3, 4

INTEGER, STRING, DOUBLE, DATE, TIME, TIMESTAMP, BOOLEAN, BINARY = 3, 5, 7, 8, 9, 10, 12, 14


class Warning(Exception):  # noqa: A001 - the name PEP 249 requires
    pass


class Error(Exception):
    """Base of every error; `sqlstate` holds the engine's five-character code."""

    def __init__(self, message, sqlstate=None):
        super().__init__(message)
        self.sqlstate = sqlstate


class InterfaceError(Error):
    pass


class DatabaseError(Error):
    pass


class DataError(DatabaseError):
    pass


class OperationalError(DatabaseError):
    pass


class IntegrityError(DatabaseError):
    pass


class InternalError(DatabaseError):
    pass


class ProgrammingError(DatabaseError):
    pass


class NotSupportedError(DatabaseError):
    pass


# SQLSTATE class (its first two characters) -> exception class.
_ERROR_CLASSES = {
    "07": ProgrammingError,  # dynamic SQL error: syntax, bad statements
    "21": ProgrammingError,  # insert value list does not match the columns
    "42": ProgrammingError,  # no such table/column/index, or it exists already
    "22": DataError,
    "23": IntegrityError,
    "25": OperationalError,  # transaction state, read-only database
    "53": OperationalError,  # disk full
    "54": OperationalError,  # program limit
    "55": OperationalError,  # database locked
    "58": OperationalError,  # I/O error
    "0A": NotSupportedError,
    "72": InternalError,
    "HY": InterfaceError,
}


def _error_for(sqlstate, message):
    return _ERROR_CLASSES.get(sqlstate[:2], DatabaseError)(message, sqlstate)


def _load_library():
    candidates = []
    if os.environ.get("PARVEX_LIBRARY"):
        candidates.append(os.environ["PARVEX_LIBRARY"])
    here = os.path.dirname(os.path.abspath(__file__))
    candidates += [os.path.join(here, "libparvex.so.1"), os.path.join(here, "libparvex.so")]
    found = ctypes.util.find_library("parvex")
    if found:
        candidates.append(found)
    candidates.append("libparvex.so.1")
    problems = []
    for candidate in candidates:
        if os.path.sep in candidate and not os.path.exists(candidate):
            continue
        try:
            return _declare(ctypes.CDLL(candidate))
        except OSError as problem:
            problems.append(str(problem))
    raise ImportError("parvex: can't load libparvex (set PARVEX_LIBRARY): " + "; ".join(problems))


def _declare(lib):
    c_int, c_char_p, c_void_p = ctypes.c_int, ctypes.c_char_p, ctypes.c_void_p
    db_p, stmt_p = c_void_p, c_void_p
    signatures = {
        "parvex_version": (c_char_p, []),
        "parvex_open": (c_int, [c_char_p, c_int, c_int, ctypes.POINTER(db_p)]),
        "parvex_close": (c_int, [db_p]),
        "parvex_sqlstate": (c_char_p, [db_p]),
        "parvex_errmsg": (c_char_p, [db_p]),
        "parvex_interrupt": (None, [db_p]),
        "parvex_prepare": (c_int, [db_p, c_char_p, ctypes.POINTER(stmt_p)]),
        "parvex_finalize": (None, [stmt_p]),
        "parvex_reset": (c_int, [stmt_p]),
        "parvex_step": (c_int, [stmt_p]),
        "parvex_stmt_kind": (c_int, [stmt_p]),
        "parvex_bind_parameter_count": (c_int, [stmt_p]),
        "parvex_bind_null": (c_int, [stmt_p, c_int]),
        "parvex_bind_int": (c_int, [stmt_p, c_int, ctypes.c_int64]),
        "parvex_bind_double": (c_int, [stmt_p, c_int, ctypes.c_double]),
        "parvex_bind_bool": (c_int, [stmt_p, c_int, c_int]),
        "parvex_bind_text": (c_int, [stmt_p, c_int, c_char_p, ctypes.c_int64]),
        "parvex_bind_blob": (c_int, [stmt_p, c_int, c_char_p, ctypes.c_size_t]),
        "parvex_bind_date": (c_int, [stmt_p, c_int, c_char_p]),
        "parvex_bind_time": (c_int, [stmt_p, c_int, c_char_p]),
        "parvex_bind_timestamp": (c_int, [stmt_p, c_int, c_char_p]),
        "parvex_clear_bindings": (c_int, [stmt_p]),
        "parvex_column_count": (c_int, [stmt_p]),
        "parvex_column_name": (c_char_p, [stmt_p, c_int]),
        "parvex_column_type": (c_int, [stmt_p, c_int]),
        "parvex_column_is_null": (c_int, [stmt_p, c_int]),
        "parvex_column_int": (ctypes.c_int64, [stmt_p, c_int]),
        "parvex_column_double": (ctypes.c_double, [stmt_p, c_int]),
        "parvex_column_blob": (c_void_p, [stmt_p, c_int]),
        "parvex_column_bytes": (ctypes.c_size_t, [stmt_p, c_int]),
        "parvex_changes": (ctypes.c_int64, [db_p]),
        "parvex_last_insert_row_id": (ctypes.c_int64, [db_p]),
        "parvex_commit": (c_int, [db_p]),
        "parvex_rollback": (c_int, [db_p]),
        "parvex_in_transaction": (c_int, [db_p]),
    }
    for name, (restype, argtypes) in signatures.items():
        function = getattr(lib, name)
        function.restype = restype
        function.argtypes = argtypes
    return lib


_lib = _load_library()
version = _lib.parvex_version().decode()


def _text(raw):
    return raw.decode("utf-8", "replace") if raw is not None else ""


def _read_value(stmt, column, kind):
    if _lib.parvex_column_is_null(stmt, column):
        return None
    if kind == INTEGER:
        return _lib.parvex_column_int(stmt, column)
    if kind == BOOLEAN:
        return bool(_lib.parvex_column_int(stmt, column))
    if kind == DOUBLE:
        return _lib.parvex_column_double(stmt, column)
    size = _lib.parvex_column_bytes(stmt, column)
    raw = ctypes.string_at(_lib.parvex_column_blob(stmt, column), size)
    if kind == BINARY:
        return raw
    text = raw.decode("utf-8", "replace")
    if kind == DATE:
        return datetime.date.fromisoformat(text)
    if kind == TIME:
        return datetime.time.fromisoformat(text)
    if kind == TIMESTAMP:
        return datetime.datetime.fromisoformat(text)
    return text


class Connection:
    def __init__(self, path, create=True, readonly=False, nosync=False, timeout=0.0):
        flags = (_OPEN_CREATE if create and not readonly else 0) | (_OPEN_READONLY if readonly else 0)
        flags |= _OPEN_NOSYNC if nosync else 0
        self._db = ctypes.c_void_p()
        result = _lib.parvex_open(os.fsencode(path), flags, int(timeout * 1000), ctypes.byref(self._db))
        if result != _OK:
            error = self._error()
            _lib.parvex_close(self._db)
            self._db = None
            raise error
        self._cursors = weakref.WeakSet()

    def _error(self):
        return _error_for(_text(_lib.parvex_sqlstate(self._db)), _text(_lib.parvex_errmsg(self._db)))

    def _check(self, result):
        if result != _OK:
            raise self._error()

    def _handle(self):
        if self._db is None:
            raise ProgrammingError("Cannot operate on a closed connection.")
        return self._db

    def cursor(self):
        cursor = Cursor(self)
        self._cursors.add(cursor)
        return cursor

    def execute(self, sql, parameters=()):
        return self.cursor().execute(sql, parameters)

    def executemany(self, sql, seq_of_parameters):
        return self.cursor().executemany(sql, seq_of_parameters)

    def commit(self):
        self._check(_lib.parvex_commit(self._handle()))

    def rollback(self):
        self._check(_lib.parvex_rollback(self._handle()))

    @property
    def in_transaction(self):
        return bool(_lib.parvex_in_transaction(self._handle()))

    def interrupt(self):
        _lib.parvex_interrupt(self._handle())

    def close(self):
        """Closes the connection; what was not committed is discarded."""
        if self._db is None:
            return
        for cursor in list(self._cursors):
            cursor.close()
        _lib.parvex_close(self._db)
        self._db = None

    def __enter__(self):
        return self

    def __exit__(self, kind, value, traceback):
        if self._db is not None:
            if kind is None:
                self.commit()
            else:
                self.rollback()
        return False

    def __del__(self):
        if getattr(self, "_db", None) is not None:
            self.close()


class Cursor:
    arraysize = 1

    def __init__(self, connection):
        self.connection = connection
        self.description = None
        self.rowcount = -1
        self.lastrowid = None
        self._stmt = None  # the prepared statement, kept for a repeated execute of the same text
        self._sql = None
        self._types = []
        self._has_row = False

    # -- statements --------------------------------------------------------
    def _prepare(self, sql):
        if self._stmt is not None and sql == self._sql:
            _lib.parvex_reset(self._stmt)
            _lib.parvex_clear_bindings(self._stmt)
            return
        self._finalize()
        stmt = ctypes.c_void_p()
        db = self.connection._handle()
        if _lib.parvex_prepare(db, sql.encode("utf-8"), ctypes.byref(stmt)) != _OK:
            raise self.connection._error()
        self._stmt, self._sql = stmt, sql

    def _bind(self, parameters):
        stmt = self._stmt
        wanted = _lib.parvex_bind_parameter_count(stmt)
        if len(parameters) != wanted:
            raise ProgrammingError(
                "Incorrect number of bindings supplied: the statement uses %d, and %d were supplied."
                % (wanted, len(parameters)))
        for index, value in enumerate(parameters, 1):
            if value is None:
                result = _lib.parvex_bind_null(stmt, index)
            elif isinstance(value, bool):
                result = _lib.parvex_bind_bool(stmt, index, int(value))
            elif isinstance(value, int):
                if not -2**31 <= value < 2**31:
                    raise DataError("Error: Integer out of range (32 bits).", "22023")
                result = _lib.parvex_bind_int(stmt, index, value)
            elif isinstance(value, float):
                result = _lib.parvex_bind_double(stmt, index, value)
            elif isinstance(value, str):
                data = value.encode("utf-8")
                result = _lib.parvex_bind_text(stmt, index, data, len(data))
            elif isinstance(value, (bytes, bytearray, memoryview)):
                data = bytes(value)
                result = _lib.parvex_bind_blob(stmt, index, data, len(data))
            elif isinstance(value, datetime.datetime):
                result = _lib.parvex_bind_timestamp(stmt, index, value.isoformat(sep=" ").encode())
            elif isinstance(value, datetime.date):
                result = _lib.parvex_bind_date(stmt, index, value.isoformat().encode())
            elif isinstance(value, datetime.time):
                result = _lib.parvex_bind_time(stmt, index, value.isoformat().encode())
            else:
                raise ProgrammingError("Unsupported parameter type: %s" % type(value).__name__)
            self.connection._check(result)

    def _run(self):
        """Steps once; True when a row is ready."""
        result = _lib.parvex_step(self._stmt)
        if result == _ERROR:
            self._has_row = False
            raise self.connection._error()
        self._has_row = result == _ROW
        return self._has_row

    def execute(self, sql, parameters=()):
        self._prepare(sql)
        self._bind(tuple(parameters))
        self._run()
        kind = _lib.parvex_stmt_kind(self._stmt)
        db = self.connection._handle()
        if kind == _KIND_SELECT:
            count = _lib.parvex_column_count(self._stmt)
            self._types = [_lib.parvex_column_type(self._stmt, c) for c in range(count)]
            self.description = tuple(
                (_text(_lib.parvex_column_name(self._stmt, c)), self._types[c], None, None, None, None, None)
                for c in range(count))
            self.rowcount = -1
        else:
            self.description = None
            self._types = []
            self.rowcount = _lib.parvex_changes(db) if kind in (_KIND_INSERT, _KIND_UPDATE, _KIND_DELETE) else -1
            if kind == _KIND_INSERT:
                self.lastrowid = _lib.parvex_last_insert_row_id(db)
        return self

    def executemany(self, sql, seq_of_parameters):
        self._prepare(sql)
        if _lib.parvex_stmt_kind(self._stmt) == _KIND_SELECT:
            raise ProgrammingError("executemany() can't run a query.")
        total = 0
        db = self.connection._handle()
        for parameters in seq_of_parameters:
            _lib.parvex_reset(self._stmt)
            self._bind(tuple(parameters))
            self._run()
            total += _lib.parvex_changes(db)
        self.description = None
        self.rowcount = total
        if _lib.parvex_stmt_kind(self._stmt) == _KIND_INSERT:
            self.lastrowid = _lib.parvex_last_insert_row_id(db)
        return self

    # -- rows ----------------------------------------------------------------
    def fetchone(self):
        if not self._has_row:
            return None
        row = tuple(_read_value(self._stmt, c, kind) for c, kind in enumerate(self._types))
        self._run()
        return row

    def fetchmany(self, size=None):
        size = self.arraysize if size is None else size
        rows = []
        while len(rows) < size:
            row = self.fetchone()
            if row is None:
                break
            rows.append(row)
        return rows

    def fetchall(self):
        rows = []
        row = self.fetchone()
        while row is not None:
            rows.append(row)
            row = self.fetchone()
        return rows

    def __iter__(self):
        return iter(self.fetchone, None)

    def setinputsizes(self, sizes):
        pass

    def setoutputsize(self, size, column=None):
        pass

    def _finalize(self):
        if self._stmt is not None:
            _lib.parvex_finalize(self._stmt)
            self._stmt = None
            self._sql = None
            self._has_row = False

    def close(self):
        self._finalize()

    def __enter__(self):
        return self

    def __exit__(self, kind, value, traceback):
        self.close()
        return False

    def __del__(self):
        self.close()


def connect(path, create=True, readonly=False, nosync=False, timeout=0.0):
    """Opens (by default creating) the database file at `path`. `timeout` is
    how many seconds to wait for another process to let go of the file."""
    return Connection(path, create=create, readonly=readonly, nosync=nosync, timeout=timeout)


# Type objects and constructors of PEP 249.
class _TypeSet(frozenset):
    def __eq__(self, other):
        return other in self if isinstance(other, int) else frozenset.__eq__(self, other)

    def __hash__(self):
        return frozenset.__hash__(self)


NUMBER = _TypeSet({INTEGER, DOUBLE, BOOLEAN})
DATETIME = _TypeSet({DATE, TIME, TIMESTAMP})
ROWID = _TypeSet({INTEGER})
Binary = bytes
Date = datetime.date
Time = datetime.time
Timestamp = datetime.datetime


def DateFromTicks(ticks):  # noqa: N802 - PEP 249 names
    return datetime.date.fromtimestamp(ticks)


def TimeFromTicks(ticks):  # noqa: N802
    return datetime.datetime.fromtimestamp(ticks).time()


def TimestampFromTicks(ticks):  # noqa: N802
    return datetime.datetime.fromtimestamp(ticks)
