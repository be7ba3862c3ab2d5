#!/usr/bin/env python3
"""Sections, pockets and finishing passes held against geometry that is worked out here, on real parts and by hand.

Between two neighboring heights of corners the area of a section is a polynomial of degree two in the height:
outlines are polygons whose corners move along straight edges. Three sections within such an interval give it, and
its value at the lower end is the area just above the plane there. The area of a section through no corner is summed
over the chords of its triangles, in plain arithmetic on the file's numbers.
"""

import bisect
import csv
import math
import os
import struct
import unittest

import support
from support import DONE, DEFECTIVE, WRONG_USE, CommandTest, block, turned

BRACKET = os.path.join(support.EXAMPLE_DATA, 'bracket.stl')


def shared(name):
    return os.path.join(support.SHARED_DATA, name)


def triangles_of(path):
    """The corners of a file, as they are; with a reader of our own."""
    with open(path, 'rb') as file:
        data = file.read()
    count = struct.unpack_from('<I', data, 80)[0]
    if len(data) == 84 + 50 * count:
        return [(t[3:6], t[6:9], t[9:12]) for t in struct.iter_unpack('<12fH', data[84:])]
    corners = [tuple(map(float, line.split()[1:])) for line in data.decode().splitlines()
               if line.strip().startswith('vertex')]
    return list(zip(corners[0::3], corners[1::3], corners[2::3]))


def heights_of(triangles, axis=2):
    return sorted({point[axis] for triangle in triangles for point in triangle})


def area_at(triangles, height):
    """Where no corner lies. A chord runs from the edge that goes down through the plane to the one that goes up."""
    parts = []
    for triangle in triangles:
        chord = {}
        for p, q in zip(triangle, triangle[1:] + triangle[:1]):
            if (p[2] > height) != (q[2] > height):
                t = (height - p[2]) / (q[2] - p[2])
                chord[p[2] > height] = (p[0] + t * (q[0] - p[0]), p[1] + t * (q[1] - p[1]))
        if chord:
            (ax, ay), (bx, by) = chord[True], chord[False]
            parts.append(ax * by - ay * bx)
    return math.fsum(parts) / 2


def area_just_above(triangles, height, noise=0.0):
    """Corners nearer than `noise` to the height count as lying at it."""
    heights = heights_of(triangles)
    above = heights[bisect.bisect_right(heights, height + noise)]
    places = [height + noise + share * (above - height - noise) for share in (0.25, 0.5, 0.75)]
    area = 0
    for place in places:
        weight = math.prod((height - other) / (place - other) for other in places if other != place)
        area += weight * area_at(triangles, place)
    return area


def volume_of(triangles):
    return math.fsum(a[0] * (b[1] * c[2] - b[2] * c[1]) + a[1] * (b[2] * c[0] - b[0] * c[2])
                     + a[2] * (b[0] * c[1] - b[1] * c[0]) for a, b, c in triangles) / 6


