"""Tools, contact, shadows and turning: against NumPy on dense samples, and against tables of another program."""

from __future__ import annotations

import pickle
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import hypothesis.strategies as st
import numpy as np
import pytest
from hypothesis import given, settings
from shapes import box, grid

import sorvane
from sorvane import Surface, Tool, lathe


def profile_height(tool: str, r: np.ndarray, radius: float, corner: float) -> np.ndarray:
    """Height of a cutter above its tip at the radius r: ball, flat and bull by their circles, cone of 90 degrees."""
    if tool == "cone":
        return r
    inner = radius - corner
    return np.where(r <= inner, 0.0, corner - np.sqrt(np.maximum(corner**2 - (r - inner) ** 2, 0)))


def samples_of(mesh: sorvane.Mesh, steps: int) -> np.ndarray:
    """Points all over the triangles, edges and corners included."""
    i, j = (a.ravel() for a in np.meshgrid(np.arange(steps + 1), np.arange(steps + 1)))
    keep = i + j <= steps
    a, b = i[keep] / steps, j[keep] / steps
    weights = np.column_stack([1 - a - b, a, b])
    return np.einsum("kc,tcx->tkx", weights, mesh.points[mesh.triangles]).reshape(-1, 3)


TOOLS = {
    "ball": (Tool.ball(0.3, length=3), 0.15, 0.15),
    "flat": (Tool.flat(0.3, length=3), 0.15, 0.0),
    "bull": (Tool.bull(0.3, 0.05, length=3), 0.15, 0.05),
    "cone": (Tool.cone(0.3, 90, length=3), 0.15, 0.0),
}


@pytest.mark.parametrize("name", list(TOOLS))
def test_heights_are_those_of_dense_samples(name: str) -> None:
    tool, radius, corner = TOOLS[name]
    mesh = grid(12, 0.15)
    points = samples_of(mesh, 24)
    xs, ys = np.linspace(0.2, 0.8, 7), np.linspace(0.25, 0.75, 5)
    heights = mesh.height_map(tool, xs, ys)
    assert heights.shape == (5, 7)
    for row, y in enumerate(ys):
        for column, x in enumerate(xs):
            r = np.hypot(points[:, 0] - x, points[:, 1] - y)
            under = r <= radius
            below = (points[under, 2] - profile_height(name, r[under], radius, corner)).max()
            # No sample is in the tool; and samples are 1 / 288 apart, so that the tool is not much too high.
            assert below - 1e-12 <= heights[row, column] <= below + 0.01


@pytest.mark.parametrize("table, mesh, tool", [
    ("ftc06_ball_d10", "meshes_nist/nist_ftc_06_asme1_rd.stl", Tool.ball(10)),
    ("ftc06_bull_d12", "meshes_nist/nist_ftc_06_asme1_rd.stl", Tool.bull(12, 1.5)),
    ("voron_z_joint_cyl_d3", "meshes_cad/voron_z_joint_upper_x4.stl", Tool.flat(3)),
])  # fmt: skip
def test_heights_are_those_of_another_program(shared_data: Path, table: str, mesh: str, tool: Tool) -> None:
    part = sorvane.read(shared_data / mesh)
    rows = np.loadtxt(shared_data / f"drop_cutter/{table}_40x40.csv", delimiter=",", comments="#", usecols=(0, 1, 2))
    drops = part.drop(tool, np.ascontiguousarray(rows[:, :2]))
    touched = np.isfinite(drops.heights)
    assert np.array_equal(touched, drops.triangles >= 0)
    assert drops.heights[touched] == pytest.approx(rows[touched, 2], abs=1e-4)
    assert (rows[~touched, 2] <= part.points[:, 2].min()).all()  # nothing below


