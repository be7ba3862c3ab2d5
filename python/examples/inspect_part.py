"""Slices a part, lists its drilled holes, and draws both: every outline, holes in red.

Usage: inspect_part.py FILE [PICTURE.svg]
"""

import sys

import numpy as np

import sorvane

LAYERS = 24


def path(points: np.ndarray) -> str:
    return "M" + "L".join(f"{x:.2f} {y:.2f}" for x, y in points) + "Z"


def main(name: str, picture: str) -> None:
    part = sorvane.read(name).weld(1e-6)
    low, high = part.bounds[:, 2]
    step = (high - low) / LAYERS
    slices = part.slices(low + step * (np.arange(LAYERS) + 0.5))
    print(f"{len(slices.lines)} outlines, volume by layers {slices.areas.sum() * step:.6g}, exactly {part.volume:.6g}")
    holes = part.drill_holes()
    for hole in holes:
        where = ", ".join(f"{x:.3f}" for x in hole.entry)
        print(f"hole at ({where}): diameter {hole.diameter:.3f}, {hole.depth:.3f} deep, {hole.end}")

    # Seen from the front and above: x to the right, y away, z up.
    view = np.array([[1.0, 0.45, 0.0], [0.0, -0.4, -1.0]])
    flat = part.points @ view.T
    corner, size = flat.min(axis=0) - 4, np.ptp(flat, axis=0) + 8
    with open(picture, "w") as out:
        out.write(f'<svg xmlns="http://www.w3.org/2000/svg" width="640" height="{640 * size[1] / size[0]:.0f}" ')
        out.write(f'viewBox="{corner[0]:.2f} {corner[1]:.2f} {size[0]:.2f} {size[1]:.2f}" fill="none">')
        lines = slices.in_space()
        for first, last in zip(slices.first, slices.first[1:]):
            section = "".join(path(line @ view.T) for line in lines[first:last])
            out.write(f'<path d="{section}" fill="#d6e4f0" fill-opacity="0.75" fill-rule="evenodd" ')
            out.write(f'stroke="#1f4e79" stroke-width="{size[0] / 1600:.3f}"/>')
        for hole in holes:
            across = np.linalg.svd(hole.axis[None])[2][1:]
            turn = np.linspace(0, 2 * np.pi, 40)
            circle = hole.entry + hole.steps[0].diameter / 2 * np.column_stack([np.cos(turn), np.sin(turn)]) @ across
            axis = np.array([hole.entry, hole.entry + hole.axis * hole.depth]) @ view.T
            out.write(f'<path d="{path(circle @ view.T)}{path(axis)}" stroke="#c0392b" stroke-width="{size[0] / 500:.3f}"/>')
        out.write("</svg>\n")


if __name__ == "__main__":
    main(sys.argv[1], sys.argv[2] if len(sys.argv) > 2 else "part.svg")