class Planes(CommandTest):
    def needs(self, name):
        if not os.path.exists(shared(name)):
            self.skipTest('the shared inputs are not there')
        return shared(name)

    def test_section_in_a_plane_of_faces_is_that_just_above(self):
        for name, height, noise in (
                ('meshes_nist/nist_ctc_03_asme1_rc.stl', 76.19999694824219, 0),
                ('meshes_nist/nist_ctc_03_asme1_rc.stl', 0, 1e-6),
                ('meshes_cad/idler_riser.STL', 0, 1e-9),
                ('meshes_cad/angle_block.STL', -0.12074072659015656, 0),
                ('meshes_cad/octagonal_pocket.stl', 0, 1e-9),
                # The floor of the pocket, beside which two outlines nearly share a side.
                ('meshes_cad/octagonal_pocket.stl', 0.00635, 1e-8),
                ('meshes_cad/voron_z_joint_upper_x4.stl', 0, 1e-6)):
            with self.subTest(f'{name} at {height}'):
                part = self.needs(name)
                result = self.result('section', part, '--height', repr(height))
                expected = area_just_above(triangles_of(part), height, noise)
                self.assertAlmostEqual(result['area'], expected, delta=2e-7 * expected)
                self.assertEqual(result['chain_count'], 0)

    def test_height_typed_with_few_digits_is_that_of_the_faces_beside_it(self):
        # The faces lie at 76.19999694824219, the float nearest to 76.2.
        part = self.needs('meshes_nist/nist_ctc_03_asme1_rc.stl')
        self.assertAlmostEqual(self.result('section', part, '--height', 76.199997)['area'], 67314.5, delta=0.1)
        # Without a length within which corners are one the plane is where it is said to be.
        exact = self.result('section', part, '--height', 76.199997, '--tolerance', 0)['area']
        self.assertAlmostEqual(exact, area_at(triangles_of(part), 76.199997), delta=0.01)

    def test_every_plane_of_corners_of_a_part(self):
        part = self.needs('meshes_nist/nist_ctc_01_asme1_rd.stl')
        triangles = triangles_of(part)
        heights = heights_of(triangles)
        # Planes that have no corners within the tolerance but above it.
        planes = [low for low, high in zip(heights, heights[1:]) if high - low > 1e-3][::8]
        self.assertGreater(len(planes), 5)
        result = self.result('slices', part, '--heights', ','.join(map(repr, planes)))
        for height, section in zip(planes, result['sections']):
            expected = area_just_above(triangles, height)
            self.assertAlmostEqual(section['area'], expected, delta=1e-6 * expected, msg=height)

    def test_step_is_cut_above_its_face(self):
        # Two blocks beside each other, as one body would have them: at the height of the lower one their common
        # wall has chords in both directions, which cancel below the step.
        self.write_part('step.stl', block((2, 3, 1)) + block((5, 3, 2), (2, 0, 0)))
        heights = ('0', '0.5', '1', '1.0000005', '1.5')
        sections = self.result('slices', 'step.stl', '--heights', ','.join(heights))['sections']
        for section, area in zip(sections, (21, 21, 15, 15, 15)):
            self.assertAlmostEqual(section['area'], area, 5, section['height'])
            self.assertAlmostEqual(self.result('section', 'step.stl', '--height', section['height'])['area'], area, 5)
        self.assertEqual(self.result('section', 'step.stl', '--height', 0)['loop_count'], 1, 'the wall is no outline')
        # Within the tolerance of the face is in it; and the plane of the face is also the end of what lies below.
        for words, area in ((('0.9999995',), 15), (('0.9999995', '--tolerance', '0'), 21), (('1', '--side', 'below'), 21)):
            self.assertAlmostEqual(self.result('section', 'step.stl', '--height', *words)['area'], area, 5)
            self.assertAlmostEqual(self.result('slices', 'step.stl', '--heights', *words)['sections'][0]['area'], area, 5)
        self.assertIn('nothing lies just above', self.expect(WRONG_USE, 'section', 'step.stl', '--height', 2).err)

    def test_one_turned_triangle_does_not_spoil_the_section(self):
        part = block((2, 3, 1))
        for t in range(4, 12):  # the walls
            self.write_part('turned.stl', part[:t] + [turned(part[t])] + part[t + 1:])
            with self.subTest(t):
                self.assertAlmostEqual(self.result('section', 'turned.stl', '--height', 0.5)['area'], 6)

    def test_blocks_on_one_edge_and_blocks_that_overlap(self):
        self.write_part('edge.stl', block((1, 1, 1)) + block((2, 2, 1), (1, 1, 0)))
        self.assertAlmostEqual(self.result('section', 'edge.stl', '--height', 0.5)['area'], 5)
        # 4 + 4 of which 1 is in both; an odd number of outlines leaves that out.
        self.write_part('both.stl', block((2, 2, 1)) + block((2, 2, 1), (1, 1, 0)))
        result = self.result('section', 'both.stl', '--height', 0.5, '--svg', 'both.svg', code=DEFECTIVE)
        self.assertAlmostEqual(result['area'], 8)
        self.assertAlmostEqual(result['fill_area'], 6)
        self.assertIn('both.svg', self.files(), 'a picture shows where')

    def test_normal_of_any_length_is_a_direction(self):
        self.write_part('cube.stl', block())
        for normal in ('0,0,1e-320', '0,0,1e300', '1e200,1e200,0', '1e-300,0,1e-300'):
            with self.subTest(normal):
                self.assertAlmostEqual(self.result('section', 'cube.stl', '--normal', normal, '--share', 50)['area'],
                                       100 if normal.startswith('0,') else 100 * math.sqrt(2))
        self.assertIn('no direction', self.expect(WRONG_USE, 'section', 'cube.stl', '--normal', '0,0,0').err)

    def test_layers_of_the_bracket_add_up_to_its_volume(self):
        volume = volume_of(triangles_of(BRACKET))
        for normal in ('1,0,0', '0,1,0', '0,0,1'):
            result = self.result('slices', BRACKET, '--count', 400, '--normal', normal)
            self.assertAlmostEqual(result['volume'], volume, delta=0.01 * volume)
            self.assertEqual({section['chain_count'] for section in result['sections']}, {0})


