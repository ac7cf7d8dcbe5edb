#!/usr/bin/python3
"""Writes what the volume server's ray caster must show of a synthetic volume, worked out with numpy
from the shapes themselves (ray against sphere and box), not from their samples.

The volume (the test builds the same): 40 x 36 x 30 samples 1.0, 1.2 and 1.5 mm apart along x, y, z
(patient axes, origin 0), -1000 everywhere but a sphere of 1000 (centre 13, 20, 24 mm, radius 10 mm)
and a box of 500 (x 24..36, y 6..32, z 4..18 mm). As a scanner's partial volume does, a sample near a
shape's outline takes a value between the shape's and -1000, linear in its signed distance to the
outline across 2 mm (the midway value on the outline), rounded; the larger of the two shapes' wins. Pictures are 96 x 96 rays of a parallel projection: the picture's centre looks at the grid's
centre, its side spans the grid's diagonal D, rays start D/2 before the centre plane and run D. The
view starts from the front (screen right +x, up +z, rays along +y); azimuth A turns the eye A degrees
to the right about the screen's up direction, then elevation E that many degrees up about its right.

Each output is 96 x 96 little-endian float32 values, row by row from the top:
  mip_az{A}_el{E}.f32         visible range 100..2000: the largest value within it along the ray
                              (1000, 500), -inf where the ray meets neither shape
  surface{LOW}_az{A}_el{E}.f32  visible range LOW..2000: the shade of the first surface met,
                              0.15 + 0.7 c + 0.15 c^20 with c the cosine between the surface's normal
                              and the ray (the sphere's surface at LOW lies inside its outline, where
                              the ramp passes LOW); 2.0 where a surface is met but its shade is not checked
                              (near the box's edges, towards the sphere's rim, or both shapes close
                              on the ray); -inf where the ray meets nothing
NaN marks a pixel whose ray passes within 3.5 mm of a shape's outline, where sampling decides (3.5 mm
is the grid's cell diagonal, 2.2 mm, which bounds how far an interpolated sample reaches, beyond the
1 mm half ramp). Usage: /usr/bin/python3 scripts/make_volume_references.py [--out DIR]
(default tests/data/volume3d). Needs Debian's python3-numpy.
"""

import argparse
import os

import numpy as np

SIZE = 96
SHAPE = (40, 36, 30)
SPACING = np.array([1.0, 1.2, 1.5])
SPHERE_CENTRE, SPHERE_RADIUS = np.array([13.0, 20.0, 24.0]), 10.0
BOX_LOW, BOX_HIGH = np.array([24.0, 6.0, 4.0]), np.array([36.0, 32.0, 18.0])
SPHERE_VALUE, BOX_VALUE, BACKGROUND = 1000.0, 500.0, -1000.0
RAMP = 2.0
BAND = 3.5
VIEWS = [(0, 0), (30, 20), (-75, 40), (90, -30)]
SURFACES = [300, 700]
# Shades are checked only for rays within this fraction of the radius from the sphere's centre.
RIM = 0.8


def turned(azimuth, elevation):
    right, up, into = np.array([1.0, 0, 0]), np.array([0, 0, 1.0]), np.array([0, 1.0, 0])
    a, e = np.radians(azimuth), np.radians(elevation)
    into, right = into * np.cos(a) - right * np.sin(a), right * np.cos(a) + into * np.sin(a)
    into, up = into * np.cos(e) - up * np.sin(e), up * np.cos(e) + into * np.sin(e)
    return right, up, into


def rays(view):
    right, up, into = view
    extent = SPACING * (np.array(SHAPE) - 1)
    diagonal = np.linalg.norm(extent)
    pixel = diagonal / SIZE
    centre = extent / 2
    offsets = (np.arange(SIZE) + 0.5 - SIZE / 2) * pixel
    across, down = np.meshgrid(offsets, offsets)
    origins = centre - into * diagonal / 2 + across[..., None] * right - down[..., None] * up
    return origins, into, diagonal


def sphere_hit(origins, into, length, radius):
    """Entry distance along each ray into the sphere of `radius`, inf where it misses."""
    to_centre = origins - SPHERE_CENTRE
    b = to_centre @ into
    c = np.sum(to_centre * to_centre, axis=-1) - radius * radius
    disc = b * b - c
    root = np.sqrt(np.maximum(disc, 0))
    near, far = -b - root, -b + root
    hit = (disc > 0) & (far >= 0) & (near <= length)
    return np.where(hit, np.maximum(near, 0), np.inf)


