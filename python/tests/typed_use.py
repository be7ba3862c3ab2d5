"""What a user's program says, for mypy alone: it must be clean in strict mode, with the types that are written here."""

from __future__ import annotations

from typing import Dict, List, Optional, Tuple, Union

import numpy as np
import numpy.typing as npt

import sorvane
from sorvane import Chain, Mesh, Region, Tool, lathe, solids


class Other:
    """A mesh of another package."""

    def __init__(self, vertices: object, faces: object) -> None:
        self.vertices = vertices
        self.faces = faces


def meshes(path: str, told: bool) -> None:
    part: Mesh = sorvane.read(path).weld(1e-6)
    report = part.report()
    open_edges: int = report.open_edges
    sound: bool = report.sound
    figures: Dict[str, object] = report.to_dict()
    light: Mesh = part.decimate(50)
    pair: Tuple[Mesh, sorvane.Decimation] = part.decimate(50, with_report=True)
    either: Union[Mesh, Tuple[Mesh, sorvane.Decimation]] = part.decimate(tolerance=0.1, with_report=told)
    parts: List[Mesh] = part.components()
    other: Other = Mesh.from_object(Other([[0, 0, 0]], [])).to_object(Other)
    tags: Optional[npt.NDArray[np.uint64]] = part.triangle_tags
    try:
        part.remesh(0.5, progress=lambda fraction: fraction < 0.5)
    except sorvane.Stopped as stopped:
        index: Optional[int] = stopped.index


def sections(part: Mesh) -> None:
    level: float = part.section(5).area
    tilted = part.section(([0, 0, 5], (0, 0, 1)), side="below")
    for loop in tilted.loops:
        points: npt.NDArray[np.float64] = loop
    for section in part.slices([1, 2, 3]):
        region: Region = section.region() | Region([(0, 0), (1, 0), (1, 1)])
        grown: Region = region.offset(-1).union(progress=True)
    places, triangles, distances = part.nearest(np.zeros((2, 3)))
    numbers: npt.NDArray[np.int32] = triangles


def tools(part: Mesh) -> None:
    tool: Tool = Tool.ball(10).with_part(Tool.flat(20), 40)
    heights: npt.NDArray[np.float64] = part.height_map(tool, np.linspace(0, 1, 3), [1, 2])
    clear: npt.NDArray[np.bool_] = part.gouges(tool, [(0, 0, 1)]).clear
    diameters: List[float] = [hole.diameter for hole in part.drill_holes()]
    circle: Chain = Chain.circle((0, 0), 1)
    sweep: lathe.Sweep = lathe.sweep([0.0], [(0, 0), (1, 3), (-1, 3)], circle.tessellate(0.1))
    both: solids.Volume = solids.Volume(np.zeros((2, 2, 2))) & solids.Volume(np.zeros((2, 2, 2)))
