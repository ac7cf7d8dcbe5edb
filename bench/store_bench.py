#!/usr/bin/python3
"""Storing the 300-file CT series beside DCMTK's dcmqridx indexing the same files, in one run.

Each repetition starts from nothing (a new SQLite database, storage tree or index folder) and times
one process over the whole series:
  store/records/ondrel   ondrel store DIR: every file parsed and recorded in place, one transaction
                         an image (write-ahead log, each commit synchronous);
  store/copies/ondrel    ondrel store --copy DIR: recorded, then copied into the storage tree;
  store/records/dcmqridx dcmqridx INDEX FILES...: DCMTK registers every file in its index.dat;
  store/copies/cp        cp FILES... DIR: the machine's bound for the copies, which no peer makes.
Medians in milliseconds go to --out as JSON in Google Benchmark's form, for scripts/bench --compare.

Usage: store_bench.py --ondrel BUILD/bin/ondrel --data DIR [--repetitions N] [--out FILE]
"""
import argparse
import glob
import json
import os
import shutil
import statistics
import subprocess
import tempfile
import time


def timed(command, env=None):
    start = time.perf_counter()
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL, env=env)
    return (time.perf_counter() - start) * 1000.0


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--ondrel", required=True)
    parser.add_argument("--data", required=True)
    parser.add_argument("--repetitions", type=int, default=5)
    parser.add_argument("--out")
    args = parser.parse_args()
    files = sorted(glob.glob(os.path.join(args.data, "CT*.dcm")))
    if len(files) < 300:
        raise SystemExit(f"{args.data} holds {len(files)} CT files, not 300: scripts/bench makes them")
    files = files[:300]
    series = tempfile.mkdtemp(prefix="ondrel-store-bench-series-")
    for file in files:
        os.symlink(file, os.path.join(series, os.path.basename(file)))

    times = {"store/records/ondrel": [], "store/copies/ondrel": [], "store/records/dcmqridx": [],
             "store/copies/cp": []}
    for _ in range(args.repetitions):
        work = tempfile.mkdtemp(prefix="ondrel-store-bench-")
        env = dict(os.environ, ONDREL_DICOM_FILES=os.path.join(work, "tree"),
                   ONDREL_DB_CONNECTION=os.path.join(work, "records.sqlite"))
        times["store/records/ondrel"].append(timed([args.ondrel, "store", series], env))
        env["ONDREL_DB_CONNECTION"] = os.path.join(work, "copies.sqlite")
        times["store/copies/ondrel"].append(timed([args.ondrel, "store", "--copy", series], env))
        index = os.path.join(work, "index")
        os.makedirs(index)
        times["store/records/dcmqridx"].append(timed(["dcmqridx", "-q", index, *files]))
        copies = os.path.join(work, "copies")
        os.makedirs(copies)
        times["store/copies/cp"].append(timed(["cp", *files, copies]))
        shutil.rmtree(work)
    shutil.rmtree(series)

    runs = [{"run_name": name, "aggregate_name": "median", "real_time": statistics.median(values), "time_unit": "ms"}
            for name, values in times.items()]
    for run in runs:
        print(f"{run['run_name']:28} {run['real_time']:10.1f} ms")
    if args.out:
        with open(args.out, "w") as out:
            json.dump({"benchmarks": runs}, out)


main()