def test_a_raster_in_tiles_has_the_same_bits() -> None:
    surface = Surface(grid(40))
    tool = Tool.bull(0.1, 0.02)
    xs, ys = np.linspace(-0.1, 1.1, 61), np.linspace(-0.1, 1.1, 47)
    whole = surface.height_map(tool, xs, ys)
    tiles = np.block([
        [surface.height_map(tool, xs[:20], ys[:9]), surface.height_map(tool, xs[20:], ys[:9])],
        [surface.height_map(tool, xs[:7], ys[9:]), surface.height_map(tool, xs[7:], ys[9:])],
    ])  # fmt: skip
    assert tiles.tobytes() == whole.tobytes()
    grid_x, grid_y = np.meshgrid(xs, ys)
    drops = surface.drop(tool, np.column_stack([grid_x.ravel(), grid_y.ravel()]))
    assert drops.heights.tobytes() == whole.tobytes()
    assert surface.height_map(tool, [], ys).shape == (47, 0)


def test_two_threads_share_a_surface() -> None:
    surface, tool = Surface(grid(40)), Tool.ball(0.1)
    xs = np.linspace(0, 1, 80)
    alone = surface.height_map(tool, xs, xs)
    with ThreadPoolExecutor(2) as threads:
        for heights in threads.map(lambda _: surface.height_map(tool, xs, xs), range(4)):
            assert np.array_equal(heights, alone)


def test_a_tool_that_stands_where_it_stops_is_clear() -> None:
    mesh = grid(20)
    surface, tool = Surface(mesh), Tool.ball(0.2, length=5)
    points = np.random.default_rng(3).uniform(0.1, 0.9, (50, 2))
    tips = np.column_stack([points, surface.drop(tool, points).heights])
    assert surface.gouges(tool, tips).clear.all()
    deep = surface.gouges(tool, tips - (0, 0, 0.01))
    assert not deep.clear.any() and (deep.triangles >= 0).all()
    assert deep.depths == pytest.approx(np.full(50, 0.01), abs=1e-12)
    assert surface.gouges(tool, tips - (0, 0, 0.01), allowance=0.02).clear.all()
    holder = tool.with_part(Tool.flat(1, length=3), 0.05)
    found = mesh.gouges(holder, tips)
    assert (found.parts == 1).any() and set(found.parts) <= {-1, 1}


def test_a_pointed_tool_stands_on_its_tip() -> None:
    normals = [(0, 0, 1), (0.6, 0, 0.8), (0.8, 0, 0.6)]
    tips = Tool.cone(8, 90).offset([(1, 2, 3)] * 3, normals)
    # The last plane is steeper than the cone, 4 wide and 4 high.
    assert tips == pytest.approx(np.array([(1, 2, 3), (1, 2, 3), (5, 2, -1)]), abs=1e-12)


def test_a_holder_is_what_it_was_made_of() -> None:
    cutter, holder = Tool.bull(2, 0.5, length=6), Tool.cone(8, 100, length=9)
    tool = cutter.with_part(holder, 3)
    assert tool.parts[0].tolist() == cutter.parts[0].tolist()
    assert tool.parts[1].tolist() == [*holder.parts[0][:7], 3]
    assert pickle.loads(pickle.dumps(tool)).parts.tolist() == tool.parts.tolist()
    # A post beside the cutter, 5 high and 2.5 from the axis: where the holder of radius 3 begins at 4 it is in by 1, and
    # a wider one would stand on the wall 10 away, which is 20 high.
    post = sorvane.Mesh([(2.5, -1, 5), (2.5, 1, 5), (2.5, 0, 0), (10, -9, 20), (10, 9, 20), (10, 0, 0)], [(0, 1, 2), (3, 4, 5)])
    found = post.gouges(Tool.flat(2, length=4).with_part(Tool.flat(6, length=30), 4), [(0, 0, 0)])
    assert found.depths.tolist() == [1] and found.parts.tolist() == [1] and found.triangles.tolist() == [0]


def test_parts_of_a_tool_are_those_that_were_put_together() -> None:
    cutter = Tool.bull(12, 2, length=30)
    holder = Tool.flat(40, length=20)
    tool = cutter.with_part(holder, 25).with_part(Tool.ball(50, length=60), 45.5)
    assert np.array_equal(tool.parts[0], cutter.parts[0])
    assert np.array_equal(tool.parts[1, :7], holder.parts[0, :7]) and tool.parts[1, 7] == 25
    assert tool.parts[2, :2].tolist() == [0, 25] and tool.parts[2, 7] == 45.5
    assert pickle.loads(pickle.dumps(tool)) == tool
    # The holder of radius 20 stands 25 above the tip; the block ends 10 from the axis and 30 above the tip.
    block = box().transformed([[10, 0, 0, 10], [0, 10, 0, -5], [0, 0, 30, 0], [0, 0, 0, 1]])
    found = block.gouges(cutter.with_part(holder, 25), [[0, 0, 0], [-10.5, 0, 0], [0, 0, 6]])
    assert found.depths.round(9).tolist() == [5, 0, 0] and found.parts.tolist() == [1, -1, -1]


