#!/usr/bin/env python3
"""Sections, slices, silhouettes, distances, holes and imprints of parts whose figures are known by hand."""

import csv
import io
import json
import math
import os
import unittest

import support
from support import DONE, DEFECTIVE, FILES, WRONG_USE, CommandTest, block, moved, stl, tetrahedron


def washer(inner, outer, height, sides=64):
    """A ring of that height on the plane z = 0, its bore in the middle."""

    def ring(radius, z):
        return [(radius * math.cos(2 * math.pi * i / sides), radius * math.sin(2 * math.pi * i / sides), z)
                for i in range(sides)]

    triangles = []

    def band(low, high):
        for i in range(sides):
            k = (i + 1) % sides
            triangles.append((low[i], low[k], high[k]))
            triangles.append((low[i], high[k], high[i]))

    band(ring(outer, 0), ring(outer, height))
    band(ring(outer, height), ring(inner, height))
    band(ring(inner, height), ring(inner, 0))
    band(ring(inner, 0), ring(outer, 0))
    return triangles


def rows(text):
    return list(csv.DictReader(io.StringIO(text)))


def polylines(text):
    lines = [[]]
    for row in text.splitlines():
        if row:
            lines[-1].append(tuple(map(float, row.split())))
        else:
            lines.append([])
    return lines


def area(loop):
    return sum(a[0] * b[1] - a[1] * b[0] for a, b in zip(loop, loop[1:] + loop[:1])) / 2


class PartTest(CommandTest):
    def setUp(self):
        super().setUp()
        self.write_part('cube.stl', block())
        self.write_part('open.stl', block()[:11])
        self.write_part('corner.stl', tetrahedron())

    def text(self, name):
        with open(self.path(name), encoding='utf-8') as file:
            return file.read()