def box_hit(origins, into, length, grow):
    """Entry distance into the box grown by `grow` (negative shrinks), inf where it misses, and the
    axis of the face entered."""
    low, high = BOX_LOW - grow, BOX_HIGH + grow
    with np.errstate(divide="ignore", invalid="ignore"):
        t1 = (low - origins) / into
        t2 = (high - origins) / into
    near = np.where(into == 0, np.where((origins >= low) & (origins <= high), -np.inf, np.inf), np.minimum(t1, t2))
    far = np.where(into == 0, np.where((origins >= low) & (origins <= high), np.inf, -np.inf), np.maximum(t1, t2))
    enter, leave = near.max(axis=-1), far.min(axis=-1)
    hit = (enter <= leave) & (leave >= 0) & (enter <= length)
    return np.where(hit, np.maximum(enter, 0), np.inf), near.argmax(axis=-1)


def shade(cosine):
    return 0.15 + 0.7 * cosine + 0.15 * cosine ** 20


def pictures(view):
    origins, into, length = rays(view)
    sphere = {g: np.isfinite(sphere_hit(origins, into, length, SPHERE_RADIUS + g)) for g in (-BAND, BAND)}
    box = {g: np.isfinite(box_hit(origins, into, length, g)[0]) for g in (-BAND, BAND)}
    firm = (sphere[-BAND] == sphere[BAND]) & (box[-BAND] == box[BAND])
    in_sphere, in_box = sphere[-BAND], box[-BAND]

    mip = np.where(in_sphere, SPHERE_VALUE, np.where(in_box, BOX_VALUE, -np.inf))
    result = {"mip": np.where(firm, mip, np.nan)}

    t_sphere = sphere_hit(origins, into, length, SPHERE_RADIUS)
    t_box, axis = box_hit(origins, into, length, 0.0)
    to_centre = origins - SPHERE_CENTRE
    along = to_centre @ into
    distance = np.linalg.norm(to_centre - along[..., None] * into, axis=-1)
    box_shade = shade(np.abs(into[axis]))
    # The box's face is checked away from its edges: the point entered lies BAND inside the face.
    point = origins + np.where(np.isfinite(t_box), t_box, 0)[..., None] * into
    inside_face = np.ones(axis.shape, bool)
    for other in range(3):
        clear = (point[..., other] >= BOX_LOW[other] + BAND) & (point[..., other] <= BOX_HIGH[other] - BAND)
        inside_face &= (axis == other) | clear
    lone_sphere = sphere[BAND] & ~box[BAND]
    lone_box = box[BAND] & ~sphere[BAND]
    for low in SURFACES:
        sees_box = low <= BOX_VALUE
        hit = in_sphere | (in_box & sees_box)
        surface = np.where(hit, 2.0, -np.inf)
        # The surface at LOW lies where the ramp across the sphere's outline passes LOW: inside it.
        radius = SPHERE_RADIUS - RAMP * ((low - BACKGROUND) / (SPHERE_VALUE - BACKGROUND) - 0.5)
        sphere_shade = shade(np.sqrt(np.clip(1 - (distance / radius) ** 2, 0, 1)))
        alone = lone_sphere if sees_box else sphere[BAND]
        checked_sphere = alone & in_sphere & (distance < RIM * SPHERE_RADIUS) & np.isfinite(t_sphere)
        surface = np.where(checked_sphere, sphere_shade, surface)
        if sees_box:
            surface = np.where(lone_box & in_box & inside_face, box_shade, surface)
        box_firm = (box[-BAND] == box[BAND]) | ~sees_box
        result[f"surface{low}"] = np.where((sphere[-BAND] == sphere[BAND]) & box_firm, surface, np.nan)
    return result


def main():
    parser = argparse.ArgumentParser()
    default = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "data", "volume3d")
    parser.add_argument("--out", default=default)
    args = parser.parse_args()
    os.makedirs(args.out, exist_ok=True)
    for azimuth, elevation in VIEWS:
        for name, picture in pictures(turned(azimuth, elevation)).items():
            path = os.path.join(args.out, f"{name}_az{azimuth}_el{elevation}.f32")
            picture.astype("<f4").tofile(path)


if __name__ == "__main__":
    main()