def test_a_place_along_a_profile_is_one_number() -> None:
    shaft = [(0, 0), (0, 8), (60, 8), (60, 0), (0, 0)]
    sequence = lathe.sweep([0], [(0, 0), (1, 3), (-1, 3)], shaft).sequence()
    for wrong in (None, "38", [], [1, 2]):
        with pytest.raises((ValueError, TypeError), match="parameter: expected a number"):
            sequence.valid_at(wrong)  # type: ignore[arg-type]


def test_tools_are_values() -> None:
    tool = Tool.bull(12, 2, length=30).with_part(Tool.flat(40, length=20), 25)
    again = pickle.loads(pickle.dumps(tool))
    assert again == tool and hash(again) == hash(tool) and again.parts.shape == (2, 8)
    assert tool.parts[:, 7].tolist() == [0, 25] and tool.radius == pytest.approx(6) and tool.diameter == pytest.approx(12)
    assert tool.profile.length == pytest.approx(4 + np.pi + 28)
    assert Tool(tip_radius=5, shank_length=20) == Tool.flat(10, length=20)
    assert tool._repr_svg_().count("<path") == 2 and tool != 5
    surface = pickle.loads(pickle.dumps(Surface(box())))
    assert surface.mesh == box() and surface.drop(Tool.ball(1), [(0.5, 0.5)]).heights.tolist() == [1.0]


def test_a_drawn_tool_is_found_again() -> None:
    angle = np.linspace(0, np.pi / 2, 60)
    arc = np.column_stack([4 + 2 * np.sin(angle), 2 - 2 * np.cos(angle)])
    outline = np.concatenate([[(0, 0)], arc, [(6, 30)]])
    tool, fit = Tool.from_profile(outline, tolerance=0.01)
    assert fit.hull_deviation <= 0.01 and tool.parts[0, :2] == pytest.approx([4, 2], abs=0.05)
    cylinder, fit = Tool.from_profile(outline, family="cylindrical")
    assert cylinder.radius == pytest.approx(6) and fit.hull_deviation < 0.1
    best, fit = Tool.best_from_profile(outline, 1e-3, 1e-2)
    assert fit.hull_deviation <= 0.01


@given(st.integers(0, 2**32 - 1))
def test_the_tip_of_a_ball_is_where_its_center_is_a_radius_away(seed: int) -> None:
    random = np.random.default_rng(seed)
    normals = random.normal(size=(5, 3))
    normals[:, 2] = np.abs(normals[:, 2])
    normals /= np.sqrt((normals**2).sum(axis=1))[:, None]
    points = random.normal(size=(5, 3))
    tips = Tool.ball(4).offset(points, normals)
    assert tips == pytest.approx(points + 2 * normals - (0, 0, 2), abs=1e-9)


@given(st.integers(0, 2**32 - 1))
@settings(max_examples=25)
def test_the_shadow_of_a_box_is_that_of_its_corners(seed: int) -> None:
    random = np.random.default_rng(seed)
    size = random.uniform(0.5, 3, 3)
    mesh = box(tuple(size), tuple(random.normal(size=3)))
    direction = random.normal(size=3)
    shadow, axes = mesh.silhouette(direction), mesh.silhouette_axes(direction)
    unit = direction / np.sqrt(direction @ direction)
    assert np.cross(axes[0], axes[1]) == pytest.approx(unit, abs=1e-12) and axes[0, 2] == 0
    # The shadow of a box is the sum of its faces' areas, each by the cosine of its turn.
    faces = size[[1, 2, 0]] * size[[2, 0, 1]]
    assert shadow.area == pytest.approx(float(np.abs(unit) @ faces), rel=1e-6)
    flat = mesh.points @ axes.T
    assert shadow.bounds == pytest.approx(np.array([flat.min(axis=0), flat.max(axis=0)]), abs=1e-6)


