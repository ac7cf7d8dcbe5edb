#!/usr/bin/python3
"""The pixels of the MPR's derived images against the volume they were cut from.

For each case a stack is written by scripts/make_mpr_stack.py from a volume that numpy holds; `ondrel
run` generates the MPR, sets the slab as a user does (a mode, a drag of a slab line) and writes the
pixels the core makes of chosen derived images. Each is compared sample for sample with what this
script works out from the volume by the rules of the reformat: which voxel each scan line sample
reads (beside the line, across the slab, the last one on the slice for a plain reformat, the largest or
smallest in a slab mode, the slice's first sample where the slab misses it), and how the rows between
two slices' depths blend their scan lines.

Usage: mpr_pixels_oracle.py ONDREL REPOSITORY WORKDIR
"""

import math
import os
import subprocess
import sys

import numpy as np

ONDREL, REPOSITORY, WORKDIR = (os.path.abspath(arg) for arg in sys.argv[1:4])
KINDS = {"u16": (12, False, True), "s16": (16, True, True), "u8": (8, False, False), "s8": (8, True, False)}


def trunc(value):
    return int(value)  # toward zero


def make_stack(name, **options):
    folder = os.path.join(WORKDIR, name)
    command = ["/usr/bin/python3", os.path.join(REPOSITORY, "scripts/make_mpr_stack.py"), "--out", folder]
    for key, value in options.items():
        command += ["--" + key.replace("_", "-"), str(value)]
    subprocess.run(command, check=True, stderr=subprocess.DEVNULL)
    return folder, np.load(os.path.join(folder, "volume.npy"))


def run_script(folder, lines):
    script = os.path.join(folder, "case.ondrel")
    with open(script, "w") as out:
        out.write("\n".join(lines) + "\n")
    # What a script stores goes to a storage tree and a database of the case's own.
    storage = dict(os.environ, ONDREL_DICOM_FILES=os.path.join(folder, "stored"),
                   ONDREL_DB_CONNECTION=os.path.join(folder, "stored.sqlite"))
    result = subprocess.run([ONDREL, "run", script], capture_output=True, text=True, cwd=folder, env=storage)
    if result.returncode != 0:
        sys.exit(f"ondrel run failed:\n{result.stdout}\n{result.stderr}")
    return result.stdout


