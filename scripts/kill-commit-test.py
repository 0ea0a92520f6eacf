#!/usr/bin/env python3
"""Kills the parvex shell with SIGKILL at random moments inside COMMIT.

Each trial copies a database of two tables with indexes (the old state),
feeds the real shell a large transaction (inserts into both tables, updates
that move rows, deletes), waits until every statement before COMMIT has run,
sends COMMIT and kills the shell after a random delay drawn from the time a
COMMIT takes. Trials whose shell had already finished do not count; the run
goes on until the requested number of kills landed inside COMMIT. After
every kill:
  - the file opens, and holds exactly the old or the new state (the rows of
    both tables, the schema and the indexes, through the shell);
  - opening it again shows the same;
  - a new write commits and is there afterwards.

Not part of `make test`: a thousand trials take a quarter of an hour.

    scripts/kill-commit-test.py --trials 1000          # after `make`
"""
import argparse
import os
import random
import shutil
import signal
import subprocess
import sys
import tempfile
import time

def run(shell, args, stdin_text=None):
    return subprocess.run([shell] + args, input=stdin_text, capture_output=True, text=True)

def old_state_sql(rows):
    lines = [
        "CREATE TABLE people (id Integer, name String, city String);",
        "CREATE INDEX people_city ON people (city);",
        "CREATE INDEX people_id ON people (id);",
        "CREATE TABLE orders (id Integer, person Integer, amount Integer, note String);",
        "CREATE INDEX orders_person ON orders (person);",
        "BEGIN;",
    ]
    for i in range(rows):
        lines.append(f"INSERT INTO people VALUES ({i}, 'person {i}', 'city {i % 50}');")
        lines.append(f"INSERT INTO orders VALUES ({i}, {i % 997}, {i * 3}, 'order {i}');")
    lines.append("COMMIT;")
    return "\n".join(lines) + "\n"

def transaction_sql(rows):
    lines = ["BEGIN;"]
    for i in range(rows, rows + rows // 2):
        lines.append(f"INSERT INTO people VALUES ({i}, 'new person {i}', 'city {i % 50}');")
        lines.append(f"INSERT INTO orders VALUES ({i}, {i % 997}, {i * 3}, 'new order {i}');")
    lines.append("UPDATE people SET name = 'a name much longer than before, so the row moves' "
                 "WHERE city = 'city 7' OR city = 'city 21';")
    lines.append("UPDATE orders SET amount = amount + 1 WHERE person < 300;")
    lines.append("DELETE FROM orders WHERE person > 900;")
    lines.append("DELETE FROM people WHERE city = 'city 3';")
    lines.append("SELECT 'ready';")  # printed once every statement before COMMIT has run
    return "\n".join(lines) + "\n"

def state_of(shell, path):
    """The database's content as the shell shows it, or None when it can't be read."""
    parts = []
    for sql in ["SELECT id, name, city FROM people ORDER BY id",
                "SELECT id, person, amount, note FROM orders ORDER BY id"]:
        result = run(shell, ["--csv", path, sql])
        if result.returncode != 0 or result.stderr:
            return None
        parts.append(result.stdout)
    for command in [".schema", ".indexes"]:
        result = run(shell, [path], command + "\n")
        if result.returncode != 0 or result.stderr:
            return None
        parts.append(result.stdout)
    return "\n".join(parts)

def start_transaction(shell, path, text):
    process = subprocess.Popen([shell, path], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE, text=True, bufsize=1)
    process.stdin.write(text)
    process.stdin.flush()
    line = process.stdout.readline()
    if line.strip() != "ready":
        process.kill()
        raise RuntimeError("the shell did not reach COMMIT: " + line)
    return process

def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--trials", type=int, default=1000, help="kills that must land inside COMMIT")
    parser.add_argument("--rows", type=int, default=6000, help="rows per table in the old state")
    parser.add_argument("--shell", default="build/release/parvex")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--folder", default=None, help="where the files go (default: a new temporary folder)")
    args = parser.parse_args()
    rng = random.Random(args.seed)
    folder = args.folder or tempfile.mkdtemp(prefix="parvex-kill-")
    os.makedirs(folder, exist_ok=True)
    template = os.path.join(folder, "old.pvx")
    path = os.path.join(folder, "trial.pvx")
    for leftover in [template, path, path + "-journal"]:
        if os.path.exists(leftover):
            os.remove(leftover)

    if run(args.shell, [template], old_state_sql(args.rows)).returncode != 0:
        sys.exit("could not build the old state")
    old = state_of(args.shell, template)
    transaction = transaction_sql(args.rows)

    # The new state, and how long a COMMIT takes (from sending it to the end).
    durations = []
    new = None
    for _ in range(3):
        shutil.copyfile(template, path)
        process = start_transaction(args.shell, path, transaction)
        start = time.monotonic()
        process.stdin.write("COMMIT;\n")
        process.stdin.close()
        process.wait()
        durations.append(time.monotonic() - start)
        new = state_of(args.shell, path)
    commit_time = sorted(durations)[1]
    assert old is not None and new is not None and old != new
    print(f"old state: {args.rows} rows per table; COMMIT takes {commit_time * 1000:.0f} ms "
          f"(file {os.path.getsize(template)} bytes before, {os.path.getsize(path)} after)", flush=True)

    inside = finished = saw_old = saw_new = failures = 0
    started = time.monotonic()
    while inside < args.trials:
        shutil.copyfile(template, path)
        if os.path.exists(path + "-journal"):
            os.remove(path + "-journal")
        process = start_transaction(args.shell, path, transaction)
        delay = rng.uniform(0, commit_time)
        process.stdin.write("COMMIT;\n")
        process.stdin.flush()
        time.sleep(delay)
        process.send_signal(signal.SIGKILL)
        process.wait()
        process.stdin.close()
        if process.returncode != -signal.SIGKILL:
            finished += 1  # the commit was over before the kill
            continue
        inside += 1
        problems = []
        state = state_of(args.shell, path)
        if state == old:
            saw_old += 1
        elif state == new:
            saw_new += 1
        else:
            problems.append("neither the old nor the new state" if state else "the file does not open")
        if state_of(args.shell, path) != state:
            problems.append("a second open disagrees")
        write = run(args.shell, [path, "INSERT INTO people VALUES (-1, 'after', 'kill')"])
        check = run(args.shell, ["--csv", "--no-headers", path, "SELECT name FROM people WHERE id = -1"])
        if write.returncode != 0 or check.stdout != "after\n":
            problems.append("a new write did not commit: " + write.stderr.strip())
        if problems:
            failures += 1
            keep = os.path.join(folder, f"failure-{inside}.pvx")
            shutil.copyfile(path, keep)
            print(f"trial {inside} (kill after {delay * 1000:.1f} ms): {'; '.join(problems)} (kept as {keep})",
                  flush=True)
        if inside % 100 == 0:
            print(f"{inside} kills inside COMMIT: {saw_old} old, {saw_new} new, {failures} failures "
                  f"({finished} shells finished before their kill), {time.monotonic() - started:.0f} s",
                  flush=True)

    print(f"result: {inside - failures} of {inside} kills inside COMMIT left the old or the new state "
          f"({saw_old} old, {saw_new} new); every file opened, reopens agreed and a new write committed "
          f"in {inside - failures}; {finished} more shells finished before their kill")
    if args.folder is None and failures == 0:
        shutil.rmtree(folder)
    sys.exit(1 if failures else 0)

if __name__ == "__main__":
    main()