class Section(PartTest):
    def test_cube_is_a_square_at_every_height(self):
        result = self.result('section', 'cube.stl', '--height', 4)
        self.assertAlmostEqual(result['area'], 100)
        self.assertAlmostEqual(result['length'], 40)
        self.assertEqual((result['loop_count'], result['chain_count']), (1, 0))
        self.assertAlmostEqual(result['fill_area'], 100)
        self.assertEqual(result['height'], 4)
        self.assertLessEqual({(0, 0), (10, 0), (10, 10), (0, 10)}, set(map(tuple, result['loops'][0])))
        self.assertIn('area 100, length 40', self.expect(DONE, 'section', 'cube.stl').out)

    def test_plane_is_told_by_height_share_or_point(self):
        self.assertAlmostEqual(self.result('section', 'corner.stl', '--height', 0.25)['area'], 0.75 ** 2 / 2)
        self.assertAlmostEqual(self.result('section', 'corner.stl', '--share', 25)['height'], 0.25)
        self.assertEqual(self.result('section', 'cube.stl', '--through', '1,2,3')['height'], 3)
        # The normal is of any length: heights are along the unit normal.
        askew = self.result('section', 'cube.stl', '--normal', '1,1,0', '--through', '5,5,1')
        self.assertAlmostEqual(askew['area'], 10 * math.hypot(10, 10))
        self.assertAlmostEqual(askew['height'], 10 / math.sqrt(2))
        self.assertAlmostEqual(self.result('section', 'cube.stl', '--normal', '-3,0,0', '--height', -2)['area'],
                               100)

    def test_side_decides_where_faces_lie_in_the_plane(self):
        self.assertAlmostEqual(self.result('section', 'cube.stl', '--height', 0)['area'], 100)
        self.assertAlmostEqual(self.result('section', 'cube.stl', '--height', 10, '--side', 'below')['area'], 100)
        run = self.expect(WRONG_USE, 'section', 'cube.stl', '--height', 10)
        self.assertIn('reaches from 0 to 10', run.err)

    def test_outlines_are_written_in_plane_and_space_and_as_triangles(self):
        self.expect(DONE, 'section', 'cube.stl', '--height', 4, '-o', 'plane.txt')
        (square,) = polylines(self.text('plane.txt'))
        self.assertEqual(square[0], square[-1])
        self.assertLessEqual({(0, 0), (10, 0), (10, 10), (0, 10)}, set(square))
        self.expect(DONE, 'section', 'cube.stl', '--height', 4, '--space', '-o', 'space.txt')
        self.assertEqual({p[2] for p in polylines(self.text('space.txt'))[0]}, {4})
        self.expect(DONE, 'section', 'cube.stl', '--height', 4, '-o', 'fill.stl')
        self.assertAlmostEqual(self.result('report', 'fill.stl', code=DEFECTIVE)['area'], 100)
        run = self.expect(DONE, 'section', 'cube.stl', '--quiet', '-o', '-')
        self.assertEqual(len(polylines(run.out)[0]), len(square))

    def test_washer_has_a_hole_that_runs_clockwise(self):
        self.write_part('washer.stl', washer(5, 12, 10))
        result = self.result('section', 'washer.stl', '--height', 3)
        regular = 32 * math.sin(2 * math.pi / 64)
        self.assertAlmostEqual(result['area'], regular * (144 - 25), 4)
        self.assertEqual(sorted(area(loop) > 0 for loop in result['loops']), [False, True])

    def test_open_part_ends_with_1_and_draws_it_in_red(self):
        result = self.result('section', 'open.stl', '--height', 4, '--svg', 'open.svg', code=DEFECTIVE)
        self.assertEqual(result['defects'], ['open_outlines'])
        self.assertGreater(result['open_length'], 0)
        self.assertIn('do not close', self.text('open.svg'))
        self.expect(DONE, 'section', 'cube.stl', '--svg', 'closed.svg')
        self.assertNotIn('do not close', self.text('closed.svg'))

    def test_overlapping_bodies_are_told(self):
        self.write_part('two.stl', block() + moved(block(), (5, 5, 0)))
        self.assertEqual(self.result('section', 'two.stl', code=DEFECTIVE)['defects'], ['overlap'])

    def test_halves_are_closed_and_make_up_the_part(self):
        result = self.result('section', 'cube.stl', '--height', 4, '--below', 'a.stl', '--above', 'b.stl', '--svg',
                             'halves.svg')
        self.assertAlmostEqual(result['below']['volume'], 400)
        self.assertAlmostEqual(result['above']['volume'], 600)
        self.assertAlmostEqual(self.result('report', 'a.stl')['volume'], 400)
        self.assertAlmostEqual(self.result('report', 'b.stl')['volume'], 600)
        self.assertIn('the lids', self.text('halves.svg'))
        # All of it above a plane through its bottom.
        result = self.result('section', 'cube.stl', '--height', 0, '--above', 'all.stl')
        self.assertEqual((result['below']['volume'], result['below']['triangles']), (0, 0))
        self.assertAlmostEqual(result['above']['volume'], 1000)
        result = self.result('section', 'open.stl', '--height', 4, '--below', 'c.stl', code=DEFECTIVE)
        self.assertIn('open_halves', result['defects'])

    def test_wrong_use_and_files(self):
        for words in (['--normal', '0,0,0'], ['--height', '1', '--share', '2'], ['--height', '99'],
                      ['--height', 'nan'], ['--side', 'left'], ['--normal', '1,2']):
            with self.subTest(words):
                self.expect(WRONG_USE, 'section', 'cube.stl', *words)
        self.expect(FILES, 'section', 'none.stl')
        self.write('short.stl', stl(block())[:300])
        self.expect(FILES, 'section', 'short.stl')
        self.expect(FILES, 'section', 'cube.stl', '-o', 'no/such/folder.txt')
        self.expect(FILES, 'section', 'cube.stl', '-o', '/dev/full')
        # What is refused has written nothing before.
        for words in (['section', 'cube.stl', '--height', 0, '--below', 'b.stl', '-o', 's.txt'],
                      ['section', 'cube.stl', '--above', '-', '-o', 's.txt'],
                      ['slices', 'cube.stl', '--outlines', '-', '-o', 's.csv'],
                      ['silhouette', 'cube.stl', '--step', 99, '-o', 's.txt'],
                      ['imprint', 'cube.stl', '--around', '1,1,1', '--radius', 1, '--path', '-', '-o', 's.stl']):
            with self.subTest(words):
                self.expect(WRONG_USE, *words)
        self.assertEqual(self.files(), ['corner.stl', 'cube.stl', 'open.stl', 'short.stl'])

    def test_far_from_the_origin(self):
        self.write_part('far.stl', moved(block(), (1e6, -1e6, 1e6)))
        result = self.result('section', 'far.stl', '--height', 1e6 + 4)
        self.assertAlmostEqual(result['area'], 100, 6)