class Reformat:
    """The rules of the scan lines and the depth rows. A tilted stack (slices moved along the column
    direction, axial) lies in a wider stack system: each slice's scan line is shifted by its offsets."""

    def __init__(self, volume, kind, slice_spacing, pixel_spacing, flags, half_width, tilt=0.0):
        self.volume = volume
        self.bits, self.signed, self.wide = KINDS[kind]
        self.slices, self.rows, self.columns = volume.shape
        self.spacing = pixel_spacing
        self.flags = flags
        self.half_width = half_width
        # Slice positions as make_mpr_stack.py writes them (axial: rows along x, columns along y), and
        # the angles at the last slice's origin between its edges and the way to the first slice.
        positions = [np.array([0.0, i * tilt, i * slice_spacing]) for i in range(self.slices)]
        first, last = positions[0], positions[-1]
        to_first = first - last
        total = float(np.linalg.norm(to_first))

        def angle(edge):
            return math.acos(float(np.dot(edge, to_first)) / (float(np.linalg.norm(edge)) * total))

        rows_angle = angle(np.array([0.0, (self.rows - 1) * pixel_spacing, 0.0]))
        columns_angle = angle(np.array([(self.columns - 1) * pixel_spacing, 0.0, 0.0]))
        self.depths = [float(np.linalg.norm(p - first)) * math.sin(rows_angle) for p in positions]
        self.rows_shift = trunc(total * math.cos(rows_angle) / pixel_spacing)
        self.columns_shift = trunc(total * math.cos(columns_angle) / pixel_spacing)
        self.depth_rows = trunc(total / pixel_spacing)
        self.depth_rows += (4 - self.depth_rows % 4) % 4
        self.offsets = [(self.rows_shift - trunc(d * math.cos(rows_angle) / pixel_spacing),
                         self.columns_shift - trunc(d * math.cos(columns_angle) / pixel_spacing)) for d in self.depths]
        # The line from (0, 0) along the stack system's diagonal.
        dx, dy = self.columns + self.columns_shift - 1, self.rows + self.rows_shift - 1
        length = math.hypot(dx, dy)
        self.sin, self.cos = dy / length, dx / length
        self.line = (dx, dy)

    def width(self, role):
        if role == 2:
            return self.columns + self.columns_shift
        if role == 3:
            return self.rows + self.rows_shift
        width = trunc(math.hypot(*self.line))
        return width + 4 - (width & 3) if width & 3 else width

    def stored(self, value):
        return value + (1 << self.bits) if value < 0 else value

    def fold(self, samples):
        start = (-128 if not self.wide else -32768) if self.flags & 1 else (127 if not self.wide else 32767) if self.flags & 2 else 0
        accumulator = start
        for sample in samples:
            if self.flags & 1 and sample > accumulator:
                accumulator = sample
            elif self.flags & 2 and sample < accumulator:
                accumulator = sample
            elif self.flags == 0:
                accumulator = sample
        return accumulator

    def scan_line(self, s, role, position, width):
        count = trunc(self.half_width * 2.0)
        slab_cos, slab_sin = trunc(self.half_width * self.cos), trunc(self.half_width * self.sin)
        row_offset, column_offset = self.offsets[s]
        line = []
        for j in range(width):
            if role == 2:
                row_base, column_base = position - row_offset, j - column_offset
            elif role == 3:
                row_base, column_base = j - row_offset, position - column_offset
            else:
                row_base = trunc(j * self.spacing / self.spacing * self.sin + 0) - trunc(row_offset * abs(self.sin))
                column_base = trunc(j * self.spacing / self.spacing * self.cos + 0) - trunc(column_offset * abs(self.cos))
            samples = []
            for k in range(max(count, 1)):
                row = trunc(k * self.cos) + row_base + slab_cos
                column = trunc(k * self.sin) + column_base - slab_sin
                if 0 <= row < self.rows and 0 <= column < self.columns:
                    samples.append(int(self.volume[s, row, column]))
            first = self.stored(int(self.volume[s, 0, 0]))
            line.append(self.stored(self.fold(samples)) if samples else first)
        return line

    def image(self, role, instance, thickness):
        depth_rows, width = self.depth_rows, self.width(role)
        position = trunc((instance - 1) * thickness / self.spacing)
        lines = [self.scan_line(s, role, position, width) for s in range(self.slices)]
        signed = lambda v: v - (1 << self.bits) if self.signed and v & (1 << (self.bits - 1)) else v
        out = np.zeros((depth_rows, width), dtype=np.int64)
        for r in range(depth_rows):
            target = (depth_rows - r) * self.spacing
            lower = upper = None
            for s, depth in enumerate(self.depths):
                if target - depth > 1e-6:
                    lower = s
                    continue
                if abs(target - depth) < 1e-6:
                    lower = s
                else:
                    upper = s
                break
            row_a = depth_rows - trunc(self.depths[lower] / self.spacing)
            row_b = depth_rows - (trunc(self.depths[upper] / self.spacing) if upper is not None else 0)
            for j in range(width):
                a = signed(lines[lower][j])
                if upper is not None and row_a != row_b:
                    b = signed(lines[upper][j])
                    value = trunc(a * ((row_b - r) / (row_b - row_a)) + b * ((r - row_a) / (row_b - row_a)))
                else:
                    value = a
                out[r, j] = self.stored(value)
        return out


