#!/usr/bin/python3
"""The peer of volume_bench: VTK's vtkFixedPointVolumeRayCastMapper (CPU ray casting) rendering the
same CT series (bench/make_ct_series.py, read with pydicom into one signed 16-bit volume) into a
512 x 512 off-screen window, with the view volume_bench's server shows: a parallel projection from the
patient's front, head up, the picture's side spanning the volume's diagonal, samples 0.703125 mm
apart (the smallest spacing), one ray a pixel. The surface is a step of opacity at 300 HU (0 below,
1 from 300 to 3000) with shading, which ends each ray at its first sample within the range, as the
server's surface does; the projection is VTK's maximum intensity blend over -1000..3000 HU. Each
render turns the camera by half a degree back or forth, as a drag does.

Prints, as Google Benchmark's JSON does, the median of REPETITIONS runs of as many renders as fit in
MIN_TIME seconds, under the names volume/full_surface/vtk and volume/full_mip/vtk, and, with the
interactive sampling the server uses while dragging (256 x 256 rays, 1.40625 mm), volume/drag_*/vtk.

Usage: xvfb-run -a /usr/bin/python3 bench/volume_vtk_peer.py [--data DIR] [--repetitions N]
       [--min-time S] [--out FILE]
Needs Debian's python3-vtk9, python3-numpy, python3-pydicom and xvfb (scripts/bench installs them).
"""

import argparse
import glob
import json
import math
import os
import statistics
import time

import numpy as np
import pydicom
from vtkmodules.util.numpy_support import numpy_to_vtk
from vtkmodules.vtkCommonDataModel import vtkImageData, vtkPiecewiseFunction
from vtkmodules.vtkRenderingCore import vtkColorTransferFunction, vtkRenderer, vtkRenderWindow, vtkVolume, vtkVolumeProperty
from vtkmodules.vtkRenderingVolume import vtkFixedPointVolumeRayCastMapper
import vtkmodules.vtkRenderingOpenGL2  # noqa: F401 (the render window's implementation)
import vtkmodules.vtkRenderingVolumeOpenGL2  # noqa: F401 (the ray cast mapper's display helper)

SIZE = 512


def load(folder):
    slices = [pydicom.dcmread(path) for path in sorted(glob.glob(os.path.join(folder, "CT*.dcm")))]
    slices.sort(key=lambda s: float(s.ImagePositionPatient[2]))
    volume = np.stack([s.pixel_array * float(s.RescaleSlope) + float(s.RescaleIntercept) for s in slices])
    row = float(slices[0].PixelSpacing[0])
    depth = (float(slices[-1].ImagePositionPatient[2]) - float(slices[0].ImagePositionPatient[2])) / (len(slices) - 1)
    image = vtkImageData()
    image.SetDimensions(volume.shape[2], volume.shape[1], volume.shape[0])
    image.SetSpacing(row, row, depth)
    image.GetPointData().SetScalars(numpy_to_vtk(np.clip(volume, -32768, 32767).astype(np.int16).ravel(), deep=1))
    return image, min(row, depth)


def scene(image, mip, sample, shrink):
    mapper = vtkFixedPointVolumeRayCastMapper()
    mapper.SetInputData(image)
    mapper.SetAutoAdjustSampleDistances(0)
    mapper.SetSampleDistance(sample * shrink)
    mapper.SetImageSampleDistance(shrink)
    prop = vtkVolumeProperty()
    opacity = vtkPiecewiseFunction()
    colour = vtkColorTransferFunction()
    if mip:
        mapper.SetBlendModeToMaximumIntensity()
        opacity.AddPoint(-1000, 1.0)
        opacity.AddPoint(3000, 1.0)
        colour.AddRGBPoint(-1000, 0, 0, 0)
        colour.AddRGBPoint(3000, 1, 1, 1)
    else:
        opacity.AddPoint(299.9, 0.0)
        opacity.AddPoint(300, 1.0)
        opacity.AddPoint(3000, 1.0)
        opacity.AddPoint(3000.1, 0.0)
        colour.AddRGBPoint(300, 1.0, 0.5, 1.0)
        colour.AddRGBPoint(3000, 1.0, 0.5, 1.0)
        prop.ShadeOn()
        prop.SetInterpolationTypeToLinear()
    prop.SetScalarOpacity(opacity)
    prop.SetColor(colour)
    prop.SetInterpolationTypeToLinear()
    volume = vtkVolume()
    volume.SetMapper(mapper)
    volume.SetProperty(prop)
    renderer = vtkRenderer()
    renderer.AddVolume(volume)
    window = vtkRenderWindow()
    window.SetOffScreenRendering(1)
    window.SetSize(SIZE, SIZE)
    window.AddRenderer(renderer)
    bounds = image.GetBounds()
    centre = [(bounds[2 * i] + bounds[2 * i + 1]) / 2 for i in range(3)]
    diagonal = math.dist(bounds[0::2], bounds[1::2])
    camera = renderer.GetActiveCamera()
    camera.ParallelProjectionOn()
    camera.SetFocalPoint(*centre)
    camera.SetPosition(centre[0], centre[1] - diagonal, centre[2])
    camera.SetViewUp(0, 0, 1)
    camera.SetParallelScale(diagonal / 2)
    renderer.ResetCameraClippingRange()
    return window, camera, renderer


def timed(window, camera, renderer, repetitions, min_time):
    runs = []
    sign = 1
    for _ in range(repetitions):
        count, start = 0, time.perf_counter()
        while True:
            camera.Azimuth(0.5 * sign)
            sign = -sign
            renderer.ResetCameraClippingRange()
            window.Render()
            count += 1
            elapsed = time.perf_counter() - start
            if elapsed >= min_time:
                break
        runs.append(elapsed / count * 1e3)
    return statistics.median(runs)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--data", default=os.environ.get("ONDREL_BENCH_DATA", "/tmp/ondrel-bench-data"))
    parser.add_argument("--repetitions", type=int, default=5)
    parser.add_argument("--min-time", type=float, default=0.5)
    parser.add_argument("--out")
    args = parser.parse_args()
    image, sample = load(args.data)
    results = []
    for name, mip, shrink in (("full_surface", False, 1), ("full_mip", True, 1), ("drag_surface", False, 2),
                              ("drag_mip", True, 2)):
        window, camera, renderer = scene(image, mip, sample, shrink)
        window.Render()
        median = timed(window, camera, renderer, args.repetitions, args.min_time)
        results.append({"name": f"volume/{name}/vtk_median", "run_name": f"volume/{name}/vtk",
                        "aggregate_name": "median", "real_time": median, "time_unit": "ms"})
        print(f"volume/{name}/vtk {median:.1f} ms")
    if args.out:
        with open(args.out, "w") as file:
            json.dump({"benchmarks": results}, file)


if __name__ == "__main__":
    main()