class Slices(PartTest):
    def test_layers_of_a_cube_have_its_volume(self):
        result = self.result('slices', 'cube.stl', '--count', 10, '-o', 'layers.csv', '--svg', 'stack.svg')
        self.assertEqual(result['thickness'], 1)
        self.assertAlmostEqual(result['volume'], 1000)
        self.assertEqual([s['height'] for s in result['sections']], [i + 0.5 for i in range(10)])
        table = rows(self.text('layers.csv'))
        self.assertEqual([float(row['height']) for row in table], [i + 0.5 for i in range(10)])
        self.assertEqual({float(row['area']) for row in table}, {100})
        self.assertEqual({row['chains'] for row in table}, {'0'})
        self.assertIn('</svg>', self.text('stack.svg'))
        self.assertIn('volume 1000', self.expect(DONE, 'slices', 'cube.stl').out)

    def test_tetrahedron_shrinks_with_the_square(self):
        result = self.result('slices', 'corner.stl', '--heights', '0.5,0.25,0.75')
        for section, height in zip(result['sections'], (0.5, 0.25, 0.75)):
            self.assertEqual(section['height'], height)
            self.assertAlmostEqual(section['area'], (1 - height) ** 2 / 2)
        self.assertNotIn('volume', result)

    def test_range_includes_its_end(self):
        result = self.result('slices', 'cube.stl', '--range', '0.1,0.7,0.1')
        self.assertEqual(len(result['sections']), 7)
        downward = self.result('slices', 'cube.stl', '--range', '9,1,-2')
        self.assertEqual([s['height'] for s in downward['sections']], [9, 7, 5, 3, 1])
        for text in ('9,1,2', '1,9,0', '0,1,1e-9'):
            self.expect(WRONG_USE, 'slices', 'cube.stl', '--range', text)

    def test_outlines_are_points_of_space(self):
        self.expect(DONE, 'slices', 'cube.stl', '--normal', '1,0,0', '--heights', '2,7', '--outlines', 'all.txt')
        lines = polylines(self.text('all.txt'))
        self.assertEqual([{p[0] for p in line} for line in lines], [{2.0}, {7.0}])

    def test_open_part_and_flat_part(self):
        self.assertEqual(self.result('slices', 'open.stl', code=DEFECTIVE)['defects'], ['open_outlines'])
        self.write_part('flat.stl', [((0, 0, 1), (1, 0, 1), (0, 1, 1))])
        self.assertIn('no height', self.expect(WRONG_USE, 'slices', 'flat.stl').err)
        self.expect(WRONG_USE, 'slices', 'cube.stl', '--count', 0)
        self.expect(WRONG_USE, 'slices', 'cube.stl', '--count', 3, '--heights', '1')

    def test_part_comes_through_a_pipe(self):
        result = self.result('slices', '-', '--count', 2, stdin=stl(block()))
        self.assertAlmostEqual(result['volume'], 1000)


