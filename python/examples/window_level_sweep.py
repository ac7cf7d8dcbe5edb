#!/usr/bin/python3
"""Renders every image of a series as a workstation viewport shows it, one PNG each, then sweeps the
window/level of its middle image and prints what each setting leaves visible.

Usage: PYTHONPATH=build/python /usr/bin/python3 python/examples/window_level_sweep.py SERIES OUT
SERIES is a DICOM file or a folder of one series (the first series found is taken); OUT is the
folder the pictures go to (made if missing).
"""

import argparse
import pathlib

import ondrel

SWEEP = [(80, 40), (400, 40), (1500, 300), (2000, -500)]  # brain, soft tissue, bone, lung


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("series", type=pathlib.Path)
    parser.add_argument("out", type=pathlib.Path)
    args = parser.parse_args()

    series = ondrel.Study.open(args.series)[0].series[0]
    images = series.images
    args.out.mkdir(parents=True, exist_ok=True)
    with ondrel.Viewport(256, 256) as view:
        for index, image in enumerate(images):
            view.show(image)
            view.save(args.out / f"{index:03d}.png")
        print(f"{len(images)} images of series {series.series_instance_uid} ({series.modality}) in {args.out}")

        view.show(images[len(images) // 2])
        print("width  level  mean grey  black %  white %")
        for width, level in SWEEP:
            view.window_level(width, level)
            grey = view.picture().mean(axis=2)
            print(f"{width:5}  {level:5}  {grey.mean():9.1f}  {100 * (grey == 0).mean():7.1f}  "
                  f"{100 * (grey == 255).mean():7.1f}")


if __name__ == "__main__":
    main()