# --- pockets ---------------------------------------------------------------------------------------------------------


def segments(*points):
    return [('L', *p, *q) for p, q in zip(points, points[1:])]


def circle(x, y, radius):
    return [('A', x + radius, y, x, y, 2 * math.pi * radius)]


def chain_text(elements):
    lines = ['\t'.join([e[0]] + [repr(float(n)) for n in e[1:]]) for e in elements]
    return '\n'.join(['', f'{len(elements)} 1e-9', *lines]) + '\n'


def read_chain(text):
    """The elements of a file of one chain."""
    words = [line.split() for line in text.splitlines()]
    return [(w[0], *map(float, w[1:])) for w in words if w and w[0] in 'LA']


def point_of(element, share):
    """A point of a segment or an arc, at that share of its length."""
    if element[0] == 'L':
        _, x, y, u, v = element
        return x + share * (u - x), y + share * (v - y)
    _, x, y, cx, cy, length = element
    angle = share * length / math.hypot(x - cx, y - cy)
    cos, sin = math.cos(angle), math.sin(angle)
    return cx + cos * (x - cx) - sin * (y - cy), cy + sin * (x - cx) + cos * (y - cy)


def distance_to(p, elements):
    least = math.inf
    for e in elements:
        if e[0] == 'L':
            _, x, y, u, v = e
            squared = (u - x) ** 2 + (v - y) ** 2
            t = ((p[0] - x) * (u - x) + (p[1] - y) * (v - y)) / squared if squared > 0 else 0
            near = point_of(e, min(max(t, 0), 1))
            least = min(least, math.dist(p, near))
            continue
        _, x, y, cx, cy, length = e
        radius = math.hypot(x - cx, y - cy)
        sign = math.copysign(1, length)
        turn = sign * (math.atan2(p[1] - cy, p[0] - cx) - math.atan2(y - cy, x - cx)) % (2 * math.pi)
        if turn <= abs(length) / radius:
            least = min(least, abs(math.dist(p, (cx, cy)) - radius))
        least = min(least, math.dist(p, (x, y)), math.dist(p, point_of(e, 1)))
    return least


def is_inside(p, loop):
    """An odd number of sides crosses the ray to the right."""
    inside = False
    for (ax, ay), (bx, by) in zip(loop, loop[1:] + loop[:1]):
        if (ay > p[1]) != (by > p[1]) and p[0] < ax + (p[1] - ay) / (by - ay) * (bx - ax):
            inside = not inside
    return inside


