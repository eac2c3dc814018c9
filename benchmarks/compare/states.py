"""Mirrored directories and state databases to measure on. Not run by itself."""
import os
import shutil
import sqlite3
import subprocess

ALIAS = "bench"
UP_TO_DATE = 17
PENDING = 18
ERROR_BIT = 128
DISTANT_DIRECTORY_MISSING = 4
LONG_AGO = "2001-01-01T00:00:00Z"
# Rows that wait longer than some minutes are reset: these never will have.
LATER = "2099-01-01T00:00:00Z"


class Root:
    """A directory of N files that is mirrored already, with the state that says so; made once and kept."""

    def __init__(self, bench, count, name="m"):
        self.count = count
        self.path = os.path.join(bench.work, f"{name}{count}")
        bench.ask("prepare", self.path, count)
        self.even()

    def even(self):
        """Gives the distant copies the times of the originals: rsync would copy what differs in them."""
        subprocess.run(["rsync", "-a", self.local + "/", self.distant + "/"], check=True)

    @property
    def local(self):
        return os.path.join(self.path, "local")

    @property
    def distant(self):
        return os.path.join(self.path, "distant")

    @property
    def database(self):
        return os.path.join(self.path, "state.db")

    def recorded(self):
        """Name and time in seconds of each local file, as the state has them."""
        database = sqlite3.connect(self.database)
        rows = dict(database.execute("SELECT file_name, CAST(strftime('%s', local_lmd) AS INTEGER) FROM file_tracking"))
        database.close()
        return rows

    def repair(self, recorded, names):
        """The local files as they were recorded, whatever a measurement has done to them, or one that was killed."""
        for name in names:
            path = os.path.join(self.local, name)
            if not os.path.exists(path):
                shutil.copy2(os.path.join(self.distant, name), path)
            if int(os.stat(path).st_mtime) != recorded[name]:
                os.utime(path, (recorded[name], recorded[name]))
        self.even()

    def state(self, directory, *statements):
        """A copy of the state below `directory`, changed by the statements; its path."""
        path = os.path.join(directory, "state.db")
        copy_database(self.database, path)
        change(path, *statements)
        return path


def copy_database(source, destination):
    for suffix in ("", "-wal", "-shm"):
        if os.path.exists(destination + suffix):
            os.remove(destination + suffix)
    with sqlite3.connect(source) as origin, sqlite3.connect(destination) as copy:
        origin.backup(copy)
    origin.close()
    copy.close()


def change(path, *statements):
    database = sqlite3.connect(path)
    for statement in statements:
        database.execute(*statement) if isinstance(statement, tuple) else database.execute(statement)
    database.commit()
    database.close()


def outdated(count):
    """`count` rows of which the local file seems to have changed."""
    return ("UPDATE file_tracking SET local_lmd = ? WHERE rowid IN (SELECT rowid FROM file_tracking LIMIT ?)",
            (LONG_AGO, count))


def pending(one_in):
    return ("UPDATE file_tracking SET status = ?, status_changed_at = ? WHERE rowid % ? = 0",
            (PENDING, LATER, one_in))


def in_error(count):
    return ("UPDATE file_tracking SET status = ?, error_code = ?, status_changed_at = ? WHERE rowid IN "
            "(SELECT rowid FROM file_tracking WHERE status = ? LIMIT ?)",
            (UP_TO_DATE | ERROR_BIT, DISTANT_DIRECTORY_MISSING, LATER, UP_TO_DATE, count))


def suspended():
    """Nothing happens until the host registers the pair."""
    return "UPDATE directories SET available = 0"


def distant_elsewhere(path):
    return ("UPDATE directories SET distant_path = ?", (path,))


def first_generation(root, directory):
    """The same rows in a file as the first version of the library wrote it; its path."""
    path = os.path.join(directory, "first.db")
    database = sqlite3.connect(path)
    database.executescript(
        "CREATE TABLE directories (id INTEGER PRIMARY KEY AUTOINCREMENT, alias_name TEXT UNIQUE NOT NULL, "
        "local_path TEXT UNIQUE NOT NULL, distant_path TEXT NOT NULL, trash_path TEXT NOT NULL, "
        "available BOOLEAN DEFAULT 0);"
        "CREATE TABLE file_tracking (file_name TEXT NOT NULL, directories_id INTEGER NOT NULL, size INTEGER, "
        "last_sync TEXT, status INTEGER, deletion_date TEXT, PRIMARY KEY (file_name, directories_id));")
    database.execute("ATTACH ? AS now", (root.database,))
    database.execute("INSERT INTO main.directories SELECT * FROM now.directories")
    database.execute("INSERT INTO main.file_tracking SELECT file_name, directories_id, size, local_lmd, status, "
                     "NULL FROM now.file_tracking")
    database.commit()
    database.close()
    return path


def many_pairs(root, directory, count):
    """`count` pairs, each like that of the root; path of the state and the pairs as (alias, local, distant)."""
    path = root.state(directory)
    database = sqlite3.connect(path)
    pairs = [(ALIAS, root.local, root.distant)]
    for number in range(2, count + 1):
        alias, base = f"{ALIAS}{number}", os.path.join(directory, str(number))
        os.makedirs(base)
        for side in ("local", "distant"):
            # Links are as good as copies here: nothing is written.
            subprocess.run(["cp", "-al", os.path.join(root.path, side), os.path.join(base, side)], check=True)
        pairs.append((alias, base + "/local", base + "/distant"))
        database.execute("INSERT INTO directories VALUES (?, ?, ?, ?, ?, 1)",
                         (number, *pairs[-1], os.path.join(directory, "trash", alias)))
        database.execute(
            "INSERT INTO file_tracking SELECT file_name, ?, size, local_lmd, distant_lmd, status, trashed_date, "
            "error_code, status_changed_at FROM file_tracking WHERE directories_id = 1", (number,))
    database.commit()
    database.close()
    return path, pairs


def fresh_copy(source, directory, name="run.db"):
    path = os.path.join(directory, name)
    for suffix in ("-wal", "-shm"):
        if os.path.exists(path + suffix):
            os.remove(path + suffix)
    shutil.copyfile(source, path)
    return path