def check_case(name, kind, flags, slab_drag=None, images=(("first", 2, 3), ("second", 3, 5), ("oblique", 4, 1)),
               slice_spacing=2.0, tilt=0.0):
    pixel_spacing = 1.0
    folder, volume = make_stack(name, kind=kind, slices=12, rows=40, columns=56,
                                slice_spacing=slice_spacing, pixel_spacing=pixel_spacing, tilt=tilt)
    lines = ["window source 56 40", "series ct .", "call GenerateMprSeries ct[0] ? ? ? as first second oblique",
             "call RenderImage ct[3] source false"]
    if flags:
        lines.append(f"call SetMipMode {flags}")
    if slab_drag is not None:
        press, release = slab_drag
        lines += [f"call MipOnMouseButtonDown source {press} ?", "expect out=-1",
                  f"call MipOnMouseButtonUp source {release} ? ?", "expect out=-1 out=-1"]
    for series, _, index in images:
        lines.append(f"pixels {series}[{index - 1}] {series}.raw")
    run_script(folder, lines)

    half_width = 20.0
    if slab_drag is not None:
        # The slab's half width: the distance of the release point (client pixels are image pixels
        # here, the window showing the image 1:1) from the line.
        x, y = map(int, slab_drag[1].split(","))
        half_width = abs(x * 39 - y * 55) / math.hypot(55, 39)
    reformat = Reformat(volume, kind, slice_spacing, pixel_spacing, flags, half_width, tilt)
    if tilt and len(set(reformat.offsets)) < 3:
        sys.exit(f"{name}: the tilt moves the scan lines of too few slices to test")
    for series, role, instance in images:
        expected = reformat.image(role, instance, slice_spacing)
        raw = np.fromfile(os.path.join(folder, series + ".raw"), dtype="<u2" if reformat.wide else "u1")
        if raw.size != expected.size:
            sys.exit(f"{name} {series}[{instance - 1}]: {raw.size} samples, expected {expected.size}")
        made = raw.reshape(expected.shape).astype(np.int64)
        if not np.array_equal(made, expected):
            r, j = np.argwhere(made != expected)[0]
            sys.exit(f"{name} {series}[{instance - 1}]: {np.count_nonzero(made != expected)} samples differ, first at "
                     f"row {r} column {j}: {made[r, j]}, expected {expected[r, j]}")
    print(f"{name}: {len(images)} images as the volume gives them")


def check_gestures():
    """The MPR line and the slab as a user moves them, with the modes the host reads meanwhile."""
    folder, _ = make_stack("gestures", kind="s16", slices=12, rows=40, columns=56)
    run_script(folder, [
        "window source 56 40", "window view 64 64", "series ct .",
        "call GenerateMprSeries ct[0] ? ? ? as first second oblique",
        "call RenderImage first[3] view false",
        # A press on an orthogonal reformat is not the line's, nor a move without a press.
        "call MprOnMouseButtonDown view 10,10 ?", "expect out=0",
        "call RenderImage ct[3] source false", "call RenderImage oblique[0] view false",
        "call MprOnMouseMove source 20,20 ?", "expect out=0",
        # The line runs from (0, 0) to (55, 39), its centre at (27, 19): a press on the centre, also on
        # the line, shifts; a drag far outside the stack leaves the line where it was.
        "call MprOnMouseButtonDown source 27,19 ?", "expect out=-1",
        "call GetMprMode ?", "expect out=MPR_MODE_TRANSLATION",
        "call MprOnMouseMove source 300,19 ?", "expect out=-1",
        "call GetMprMode ?", "expect out=MPR_MODE_TRANSLATION",
        "show oblique[0]", "expect ImagePosition=-100.000000\\-80.000000\\62.000000",
        "call MprOnMouseButtonUp source 27,19 ? ?", "expect out=-1 out=-1",
        "call GetMprMode ?", "expect out=MPR_MODE_GENERATED",
        # A press on the line away from the centre turns it; straight below the centre it stands
        # vertical, from the top to the bottom of the stack, and the oblique image follows: 39 pixels
        # long, 40 columns.
        "call MprOnMouseButtonDown source 14,10 ?", "expect out=-1",
        "call GetMprMode ?", "expect out=MPR_MODE_ROTATION",
        "call MprOnMouseMove source 27,35 ?", "expect out=-1",
        "show oblique[0]", "expect Columns=40",
        "expect ImagePosition=-73.000000\\-80.000000\\62.000000",
        "expect ImageOrientation=0.000000\\1.000000\\0.000000\\0.000000\\0.000000\\-1.000000",
        "call MprOnMouseButtonUp source 27,35 ? ?", "expect out=-1 out=-1",
        "call MprOnMouseButtonUp source 27,35 ? ?", "expect out=0 out=-1",
        "call MprOnDoubleClick source ?", "expect out=0",
        # The slab of the vertical line, 20 pixels either side: a press away from both slab lines is
        # not taken; one on a slab line in maximum mode drags it (17), and the release ends the drag.
        "call SetMipMode MIP_MODE_MAXIP",
        "call MipOnMouseButtonDown source 27,20 ?", "expect out=0",
        "call GetMipMode ?", "expect out=MIP_MODE_MAXIP",
        "call MipOnMouseButtonDown source 7,20 ?", "expect out=-1",
        "call GetMipMode ?", "expect out=17",
        "call MipOnMouseMove source 17,20 ?", "expect out=-1",
        "call MipOnMouseButtonUp source 17,20 ? ?", "expect out=-1 out=-1",
        "call GetMipMode ?", "expect out=MIP_MODE_MAXIP",
        # Minimum and back keeps the dragged half width of 10; from no mode it starts again at 20.
        "call SetMipMode MIP_MODE_MINIP", "call SetMipMode MIP_MODE_MAXIP",
        "call MipOnMouseButtonDown source 17,20 ?", "expect out=-1",
        "call MipOnMouseButtonUp source 17,20 ? ?",
        "call SetMipMode MIP_MODE_NONE", "call SetMipMode MIP_MODE_MAXIP",
        "call MipOnMouseButtonDown source 17,20 ?", "expect out=0",
        # In no mode a press on a slab line still takes it.
        "call EndMipMode", "call GetMipMode ?", "expect out=MIP_MODE_NONE",
        "call MipOnMouseButtonDown source 7,20 ?", "expect out=-1",
        "call GetMipMode ?", "expect out=MIP_MODE_TRANSLATION",
        "call MipOnMouseButtonUp source 7,20 ? ?", "expect out=-1 out=-1",
        "call MipRotate source 40 0", "expect MipRotate -> 0x00000000",
        # Saving names the series and stores each image (tests/storage checks what is stored).
        'call SaveMprSeries "coronal" "sagittal" "oblique"',
        "expect SaveMprSeries -> 0x00000000",
        "show first", "expect SeriesDescription=coronal",
        # Ending the MPR drops the windows of derived images and the mode.
        "call EndMprMode", "call GetMprMode ?", "expect out=MPR_MODE_NONE",
        "call GetCurrentImageZoom view ?", "expect out=100",
    ])
    print("gestures: the line, the slab and the modes move as a user drags them")


