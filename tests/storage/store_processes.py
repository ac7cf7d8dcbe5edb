#!/usr/bin/python3
"""The workstation's storage as processes use it, checked with the databases' own clients and dcmdump.

Usage: store_processes.py ONDREL REPOSITORY WORKDIR [sqlite|postgresql]

- Two processes storing 500 images each into one database at once lose none.
- A process killed in the middle of a store leaves the database consistent, and storing again
  completes it.
- A full disk (a file-size limit, `ulimit -f`, with SIGXFSZ ignored: no tmpfs needs mounting) cuts the
  stored file short: the import is reported, and the image's row stays in the database.
- SaveMprSeries writes every derived image as a DICOM file that dcmdump reads without error, and
  records it; a saved consult image and an imported picture are listed by `ondrel studies --db`.

For postgresql the database is the server that tests/storage/with_postgres started
(ONDREL_TEST_POSTGRES); each case makes a database of its own on it.
"""
import os
import shutil
import signal
import sqlite3
import subprocess
import sys
import time

import pydicom

ONDREL, REPOSITORY, WORKDIR = sys.argv[1:4]
ENGINE = sys.argv[4] if len(sys.argv) > 4 else "sqlite"
SAMPLE = os.path.join(REPOSITORY, "data/sample/CT_small.dcm")


def fail(message):
    sys.exit(f"{ENGINE}: {message}")


class Storage:
    """A storage tree and an empty database of the case's own."""

    def __init__(self, name):
        self.folder = os.path.join(WORKDIR, ENGINE, name)
        shutil.rmtree(self.folder, ignore_errors=True)
        os.makedirs(self.folder)
        self.root = os.path.join(self.folder, "tree")
        if ENGINE == "sqlite":
            self.connection = os.path.join(self.folder, "ondrel.sqlite")
        else:
            server = os.environ.get("ONDREL_TEST_POSTGRES")
            if not server:
                fail("ONDREL_TEST_POSTGRES is not set: run under tests/storage/with_postgres")
            subprocess.run(["psql", "-q", server, "-c", f"CREATE DATABASE {ENGINE}_{name}"], check=True)
            self.connection = server.rsplit("/", 1)[0] + f"/{ENGINE}_{name}"
        self.env = dict(os.environ, ONDREL_DICOM_FILES=self.root, ONDREL_DB_CONNECTION=self.connection)

    def query(self, sql):
        """Rows as lists of texts, through sqlite3's module or psql: not through the code under test."""
        if ENGINE == "sqlite":
            with sqlite3.connect(self.connection) as db:
                return [[str(v) for v in row] for row in db.execute(sql)]
        out = subprocess.run(["psql", "-At", "-F", "|", self.connection, "-c", sql], check=True,
                             capture_output=True, text=True).stdout
        return [line.split("|") for line in out.splitlines() if line]

    def ondrel(self, *args, check=True, preexec=None):
        result = subprocess.run([ONDREL, *args], capture_output=True, text=True, cwd=self.folder, env=self.env,
                                preexec_fn=preexec)
        if check and result.returncode != 0:
            fail(f"ondrel {' '.join(args)} failed:\n{result.stdout}\n{result.stderr}")
        return result

    def start(self, *args):
        return subprocess.Popen([ONDREL, *args], cwd=self.folder, env=self.env, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, text=True)

    def count(self, table):
        return int(self.query(f"SELECT count(*) FROM {table}")[0][0])

    def check_consistent(self):
        """Every row refers to a row above it, and SQLite's file is whole."""
        if ENGINE == "sqlite":
            if self.query("PRAGMA integrity_check") != [["ok"]]:
                fail("the SQLite file is damaged")
        orphans = self.query('SELECT count(*) FROM images i LEFT JOIN series s ON s."SeriesInstanceUid" = '
                             'i."SeriesInstanceUid" WHERE s."SeriesInstanceUid" IS NULL')
        if orphans != [["0"]]:
            fail(f"images without their series: {orphans}")


def make_images(folder, count, series):
    """`count` real CT images of one series, each with UIDs of its own."""
    os.makedirs(folder)
    template = pydicom.dcmread(SAMPLE)
    template.SeriesInstanceUID = f"1.3.6.1.4.1.77777.9.{series}"
    for i in range(count):
        template.SOPInstanceUID = f"1.3.6.1.4.1.77777.9.{series}.{i + 1}"
        template.file_meta.MediaStorageSOPInstanceUID = template.SOPInstanceUID
        template.InstanceNumber = i + 1
        template.save_as(os.path.join(folder, f"{i:04d}.dcm"))