class Pockets(CommandTest):
    # 40 x 30 with one round end.
    OUTLINE = segments((0, 0), (40, 0)) + [('A', 40, 0, 40, 15, 15 * math.pi)] + segments((40, 30), (0, 30), (0, 0))

    def expect_cleared(self, walls, radius, step):
        """All curves lie in the pocket at their distance from the walls, and no sample of the pocket that the tool's
        center may reach is farther than a step from the ring outside of it."""
        for name in self.files():
            os.remove(self.path(name))
        names = [self.write(f'wall{i}.txt', chain_text(wall)) for i, wall in enumerate(walls)]
        result = self.result('pocket', *names, '--radius', radius, '--step', step, '--rings', 'ring', '--svg', 'p.svg')
        rings = []
        for ring in result['rings']:
            rings.append([])
            for curve in range(ring['curves']):
                with open(self.path(f'ring-{len(rings)}-{curve + 1}.txt'), encoding='ascii') as file:
                    rings[-1].append(read_chain(file.read()))
        self.assertTrue(rings)
        everything = [element for wall in walls for element in wall]
        loops = [[point_of(e, i / 64) for e in wall for i in range(64)] for wall in walls]

        def is_in_pocket(p):
            return is_inside(p, loops[0]) and not any(is_inside(p, loop) for loop in loops[1:])

        near = 1e-6 * radius
        for number, ring in enumerate(rings):
            distance = radius + number * step
            self.assertAlmostEqual(result['rings'][number]['distance'], distance)
            for curve in ring:
                self.assertTrue(is_in_pocket(point_of(curve[0], 0.5)))
                self.assertLess(math.dist(point_of(curve[-1], 1), point_of(curve[0], 0)), near, 'closed')
                for element in curve:
                    for share in (0, 0.3, 0.7):
                        self.assertAlmostEqual(distance_to(point_of(element, share), everything), distance, delta=near)
        low = [min(p[k] for p in loops[0]) for k in (0, 1)]
        high = [max(p[k] for p in loops[0]) for k in (0, 1)]
        samples = 0
        across = 23
        for i in range(across):
            for j in range(across):
                p = (low[0] + (high[0] - low[0]) * (i + 0.37) / across, low[1] + (high[1] - low[1]) * (j + 0.61) / across)
                depth = distance_to(p, everything) if is_in_pocket(p) else 0
                if depth < radius + near:
                    continue
                samples += 1
                number = int((depth - radius) / step)
                self.assertLess(number, len(rings), p)
                self.assertLessEqual(min(distance_to(p, curve) for curve in rings[number]), step, p)
        self.assertGreater(samples, 40)

    def test_rings_where_offsets_of_walls_meet(self):
        self.expect_cleared([self.OUTLINE, circle(37, 16, 5), segments((8, 8), (18, 6), (14, 15), (8, 8))], 1.3, 1.3)

    def test_islands_overlap_each_other_and_the_outline(self):
        # A clamp across the wall, and two bosses that overlap: walls within walls bound nothing.
        clamp = segments((-3, 10), (9, 10), (9, 19), (-3, 19), (-3, 10))
        self.expect_cleared([self.OUTLINE, clamp, circle(28, 14, 4), circle(33, 16, 3)], 1.1, 0.9)

    def test_rings_of_one_and_two_elements_are_not_lost(self):
        # Arcs through (-10, 0), (0, +-4), (10, 0): of radius 14.5, half an angle of asin(10 / 14.5).
        length = 2 * 14.5 * math.asin(10 / 14.5)
        self.expect_cleared([[('A', -10, 0, 0, 10.5, length), ('A', 10, 0, 0, -10.5, length)]], 0.9, 0.7)
        self.expect_cleared([circle(3, 1, 7), circle(4.5, 1, 1.5)], 0.6, 0.5)
        # Rings that end as crescents, away from where the circles are likely to have joints.
        for angle in (0.3, 1.1):
            boss = circle(3 + 2.5 * math.cos(angle), 1 + 2.5 * math.sin(angle), 1.5)
            self.expect_cleared([circle(3, 1, 7), boss], 0.3, 0.19)

    def test_steps_in_the_wrong_unit_are_refused(self):
        for words in (('--radius', '1e-9'), ('--radius', '1', '--step', '1e-9')):
            self.assertIn('mind its unit', self.expect(WRONG_USE, 'pocket', '-', *words, stdin='0 0\n9 0\n9 9\n').err)