def test_the_shadow_of_a_plate_with_holes_has_holes(shared_data: Path) -> None:
    plate = sorvane.read(shared_data / "meshes_cad/plate_holes.STL")
    thin = np.argmin(np.ptp(plate.points, axis=0))
    shadow = plate.silhouette(np.eye(3)[thin])
    assert len(shadow) > 1
    outline = max(shadow.loops, key=lambda loop: float(np.ptp(loop, axis=0).prod()))
    assert shadow.area < sorvane.Region(outline).area


def test_a_box_spins_about_any_axis() -> None:
    mesh = box((2, 2, 3), (-1, -1, 0))
    outline = mesh.spin_outline(0.01)
    assert outline[0] == pytest.approx([0, 0]) and outline.max(axis=0) == pytest.approx([np.sqrt(2), 3])
    along_x = mesh.spin_outline(0.01, origin=(-1, 0, 1.5), direction=(1, 0, 0))
    assert along_x.max(axis=0) == pytest.approx([np.hypot(1, 1.5), 2], abs=1e-9)
    with pytest.raises(sorvane.Error, match="no higher than the step"):
        mesh.spin_outline(5)


INSERT = [(0, 0), (1, 3), (-1, 3)]
HOLDER = [(-1, 3), (1, 3), (3, 14), (-3, 14)]
SHAFT = [(0, 0), (0, 8), (60, 8), (60, 0), (0, 0)]


def test_a_pointed_insert_follows_a_shaft() -> None:
    found = lathe.regions(INSERT, SHAFT, holder=HOLDER)
    points = np.concatenate(found.tool)
    # Above the shaft the tip stands on it.
    above = (points[:, 0] > 3) & (points[:, 0] < 57)
    assert points[above, 1] == pytest.approx(np.full(above.sum(), 8.0), abs=1e-6)
    assert found.holder and points[:, 1].max() == pytest.approx(8, abs=1e-6)
    alone = lathe.regions(INSERT, SHAFT)
    assert alone.holder == []


def test_a_sweep_tells_what_each_tilt_reaches() -> None:
    angles = [-30.0, 0.0, 30.0]
    sweep = lathe.sweep(angles, INSERT, SHAFT, holder=HOLDER)
    assert not sweep.failed.any() and sweep.angles.tolist() == angles
    assert len(sweep.reachable) == 3 and len(sweep.regions) == 3
    for stretches in sweep.reachable:
        points = np.concatenate(stretches)
        on_shaft = (np.abs(points[:, 1] - 8) < 1e-6) | (np.abs(points[:, 0]) < 1e-6) | (np.abs(points[:, 0] - 60) < 1e-6)
        assert (on_shaft | (np.abs(points[:, 1]) < 1e-6)).all()
    sequence = sweep.sequence()
    assert sequence.valid.shape == (len(sequence.parameters), 3) and (np.diff(sequence.parameters) > 0).all()
    assert sequence.valid_at(38).all() and not sequence.valid_at(-1).any()
    # The same with the pivot elsewhere: what is reached does not depend on it.
    moved = lathe.sweep([0.0], INSERT, SHAFT, holder=HOLDER, pivot=(0, 10))
    total = [sum(float(np.hypot(*np.diff(s, axis=0).T).sum()) for s in lines) for lines in (moved.reachable[0], sweep.reachable[1])]
    assert total[0] == pytest.approx(total[1], abs=1e-6)
    chuck = lathe.sweep([0.0], INSERT, SHAFT, holder=HOLDER, obstacles=[[(40, -20), (70, -20), (70, 20), (40, 20), (40, -20)]])
    assert not chuck.sequence().valid_at(8 + 50).any()


