"""Finishing passes over a part: heights of a ball, the positions at which its holder gouges, and the part's shadow.

Usage: heights.py FILE [DIAMETER]
"""

import sys

import numpy as np

import sorvane


def main(path: str, diameter: float) -> None:
    part = sorvane.read(path).weld(1e-6)
    low, high = part.bounds
    surface = sorvane.Surface(part)  # prepared once, for any number of calls

    ball = sorvane.Tool.ball(diameter)
    xs = np.arange(low[0], high[0], diameter / 4)
    ys = np.arange(low[1], high[1], diameter / 4)
    heights = surface.height_map(ball, xs, ys)
    touched = np.isfinite(heights)
    print(f"{heights.shape[1]} x {heights.shape[0]} positions, {touched.mean():.0%} over the part,")
    print(f"tip between {heights[touched].min():.3f} and {heights[touched].max():.3f}")

    # A short cutter in a wide holder: where does that run into the part?
    tool = sorvane.Tool.ball(diameter, length=diameter).with_part(
        sorvane.Tool.flat(6 * diameter, length=10 * diameter), height=diameter
    )
    grid_x, grid_y = np.meshgrid(xs, ys)
    tips = np.column_stack([grid_x[touched], grid_y[touched], heights[touched]])
    gouges = surface.gouges(tool, tips)
    print(f"the holder gouges at {np.count_nonzero(gouges.parts == 1)} of {len(tips)}, by {gouges.depths.max():.3f} at most")

    shadow = part.silhouette()
    print(f"shadow of {len(shadow)} loops, area {shadow.area:.6g}")


if __name__ == "__main__":
    main(sys.argv[1], float(sys.argv[2]) if len(sys.argv) > 2 else 10.0)