class Passes(CommandTest):
    def test_program_runs_the_passes_to_and_fro_and_clear_of_the_part(self):
        self.expect(DONE, 'heights', BRACKET, '--ball', 6, '--step', 4, '--stepover', 7, '-o', 'h.csv', '--gcode', 'p.nc')
        with open(self.path('h.csv'), encoding='ascii') as file:
            tips = [(float(row['x']), float(row['y']), float(row['z'])) for row in csv.DictReader(file) if row['z']]
        with open(self.path('p.nc'), encoding='ascii') as file:
            lines = file.read().splitlines()
        top = heights_of(triangles_of(BRACKET))[-1]
        # A machine that reads the words it knows: where it goes at feed is where the table has its tips.
        at, is_rapid, fed, runs = {'X': 0.0, 'Y': 0.0, 'Z': 1e9}, True, [], []
        for line in lines:
            before = dict(at)
            for word in line.split():
                if word in ('G0', 'G1'):
                    is_rapid = word == 'G0'
                elif word[0] in at:
                    at[word[0]] = float(word[1:])
            if is_rapid:
                self.assertTrue(at['Z'] >= top + 0.9999 or (at['X'], at['Y']) == (before['X'], before['Y']), line)
            elif at != before:
                fed.append(tuple(at.values()))
                if at['Y'] == before['Y']:
                    runs.append(at['X'] - before['X'])
        self.assertEqual(len(fed), len(tips), 'every position once')
        for tip, place in zip(sorted(tips, key=lambda p: [round(c, 3) for c in p]),
                              sorted(fed, key=lambda p: [round(c, 3) for c in p])):
            self.assertLess(math.dist(tip, place), 2e-4)
        self.assertGreater(max(runs), 0)
        self.assertLess(min(runs), 0)


class Flips(CommandTest):
    def test_flip_drift_bounds_how_far_a_flip_moves_the_surface(self):
        # Over a thin quadrilateral, its second pair of corners higher by 1: the diagonals are 1 apart.
        self.write_part('skew.stl', [((-8, 0, 0), (8, 0, 0), (0, 4, 1)), ((8, 0, 0), (-8, 0, 0), (0, -4, 1))])
        words = ('remesh', 'skew.stl', '--flips-only', '--angle', 60)
        moved = self.result(*words, '--flip-drift', 1.01, '-o', 'out.stl')
        self.assertEqual(moved['changed_triangles'], 2)
        # The new diagonal joins the high corners; its middle is as far from the planes y = 4 z and y = -4 z.
        self.assertEqual(sum(p[2] == 1 for t in triangles_of(self.path('out.stl')) for p in t), 4)
        self.assertAlmostEqual(moved['deviation']['result_off_part']['at_most'], 4 / math.sqrt(17), 4)
        self.assertEqual(self.result(*words, '--flip-drift', 0.9)['changed_triangles'], 0)


class Regions(CommandTest):
    def test_region_with_a_hole_and_a_tool_round_a_corner(self):
        # A square of 4 with a hole of 1, and a rectangle of 3 x 2 of which 1 x 2 lies in it.
        self.write('a.txt', '0 0\n4 0\n4 4\n0 4\n\n1 1\n1 2\n2 2\n2 1\n')
        self.write('b.txt', ' 3\t0\r\n6 0 \n6 2\n3 2\n\n\n')
        for operation, loops, area in (('union', 2, 19), ('difference', 2, 13), ('intersection', 1, 2)):
            result = self.result('union', 'a.txt', 'b.txt', '--op', operation)
            self.assertEqual(len(result['loops']), loops)
            self.assertAlmostEqual(result['area'], area, 6)
        # A tool of 2 x 2 along a corner: 2 x 12 and 2 x 10.
        self.write('tool.txt', '-1 -1\n1 -1\n1 1\n-1 1\n')
        self.write('path.txt', '0 0\n10 0\n10 10\n')
        self.assertAlmostEqual(self.result('union', 'path.txt', 'tool.txt', '--op', 'sweep')['area'], 44, 6)


if __name__ == '__main__':
    support.main()