def check_mip():
    """The MIP of a coronal stack projects along -y onto the slices; of an axial one nothing passes."""
    # The image's rows run along the row direction, the column direction or their cross product,
    # whichever is strongest along z, and the ray along whichever is strongest along y.
    for orientation, expect_pixels, rows_direction in (("coronal", True, "-1.000000\\-0.000000\\-0.000000"),
                                                       ("axial", False, "1.000000\\-0.000000\\0.000000")):
        folder, volume = make_stack("mip_" + orientation, kind="s16", slices=12, rows=40, columns=56,
                                    orientation=orientation)
        run_script(folder, ["series ct .", "call GenerateMipSeries ct[0] ? as mip", "show mip[0]",
                            f"expect ImageOrientation={rows_direction}\\0.000000\\0.000000\\-1.000000",
                            "pixels mip[0] mip.raw"])
        made = np.fromfile(os.path.join(folder, "mip.raw"), dtype="<u2")
        if made.size == 0 or (np.count_nonzero(made) > 0) != expect_pixels:
            sys.exit(f"mip {orientation}: {np.count_nonzero(made)} of {made.size} samples set")
        if expect_pixels and made.max() > volume.max():
            sys.exit(f"mip {orientation}: {made.max()} is above the volume's largest value")
    print("mip: the coronal stack projects, the axial one gives nothing")


check_gestures()
check_mip()
check_case("plain_s16", "s16", 0)
check_case("plain_u12", "u16", 0)
# Slices 3 mm apart: two rows between each pair, blended a third and two thirds.
check_case("thirds_s16", "s16", 0, slice_spacing=3.0)
# Slices 12 mm apart: 132 rows, enough to be shared between threads, each cutting the slices of its
# own rows.
check_case("deep_s16", "s16", 0, images=(("first", 2, 2), ("second", 3, 3), ("oblique", 4, 1)), slice_spacing=12.0)
check_case("maximum_s16", "s16", 1)
check_case("minimum_u8", "u8", 2)
# Signed 8-bit maximum: a stored 0xFF is -1 and loses to any positive sample.
check_case("maximum_s8", "s8", 1)
check_case("both_bits_s16", "s16", 3)
# The slab dragged onto the line (half width 0: one sample a column) and to 0.6 pixel off it.
check_case("half_width_0", "s16", 1, ("16,35", "0,0"))
check_case("half_width_0_6", "s16", 1, ("16,35", "1,0"))
# A gantry tilt of half a millimetre a slice: the stack system is 5 rows taller, and the scan lines
# move up a row every second slice or so.
check_case("tilted_s16", "s16", 0, tilt=-0.5)
check_case("tilted_maximum_u12", "u16", 1, tilt=-0.5)
print("all reformats match the volume")