class Silhouette(PartTest):
    def test_shadow_of_a_block_in_every_direction(self):
        self.write_part('block.stl', block((10, 20, 30)))
        for normal, area in (('0,0,1', 200), ('0,0,-1', 200), ('5,0,0', 600), ('0,1,0', 300)):
            with self.subTest(normal):
                self.assertAlmostEqual(self.result('silhouette', 'block.stl', '--normal', normal)['area'], area, 5)

    def test_spun_block_reaches_its_diagonal(self):
        self.write_part('block.stl', block((10, 20, 30)))
        result = self.result('silhouette', 'block.stl', '--spin', '--spun', 'spun.txt', '--svg', 'both.svg')
        self.assertAlmostEqual(result['spun']['radius'], math.hypot(10, 20))
        self.assertEqual(result['spun']['height'], 30)
        (line,) = polylines(self.text('spun.txt'))
        self.assertEqual(line[0], (0, 0))
        self.assertEqual(max(p[1] for p in line), 30)
        self.assertIn('spun about the axis', self.text('both.svg'))
        # About the axis x: the corner farthest from it.
        aside = self.result('silhouette', 'block.stl', '--spin', '--normal', '1,0,0')
        self.assertAlmostEqual(aside['spun']['radius'], math.hypot(20, 30))

    def test_slanted_edges_spin_as_hyperbolas_within_the_step(self):
        corners = [(1, -1, 0), (1, 1, 1), (1.1, 0, 0.5), (1.05, 0, 0.4)]
        self.write_part('slanted.stl', [tuple(corners[k] for k in range(4) if k != i) for i in range(4)])

        def reach(z):
            """Of the edges at that height."""
            spots = [(z - a[2]) / (b[2] - a[2]) for a in corners for b in corners if a[2] < b[2]]
            pairs = [(a, b) for a in corners for b in corners if a[2] < b[2]]
            return max(math.hypot(a[0] + s * (b[0] - a[0]), a[1] + s * (b[1] - a[1]))
                       for s, (a, b) in zip(spots, pairs) if 0 <= s <= 1)

        def off(step):
            line = self.result('silhouette', 'slanted.stl', '--step', step)['spun']['points'][1:-2]
            return max(abs(a[0] + s * (b[0] - a[0]) - reach(a[1] + s * (b[1] - a[1])))
                       for a, b in zip(line, line[1:]) for s in (0, 0.25, 0.5, 0.75, 1))

        self.assertLess(off(0.01), 0.02)
        self.assertLess(off(0.001), 0.002)
        self.assertGreater(off(0.2), 0.02)

    def test_loops_are_written(self):
        self.write_part('washer.stl', washer(5, 12, 10))
        self.expect(DONE, 'silhouette', 'washer.stl', '-o', 'loops.txt')
        self.assertEqual(len(polylines(self.text('loops.txt'))), 2)

    def test_upright_triangle_has_no_shadow(self):
        self.write_part('wall.stl', [((0, 0, 0), (1, 0, 0), (1, 0, 1))])
        self.assertEqual(self.result('silhouette', 'wall.stl', code=DEFECTIVE)['defects'], ['no_shadow'])
        self.expect(WRONG_USE, 'silhouette', 'cube.stl', '--step', 0)
        self.expect(WRONG_USE, 'silhouette', 'cube.stl', '--step', 99)
        self.assertIn('mind its unit', self.expect(WRONG_USE, 'silhouette', 'cube.stl', '--step', 1e-9).err)


class Nearest(PartTest):
    def test_points_above_and_within_a_cube(self):
        run = self.expect(DONE, 'nearest', 'cube.stl', '-', stdin='5 5 12\n5,5,9.5\n# a remark\n13;14;5\n')
        table = rows(run.out)
        self.assertEqual([float(row['distance']) for row in table], [2, 0.5, 5])
        self.assertEqual([float(table[2]['nearest ' + k]) for k in 'xyz'], [10, 10, 5])
        self.assertIn(int(table[0]['triangle']), (2, 3))
        signed = self.result('nearest', 'cube.stl', '-', '--signed', stdin='x y z\n5 5 12\n5 5 9.5\n')
        self.assertEqual(signed['distances'], [2, -0.5])
        self.assertEqual(signed['greatest_distance'], 2)
        self.assertEqual(signed['points'][0], [5, 5, 10])

    def test_limit(self):
        self.write('points.txt', '5 5 11\n5 5 13\n')
        self.expect(DONE, 'nearest', 'cube.stl', 'points.txt', '--within', 3)
        result = self.result('nearest', 'cube.stl', 'points.txt', '--within', 2, code=DEFECTIVE)
        self.assertEqual(result['defects'], ['beyond_limit'])
        self.expect(DEFECTIVE, 'nearest', 'cube.stl', 'points.txt', '--within', 2)
        self.expect(DONE, 'nearest', 'cube.stl', 'points.txt', '-o', 'near.csv')
        self.assertEqual(len(rows(self.text('near.csv'))), 2)

    def test_hostile_points(self):
        for text in ('', '\n\n', '# nothing\n'):
            self.assertIn('holds no points', self.expect(FILES, 'nearest', 'cube.stl', '-', stdin=text).err)
        for text in ('1 2 3\n1 2\n', '1 2 3\n1 2 nan\n', '1 2 3\n1 2 1e999\n', '1 2 3\nx y z\n', '1 2 3\n1,,3\n',
                     b'1 2 3\n\xff\x00\xfe 2 3\n'):
            with self.subTest(text):
                self.assertIn('line 2', self.expect(FILES, 'nearest', 'cube.stl', '-', stdin=text).err)
        # As spreadsheets write tables where decimals have commas: three numbers, and not six.
        for text in ('1,5;2,5;3,5\n', '1;2;3,5\n', 'x;y;z\n1,5;2;3\n'):
            self.assertIn('write decimals with a point',
                          self.expect(FILES, 'nearest', 'cube.stl', '-', stdin=text).err)
        self.assertIn('standard input: point 2 (1e+308,0,0) is too far away',
                      self.expect(FILES, 'nearest', 'cube.stl', '-', stdin='1 2 3\n1e308 0 0\n').err)
        self.expect(FILES, 'nearest', 'cube.stl', 'none.txt')
        self.expect(FILES, 'nearest', 'cube.stl', '.')
        self.expect(WRONG_USE, 'nearest', '-', '-', stdin='1 2 3')