def test_what_goes_all_around_a_block_is_closed() -> None:
    def length(lines: list[np.ndarray]) -> float:
        return sum(float(np.hypot(*np.diff(line, axis=0).T).sum()) for line in lines)

    # A tool of 2 by 2 around a block of 10 by 5, and back to where it began.
    tool, block = [(-1, 0), (1, 0), (1, 2), (-1, 2)], [(0, 0), (10, 0), (10, 5), (0, 5), (0, 0)]
    sweep = lathe.sweep([0.0, 90.0], tool, block)
    for regions in [lathe.regions(tool, block), *sweep.regions]:
        assert length(regions.tool) == pytest.approx(2 * (12 + 7)) and regions.holder == []
        assert (regions.tool[0][0] == regions.tool[0][-1]).all()
    for stretches in sweep.reachable:
        assert length(stretches) == pytest.approx(30)


def test_a_closed_shaft_may_start_anywhere() -> None:
    corners = [(0, 0), (0, 8), (30, 8), (60, 8), (60, 0)]
    for first in range(5):
        shaft = corners[first:] + corners[:first] + corners[first : first + 1]
        sequence = lathe.sweep([0.0], INSERT, shaft, holder=HOLDER).sequence()
        lengths = np.concatenate([[0], np.cumsum(np.hypot(*np.diff(shaft, axis=0).T))])
        middles = (lengths[1:] + lengths[:-1]) / 2
        # The upper side is reached from end to end, and the lower one nowhere.
        for (_, y), (_, z), middle in zip(shaft, shaft[1:], middles):
            if y == z:
                assert sequence.valid_at(middle).tolist() == [y == 8]


def test_progress_stops_a_raster() -> None:
    surface, tool = Surface(grid(300)), Tool.ball(0.2)
    xs = np.linspace(0, 1, 400)
    heard: list[float] = []
    with pytest.raises(sorvane.Stopped):
        surface.height_map(tool, xs, xs, progress=lambda share: heard.append(share) or False)
    assert len(heard) == 1


@pytest.mark.parametrize(
    "call, message",
    [
        (lambda: Tool.ball(-1), "diameter is -1"),
        (lambda: Tool.bull(10, 6), "corner_radius is 6"),
        (lambda: Tool.cone(10, 200), "angle_degrees is 200"),
        (lambda: Tool.ball(10, length=2), "length is 2"),
        (lambda: Tool(tip_radius=float("nan")), "shape: number 0 is not finite"),
        (lambda: Tool(), "has no radius"),
        (lambda: Tool.from_profile([(0, 0), (1, 1)], family="round"), "family: expected one of 'convex', 'cylindrical'"),
        (lambda: Tool.flat(1).with_part(7, 1), "part: expected a sorvane.Tool, given int"),
        (lambda: Tool.flat(1).offset([(0, 0, 0)], []), "normals: expected shape (1, 3), given (0, 3)"),
        (lambda: Surface(3), "mesh: expected a sorvane.Mesh, given int"),
        (lambda: box().drop(3, [(0, 0)]), "tool: expected a sorvane.Tool, given int"),
        (lambda: box().height_map(Tool.flat(1), [[1]], [1]), "xs: expected shape (n,), given (1, 1)"),
        (lambda: box().gouges(Tool.flat(1), [(1, 2)]), "positions: expected shape (n, 3), given (1, 2)"),
        (lambda: box().silhouette((0, 0, 0)), "direction has no length"),
        (lambda: box().spin_outline(0), "step is 0"),
        (lambda: lathe.regions([], SHAFT), "at least 2 points"),
        (lambda: lathe.sweep([np.inf], INSERT, SHAFT), "number 0 is not finite"),
    ],
)
def test_wrong_arguments_are_told(call, message) -> None:  # type: ignore[no-untyped-def]
    with pytest.raises(ValueError) as raised:
        call()
    assert message in str(raised.value)


def test_lengths_of_tools_unless_told() -> None:
    for tool in (sorvane.Tool.ball(10), sorvane.Tool.flat(10), sorvane.Tool.bull(10, 1)):
        assert tool.profile.bounds[1] == pytest.approx([5, 40])  # 4 diameters
    assert sorvane.Tool.cone(10, 90).profile.bounds[1] == pytest.approx([5, 5 + 30])  # as high as half as wide, and 3
    assert sorvane.Tool.cone(10, 60).profile.bounds[1] == pytest.approx([5, 5 * 3**0.5 + 30])
    assert sorvane.Tool.cone(10, 90, length=17).profile.bounds[1] == pytest.approx([5, 17])
