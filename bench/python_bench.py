#!/usr/bin/python3
"""The Python binding beside pydicom, in one run: reading the headers of the CT series, decoding the
pixels of one of its slices (uncompressed), and decoding a JPEG lossless (process 14 SV1) copy of a
CT slice, pydicom through Debian's GDCM handler (python3-gdcm).

  python/headers        ondrel.read of each of the series' files (the whole data set, the pixel data
                        left in the file until asked for)
  pydicom/headers       pydicom.dcmread(stop_before_pixels=True) of each file
  python/pixels         ondrel.pixels of the middle slice: file read, parsed, pixels loaded
  pydicom/pixels        pydicom.dcmread(...).pixel_array of the same slice
  python/jpeg_lossless16, pydicom_gdcm/jpeg_lossless16: the same for the compressed copy

Prints, per case, the median milliseconds of REPETITIONS runs and then the ratios as scripts/bench
does ("ratio NAME ondrel_ms peer_ms peer/ondrel"; the target for the headers is 5 or more).

Usage: PYTHONPATH=BUILD/python /usr/bin/python3 bench/python_bench.py --data DIR --codec-data DIR
                                                                      [--repetitions N]
DIR holds the CT series made by bench/make_ct_series.py, the codec directory ct_lossless16.dcm made by
bench/make_codec_frames.py (scripts/bench makes both).
"""

import argparse
import pathlib
import statistics
import time

import pydicom
from pydicom.pixel_data_handlers import gdcm_handler, numpy_handler

import ondrel


def median_ms(work, repetitions):
    times = []
    for _ in range(repetitions):
        start = time.perf_counter()
        work()
        times.append((time.perf_counter() - start) * 1e3)
    return statistics.median(times)


def gdcm_pixels(path):
    return pydicom.dcmread(path).pixel_array


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--data", type=pathlib.Path, required=True)
    parser.add_argument("--codec-data", type=pathlib.Path, required=True)
    parser.add_argument("--repetitions", type=int, default=5)
    args = parser.parse_args()

    series = sorted(args.data.glob("CT*.dcm"))
    if len(series) < 300:
        raise SystemExit(f"{args.data} holds {len(series)} CT files, not 300: run scripts/bench")
    middle = series[len(series) // 2]
    compressed = args.codec_data / "ct_lossless16.dcm"
    if not gdcm_handler.is_available():
        raise SystemExit("pydicom's GDCM handler is not available: install python3-gdcm")
    # numpy's handler for the uncompressed slice, GDCM's for the JPEG (numpy's can't decode it).
    pydicom.config.pixel_data_handlers = [numpy_handler, gdcm_handler]
    if not (ondrel.pixels(compressed) == gdcm_pixels(compressed)).all():
        raise SystemExit(f"{compressed}: ondrel and GDCM decode it differently")

    cases = {
        "python/headers": lambda: [ondrel.read(path) for path in series],
        "pydicom/headers": lambda: [pydicom.dcmread(path, stop_before_pixels=True) for path in series],
        "python/pixels": lambda: ondrel.pixels(middle),
        "pydicom/pixels": lambda: pydicom.dcmread(middle).pixel_array,
        "python/jpeg_lossless16": lambda: ondrel.pixels(compressed),
        "pydicom_gdcm/jpeg_lossless16": lambda: gdcm_pixels(compressed),
    }
    for work in cases.values():
        work()  # the page cache and the imports settle first
    medians = {name: median_ms(work, args.repetitions) for name, work in cases.items()}
    for name, value in medians.items():
        print(f"{name} {value:.3g} ms")
    for name, peer in (("headers", "pydicom"), ("pixels", "pydicom"), ("jpeg_lossless16", "pydicom_gdcm")):
        ours, theirs = medians[f"python/{name}"], medians[f"{peer}/{name}"]
        print(f"ratio python_{name} {ours:.3g} {theirs:.3g} {theirs / ours:.2f}")


if __name__ == "__main__":
    main()
