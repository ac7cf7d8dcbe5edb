#!/usr/bin/python3
"""The peer of mpr_bench's oblique image: VTK's vtkImageReslice cutting the same plane out of a volume
of the benchmark series' shape (300 slices of 512 x 512 signed 16-bit samples, 0.703125 mm pixels,
1.25 mm apart): 724 samples along the diagonal of the slices by 532 along their normal, nearest
neighbour, as the oblique image of the MPR line (0, 0)-(511, 511) is. Each repetition turns the plane
by a tenth of a degree back or forth, as a drag does, so that VTK reslices afresh.

Prints, as Google Benchmark's JSON does, the median of REPETITIONS runs of as many reslices as fit in
MIN_TIME seconds, under the name mpr/oblique/vtk.

Usage: /usr/bin/python3 bench/mpr_vtk_peer.py [--repetitions N] [--min-time S] [--out FILE]
Needs Debian's python3-vtk9 and python3-numpy (scripts/bench installs them).
"""

import argparse
import json
import math
import statistics
import time

import numpy as np
from vtkmodules.util.numpy_support import numpy_to_vtk
from vtkmodules.vtkCommonCore import VTK_SHORT
from vtkmodules.vtkCommonDataModel import vtkImageData
from vtkmodules.vtkImagingCore import vtkImageReslice

SLICES, SIZE, SPACING, SLICE_SPACING = 300, 512, 0.703125, 1.25
COLUMNS, ROWS = 724, 532


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--repetitions", type=int, default=5)
    parser.add_argument("--min-time", type=float, default=0.5)
    parser.add_argument("--out")
    args = parser.parse_args()

    volume = (np.arange(SLICES * SIZE * SIZE, dtype=np.uint32) * np.uint32(2654435761) >> np.uint32(20)).astype(np.int16)
    image = vtkImageData()
    image.SetDimensions(SIZE, SIZE, SLICES)
    image.SetSpacing(SPACING, SPACING, SLICE_SPACING)
    image.GetPointData().SetScalars(numpy_to_vtk(volume, deep=False, array_type=VTK_SHORT))

    reslice = vtkImageReslice()
    reslice.SetInputData(image)
    reslice.SetInterpolationModeToNearestNeighbor()
    reslice.SetOutputDimensionality(2)
    reslice.SetOutputSpacing(SPACING, SPACING, 1.0)
    reslice.SetOutputExtent(0, COLUMNS - 1, 0, ROWS - 1, 0, 0)
    reslice.SetOutputOrigin(0.0, 0.0, 0.0)
    top = (SLICES - 1) * SLICE_SPACING

    def cut(turn):
        # Columns along the slices' diagonal, rows down through the slices, from the last slice.
        angle = math.radians(45.0 + turn)
        across = (math.cos(angle), math.sin(angle), 0.0)
        down = (0.0, 0.0, -1.0)
        normal = (across[1] * down[2] - across[2] * down[1], across[2] * down[0] - across[0] * down[2],
                  across[0] * down[1] - across[1] * down[0])
        reslice.SetResliceAxesDirectionCosines(*across, *down, *normal)
        reslice.SetResliceAxesOrigin(0.0, 0.0, top)
        reslice.Update()
        return reslice.GetOutput()

    cut(0.0)
    medians = []
    step = 0
    for _ in range(args.repetitions):
        count = 0
        start = time.perf_counter()
        while True:
            cut(0.1 if step % 2 else -0.1)
            step += 1
            count += 1
            elapsed = time.perf_counter() - start
            if elapsed >= args.min_time:
                break
        medians.append(elapsed / count * 1e3)
    report = {"benchmarks": [{"run_name": "mpr/oblique/vtk", "aggregate_name": "median",
                              "real_time": statistics.median(medians), "time_unit": "ms"}]}
    text = json.dumps(report)
    if args.out:
        with open(args.out, "w") as out:
            out.write(text)
    print(f"mpr/oblique/vtk {statistics.median(medians):.3f} ms a reslice of {COLUMNS} x {ROWS}")


if __name__ == "__main__":
    main()