class Distance(PartTest):
    def test_moved_cube_is_as_far_as_it_was_moved(self):
        self.write_part('moved.stl', moved(block(), (3, 0, 0)))
        result = self.result('distance', 'cube.stl', 'moved.stl', '-o', 'off.csv', '--svg', 'off.svg')
        self.assertAlmostEqual(result['lower'], 3)
        self.assertAlmostEqual(result['upper'], 3)
        self.assertAlmostEqual(result['first']['point'][0], 0)
        self.assertAlmostEqual(result['second']['point'][0], 13)
        self.assertEqual(sum(band['triangles'] for band in result['deviations']), 12)
        # The face x = 0 stands 3 out of the moved cube, the face x = 10 lies 3 within it.
        deviations = [float(row['deviation']) for row in rows(self.text('off.csv'))]
        self.assertEqual((deviations[8:10], deviations[10:12]), ([3, 3], [-3, -3]))
        self.assertIn('+1.29', self.text('off.svg'))
        self.expect(DONE, 'distance', 'cube.stl', 'moved.stl', '--within', 3.01)
        run = self.expect(DEFECTIVE, 'distance', 'cube.stl', 'moved.stl', '--within', 2.99)
        self.assertIn('farther apart', run.err)

    def test_coordinates_that_are_no_use(self):
        self.write_part('huge.stl', moved(block((1e200, 1e200, 1e200)), (0, 0, 0)))
        self.expect(FILES, 'distance', 'cube.stl', 'huge.stl', '--within', 1)
        self.expect(FILES, 'nearest', 'huge.stl', '-', stdin='1 2 3\n')
        self.expect(FILES, 'gouges', 'huge.stl', '-', '--ball', 1, stdin='1 2 3\n')
        self.expect(FILES, 'heights', 'huge.stl', '--ball', 1, '--area', '0,0,1,1')

    def test_accuracy_lets_the_bounds_be_apart(self):
        bracket = os.path.join(support.EXAMPLE_DATA, 'bracket.stl')
        exact = self.result('distance', 'cube.stl', bracket)['first']
        rough = self.result('distance', 'cube.stl', bracket, '--accuracy', 5)['first']
        self.assertAlmostEqual(exact['lower'], exact['upper'], 6)
        self.assertTrue(0.1 < rough['upper'] - rough['lower'] <= 5, rough)
        self.assertTrue(rough['lower'] <= exact['lower'] <= rough['upper'], rough)

    def test_a_part_is_no_way_from_itself(self):
        result = self.result('distance', 'cube.stl', '-', stdin=stl(block()))
        self.assertLess(result['upper'], 1e-6)
        self.expect(WRONG_USE, 'distance', 'cube.stl')
        self.expect(FILES, 'distance', 'cube.stl', 'none.stl')
        self.expect(WRONG_USE, 'distance', 'cube.stl', 'cube.stl', '--accuracy', -1)