def check_concurrent_stores():
    storage = Storage("concurrent")
    make_images(os.path.join(storage.folder, "a"), 500, 1)
    make_images(os.path.join(storage.folder, "b"), 500, 2)
    # The schema is made by the first store; both processes then race on every row above the image.
    runs = [storage.start("store", "a"), storage.start("store", "b")]
    for run in runs:
        out, err = run.communicate(timeout=240)
        if run.returncode != 0:
            fail(f"a concurrent store failed:\n{out}\n{err}")
    if (storage.count("images"), storage.count("series"), storage.count("studies"), storage.count("patients")) != \
            (1000, 2, 1, 1):
        fail(f"two processes storing 500 images each left {storage.count('images')} images")
    storage.check_consistent()
    print("two processes storing 500 images each at once: 1000 images, 2 series, 1 study, 1 patient")


def check_killed_store():
    storage = Storage("killed")
    make_images(os.path.join(storage.folder, "a"), 500, 3)
    storage.ondrel("store", SAMPLE)  # the schema exists: the kill falls among the images
    run = storage.start("store", "a")
    # Killed as soon as the first of the new images is recorded, however fast the machine stores.
    while run.poll() is None and storage.count("images") < 2:
        time.sleep(0.002)
    run.send_signal(signal.SIGKILL)
    run.communicate()
    stored = storage.count("images")
    storage.check_consistent()
    if not 1 <= stored < 501:
        fail(f"a store killed after its first image left {stored} images: the kill did not fall mid-store")
    storage.ondrel("store", "a")
    if storage.count("images") != 501:
        fail("storing again after a kill did not complete the series")
    print(f"a store killed mid-way left {stored} consistent rows; storing again completed 501")


def check_full_disk():
    storage = Storage("fulldisk")
    storage.ondrel("store", SAMPLE)  # database and WAL made before the limit
    # A picture of 160 x 120 RGB pixels: 57,600 bytes of pixel data, above the limit of 48 KiB.
    picture = os.path.join(storage.folder, "gradient.png")
    subprocess.run(["convert", "-size", "160x120", "gradient:red-blue", picture], check=True)

    def limited():
        signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
        import resource
        resource.setrlimit(resource.RLIMIT_FSIZE, (48 * 1024, 48 * 1024))

    result = storage.ondrel("import", picture, "--store", check=False, preexec=limited)
    if result.returncode != 1 or "the file the core wrote is incomplete" not in result.stderr:
        fail(f"an import onto a full disk was not reported:\n{result.stdout}\n{result.stderr}")
    rows = storage.query('SELECT "FileName" FROM images WHERE "SopClassUid" = \'1.2.840.10008.5.1.4.1.1.7\'')
    if len(rows) != 1 or os.path.getsize(rows[0][0]) != 48 * 1024:
        fail(f"the row of the image cut short is not there as it should be: {rows}")
    print("a full disk cuts the stored file short: reported, and its row stays in the database")


def check_saved_images():
    storage = Storage("saved")
    stack = os.path.join(storage.folder, "stack")
    subprocess.run(["/usr/bin/python3", os.path.join(REPOSITORY, "scripts/make_mpr_stack.py"), "--out", stack],
                   check=True, stderr=subprocess.DEVNULL)
    picture = os.path.join(REPOSITORY, "tests/data/pictures/palette.png")
    script = os.path.join(storage.folder, "save.ondrel")
    with open(script, "w") as out:
        out.write("\n".join([
            "window view 64 48", "window consultview 40 30",
            "series ct stack", "newimage consult", "newimage imported",
            "call RenderImage ct[0] view false",
            "call GenerateMprSeries ct[0] ? ? ? as first second oblique",
            'call SaveMprSeries "coronal" "sagittal" "oblique"', "expect SaveMprSeries -> 0x00000000",
            "call SaveConsultImage view consult", "expect SaveConsultImage -> 0x00000000",
            f'call ImportImageAsDICOMFile "{picture}" imported', "expect ImportImageAsDICOMFile -> 0x00000000",
        ]) + "\n")
    storage.ondrel("run", script)
    derived = storage.query('SELECT i."FileName" FROM images i JOIN series s ON s."SeriesInstanceUid" = '
                            'i."SeriesInstanceUid" WHERE s."SeriesDescription" IN (\'coronal\', \'sagittal\', '
                            '\'oblique\')')
    if len(derived) != 24 + 32 + 1:
        fail(f"SaveMprSeries recorded {len(derived)} images, not 57")
    for (file,) in derived:
        if not file.startswith(storage.root + "/"):
            fail(f"{file} is not in the storage tree")
        dump = subprocess.run(["dcmdump", "-q", "+E", file], capture_output=True, text=True)
        if dump.returncode != 0 or dump.stderr:
            fail(f"dcmdump does not read {file}:\n{dump.stderr}")
    listing = storage.ondrel("studies", "--db").stdout
    if listing.count('"coronal": 24 images') != 1 or listing.count(" OT: 1 image") != 2:
        fail(f"the database's listing lacks the saved images:\n{listing}")
    print("SaveMprSeries stored 57 images that dcmdump reads; the consult image and the picture are listed")


check_concurrent_stores()
check_killed_store()
check_full_disk()
check_saved_images()
