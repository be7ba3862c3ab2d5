"""Passes of a milling tool in a plate with a slot and a boss, drawn as SVG.

Usage: pocket.py [PICTURE.svg]
"""

import sys

import numpy as np

import sorvane
from sorvane import Chain, Region

RADIUS = 3.0


def path(loops: list, closed: bool = True) -> str:
    end = "Z" if closed else ""
    return "".join("M" + "L".join(f"{x:.2f} {-y:.2f}" for x, y in loop) + end for loop in loops)


def main(picture: str) -> None:
    # Outlines of arcs and segments, as a drawing has them: a bulge of 1 is a half circle to the next point.
    plate = Chain.from_bulges([(0, 0), (80, 0), (100, 20), (100, 60), (0, 60)], [0, 0.4142135623730951, 0, 0, 0], closed=True)
    boss = Chain.circle((68, 34), 11)
    slot = Chain.from_bulges([(18, 22), (38, 22), (38, 36), (18, 36)], [0, 1, 0, 1], closed=True)
    walls = [Region.from_chains(chain, tolerance=0.02) for chain in (plate, boss, slot)]
    floor = walls[0] - walls[1] - walls[2]

    passes = floor.pocket(RADIUS, 2.5, tolerance=0.02)
    length = sum(Chain(loop, closed=True).length for loops in passes for loop in loops)
    turn = np.linspace(0, 2 * np.pi, 48, endpoint=False)
    tool = RADIUS * np.column_stack([np.cos(turn), np.sin(turn)])
    swept = Region.sweep(tool, [np.concatenate([loop, loop[:1]]) for loops in passes for loop in loops])
    print(f"{len(passes)} passes, {length:.0f} long; {(floor - swept).area / floor.area:.1%} of the floor is left in corners")

    with open(picture, "w") as out:
        out.write('<svg xmlns="http://www.w3.org/2000/svg" width="660" height="400" viewBox="-3 -62 106 64" fill="none">')
        out.write(f'<path d="{path(floor.loops)}" fill="#f3c9a5"/>')
        out.write(f'<path d="{path(swept.loops)}" fill="#dce8f2"/>')
        for number, loops in enumerate(passes):
            out.write(f'<path d="{path(loops)}" stroke="{"#1f4e79" if number else "#c0392b"}" stroke-width="0.4"/>')
        out.write(f'<path d="{path(floor.loops)}" stroke="#222" stroke-width="0.6"/></svg>\n')


if __name__ == "__main__":
    main(next((name for name in sys.argv[1:] if name.endswith(".svg")), "pocket.svg"))