class Holes(PartTest):
    def test_bore_of_a_washer(self):
        self.write_part('washer.stl', washer(5, 12, 10))
        result = self.result('holes', 'washer.stl', '-o', 'holes.csv', '--svg', 'holes.svg')
        (hole,) = result['holes']
        self.assertAlmostEqual(hole['steps'][0]['diameter'], 10, 6)
        self.assertAlmostEqual(hole['depth'], 10)
        self.assertAlmostEqual(abs(hole['axis'][2]), 1)
        self.assertEqual(hole['end'], 'through')
        (row,) = rows(self.text('holes.csv'))
        self.assertAlmostEqual(float(row['diameter']), 10, 6)
        self.assertEqual((float(row['from']), float(row['to']), row['end']), (0, 10, 'through'))
        self.assertIn('through', self.text('holes.svg'))
        self.assertIn('1 holes', self.expect(DONE, 'holes', 'washer.stl').out)

    def test_what_counts_as_a_rim_and_a_wall(self):
        whole = washer(5, 12, 10)
        self.write_part('washer.stl', whole)
        # Its rims turn by 90 degrees.
        self.assertEqual(len(self.result('holes', 'washer.stl', '--crease', 80)['holes']), 1)
        self.assertEqual(self.result('holes', 'washer.stl', '--crease', 100)['holes'], [])
        # A bore of which half the wall is gone; the part has 4 bands of 128 triangles, the bore is the third.
        self.write_part('slotted.stl', whole[:256] + whole[256 + 64:])
        self.assertEqual(self.result('holes', 'slotted.stl', '--fraction', 0.85)['holes'], [])
        self.assertEqual(len(self.result('holes', 'slotted.stl', '--fraction', 0.4)['holes']), 1)
        # Every other corner of both rims 0.05 farther out.
        rough = [tuple(tuple(c * (1.01 if k < 2 and math.hypot(*p[:2]) < 6 and self.number(p) % 2 else 1)
                             for k, c in enumerate(p)) for p in t) for t in whole]
        self.write_part('rough.stl', rough)
        self.assertEqual(self.result('holes', 'rough.stl', '--tolerance', 0.005)['holes'], [])
        self.assertEqual(len(self.result('holes', 'rough.stl', '--tolerance', 0.1)['holes']), 1)

    def test_how_far_axes_of_one_hole_may_differ(self):
        # The lower face leans by 2 degrees, and with it the axis of the circle in which the bore ends there.
        lean = math.tan(math.radians(2))
        self.write_part('leaning.stl', [tuple((x, y, z if z > 0 else x * lean) for x, y, z in t)
                                        for t in washer(5, 12, 10)])
        for words, count in (((), 0), (('--axis-tolerance', 1.9), 0), (('--axis-tolerance', 2.1), 1)):
            self.assertEqual(len(self.result('holes', 'leaning.stl', *words)['holes']), count, words)

    @staticmethod
    def number(p):
        return round(math.atan2(p[1], p[0]) / (2 * math.pi / 64))

    def test_cube_has_none(self):
        self.assertEqual(self.result('holes', 'cube.stl')['holes'], [])
        self.expect(WRONG_USE, 'holes', 'cube.stl', '--fraction', 2)
        self.expect(WRONG_USE, 'holes', 'cube.stl', '--tolerance', -1)


class Imprint(PartTest):
    SQUARE = '2 2 10\n8 2 10\n8 8 10\n2 8 10\n'

    def test_square_on_the_top(self):
        self.write('square.txt', self.SQUARE)
        result = self.result('imprint', 'cube.stl', 'square.txt', '--closed', '--keep', 'inside', '-o', 'in.stl',
                             '--path', 'path.txt', '--svg', 'in.svg')
        self.assertAlmostEqual(result['inside_area'], 36)
        self.assertEqual((result['points_off'], result['breaks']), (0, 0))
        self.assertAlmostEqual(self.result('report', 'in.stl', code=DEFECTIVE)['area'], 36, 5)
        (path,) = polylines(self.text('path.txt'))
        self.assertEqual(path[0], path[-1])
        self.assertAlmostEqual(sum(math.dist(a, b) for a, b in zip(path, path[1:])), 24)
        self.expect(DONE, 'imprint', 'cube.stl', 'square.txt', '--closed', '--keep', 'outside', '-o', 'out.stl')
        self.assertAlmostEqual(self.result('report', 'out.stl', code=DEFECTIVE)['area'], 600 - 36, 4)
        self.expect(DONE, 'imprint', 'cube.stl', 'square.txt', '--closed', '-o', 'all.stl')
        self.assertAlmostEqual(self.result('report', 'all.stl')['volume'], 1000, 3)

    def test_all_within_a_distance_of_a_point(self):
        result = self.result('imprint', 'cube.stl', '--around', '5,5,12', '--radius', 3)
        self.assertAlmostEqual(result['inside_area'], 180 * 9 * math.sin(math.pi / 180), 6)

    def test_radius_in_a_wrong_unit_is_refused_and_not_walked(self):
        run = self.expect(WRONG_USE, 'imprint', 'cube.stl', '--around', '5,5,10', '--radius', 1e12)
        self.assertIn('--radius', run.err)
        self.assertIn('17.32', run.err)  # the diagonal of the cube
        self.assertIn('unit', run.err)
        run = self.run_command('imprint', 'cube.stl', '--around', '5,5,10', '--radius', 170)
        self.assertIn(run.code, (DONE, DEFECTIVE))

    def test_points_beside_the_part(self):
        self.write('above.txt', self.SQUARE.replace('8 8 10', '8 8 11'))
        result = self.result('imprint', 'cube.stl', 'above.txt', '--closed', code=DEFECTIVE)
        self.assertEqual((result['points_off'], 'points_off' in result['defects']), (1, True))
        self.write('near.txt', self.SQUARE.replace('8 8 10', '8 8 10.001'))
        self.assertEqual(self.result('imprint', 'cube.stl', 'near.txt', '--closed', code=DEFECTIVE)['points_off'], 1)
        self.assertEqual(self.result('imprint', 'cube.stl', 'near.txt', '--closed', '--tolerance', 0.01)['points_off'], 0)
        result = self.result('imprint', 'cube.stl', 'above.txt', '--closed', '--project')
        self.assertAlmostEqual(result['inside_area'], 36)

    def test_open_path_bounds_nothing(self):
        self.write('line.txt', '2 2 10\n8 2 10\n8 8 10\n')
        result = self.result('imprint', 'cube.stl', 'line.txt', '-o', 'all.stl')
        self.assertFalse(result['region'])
        self.assertEqual(self.result('imprint', 'cube.stl', 'line.txt', '--keep', 'inside', '-o', 'in.stl',
                                     code=DEFECTIVE)['defects'], ['no_region'])
        self.assertNotIn('in.stl', self.files())

    def test_wrong_use(self):
        self.write('square.txt', self.SQUARE)
        self.write('two.txt', '2 2 10\n8 2 10\n')
        for words in ([], ['square.txt', '--around', '1,2,3', '--radius', '1'], ['--around', '1,2,3'],
                      ['square.txt', '--radius', '1'], ['two.txt'], ['--around', '1,2,3', '--radius', '0']):
            with self.subTest(words):
                self.expect(WRONG_USE, 'imprint', 'cube.stl', *words)


@unittest.skipUnless(os.path.isdir(support.SHARED_DATA), 'there is no folder of shared inputs')
class SharedInputs(CommandTest):
    def test_sections_and_shadow_have_the_figures_of_another_program(self):
        with open(os.path.join(support.SHARED_DATA, 'reference_figures.json'), encoding='utf-8') as file:
            figures = json.load(file)['meshes']
        for name in ('meshes_cad/plate_holes.STL', 'meshes_nist/nist_ctc_03_asme1_rc.stl'):
            part = os.path.join(support.SHARED_DATA, name)
            planes = figures[name]['slices_z']
            result = self.result('slices', part, '--heights', ','.join(repr(plane['z']) for plane in planes))
            self.assertEqual(len(result['sections']), len(planes))
            for mine, other in zip(result['sections'], planes):
                self.assertAlmostEqual(mine['area'] / other['signed_area'], 1, 6)
                self.assertAlmostEqual(mine['length'] / other['length'], 1, 6)
            shadow = self.result('silhouette', part)
            self.assertAlmostEqual(shadow['area'] / figures[name]['silhouette_z']['area'], 1, 6)


if __name__ == '__main__':
    support.main()
