#!/usr/bin/env python3
"""The commands on meshes, on parts whose figures are known by hand, and report on all shared inputs."""

import itertools
import json
import math
import os
import re
import struct
import unittest

import support
from support import (DEFECTIVE, DONE, FILES, WRONG_USE, CommandTest, block, moved, stl, tetrahedron, turned)

CUBE = block()  # edges of 10: volume 1000, area 600


def points_of(triangles):
    return sorted(set(itertools.chain.from_iterable(triangles)))


class Report(CommandTest):
    def report(self, triangles, *words, code=DONE):
        self.write_part('part.stl', triangles)
        return self.result('report', 'part.stl', *words, code=code)

    def test_tetrahedron(self):
        figures = self.report(tetrahedron())
        self.assertEqual((figures['triangles'], figures['points'], figures['components']), (4, 4, 1))
        self.assertAlmostEqual(figures['volume'], 1 / 6, places=15)
        self.assertAlmostEqual(figures['area'], 1.5 + math.sqrt(3) / 2, places=14)
        self.assertAlmostEqual(figures['mean_triangle_area'], (1.5 + math.sqrt(3) / 2) / 4, places=14)
        self.assertAlmostEqual(figures['mean_edge_length'], (1 + math.sqrt(2)) / 2, places=14)
        for coordinate in figures['centroid']:
            self.assertAlmostEqual(coordinate, 0.25, places=14)
        self.assertEqual(figures['box'], {'min': [0, 0, 0], 'max': [1, 1, 1]})
        self.assertTrue(figures['closed'])
        self.assertEqual(figures['defects'], [])
        for name in ('open_slots', 'non_manifold_slots', 'misoriented_triangles', 'degenerate_triangles',
                     'folded_triangles'):
            self.assertEqual(figures[name], [])
        self.assertEqual((figures['gap'], figures['gap_invalid_mesh']), (0, False))

    def test_cube_in_words(self):
        self.write_part('cube.stl', CUBE)
        text = self.expect(DONE, 'report', 'cube.stl').out
        self.assertIn('12 triangles on 8 points', text)
        self.assertIn('area 600, mean edge 11.3807', text)  # (2 * 10 + 10 sqrt 2) / 3
        self.assertIn('volume        1000, center (5, 5, 5)', text)
        self.assertIn('verdict       sound', text)

    def test_far_from_the_origin(self):
        figures = self.report(moved(CUBE, (1e6, -1e6, 1e6)))
        self.assertAlmostEqual(figures['volume'], 1000, delta=1e-3)

    def test_open_box(self):
        figures = self.report(CUBE[:2] + CUBE[4:], code=DEFECTIVE)  # without its top
        self.assertEqual(figures['defects'], ['open'])
        self.assertEqual((figures['open_edges'], figures['holes'], figures['closed']), (4, 1, False))
        self.assertEqual(len(figures['open_slots']), 4)
        text = self.expect(DEFECTIVE, 'report', 'part.stl').out
        self.assertIn('4 edges have only one triangle: 1 hole or crack', text)
        self.assertIn('DEFECTIVE', text)

    def test_two_holes(self):
        figures = self.report(CUBE[4:], code=DEFECTIVE)  # without bottom and top
        self.assertEqual((figures['open_edges'], figures['holes']), (8, 2))

    def test_gap_between_two_squares(self):
        square = [((0, 0, 0), (1, 0, 0), (1, 1, 0)), ((0, 0, 0), (1, 1, 0), (0, 1, 0))]
        figures = self.report(square + moved(square, (1.5, 0, 0)), code=DEFECTIVE)
        self.assertEqual(figures['components'], 2)
        self.assertEqual(figures['gap'], 1.5)  # from the far edge of one to the near edge of the other

    def test_one_turned_triangle_brings_its_neighbors(self):
        figures = self.report([turned(CUBE[0])] + CUBE[1:], code=DEFECTIVE)
        self.assertIn('turned', figures['defects'])
        self.assertEqual(len(figures['misoriented_triangles']), 4)
        self.assertIn(0, figures['misoriented_triangles'])

    def test_inside_out(self):
        figures = self.report([turned(t) for t in CUBE], code=DEFECTIVE)
        self.assertEqual(figures['defects'], ['inside_out'])
        self.assertAlmostEqual(figures['volume'], -1000)

    def test_fin(self):
        fin = [((0, 0, 0), (10, 0, 0), (5, -5, 5))]
        figures = self.report(CUBE + fin, code=DEFECTIVE)
        self.assertEqual((figures['crowded_edges'], figures['open_edges']), (1, 2))
        self.assertEqual(len(figures['non_manifold_slots']), 3)

    def test_sliver_depends_on_the_tolerance(self):
        needle = [((0, 0, 0), (10, 0, 0), (5, 1e-4, 0))]
        self.assertEqual(self.report(needle, code=DEFECTIVE)['degenerate_triangles'], [])
        self.assertEqual(self.report(needle, '--tolerance', '1e-4', code=DEFECTIVE)['degenerate_triangles'], [0])

    def test_crack_closes_within_the_tolerance(self):
        cracked = CUBE[:2] + moved(CUBE[2:4], (0, 0, 1e-3)) + CUBE[4:]
        self.assertEqual(self.report(cracked, code=DEFECTIVE)['open_edges'], 8)
        self.assertEqual(self.report(cracked, '--tolerance', '0.01')['open_edges'], 0)

    def test_faults_as_picture_and_mesh(self):
        self.report([turned(CUBE[0])] + CUBE[1:], '--svg', 'faults.svg', '-o', 'faults.stl', code=DEFECTIVE)
        with open(self.path('faults.svg'), encoding='utf-8') as file:
            picture = file.read()
        self.assertIn('triangles wound against a neighbor: 4', picture)
        self.assertGreaterEqual(os.path.getsize(self.path('faults.stl')), 84 + 4 * 50)
        os.remove(self.path('faults.stl'))
        run = self.expect(DONE, 'report', self.write_part('cube.stl', CUBE), '-o', 'faults.stl')
        self.assertIn('there is no fault to show', run.out)
        self.assertNotIn('faults.stl', self.files())

    def test_bracket(self):
        bracket = os.path.join(support.EXAMPLE_DATA, 'bracket.stl')
        figures = self.result('report', bracket)
        self.assertEqual(figures['form'], 'binary STL')
        self.assertEqual(figures['triangles'], 692)
        # Closed, of one component and without holes but bores: points - edges + triangles is even.
        self.assertEqual((figures['points'] - figures['triangles'] * 3 // 2 + figures['triangles']) % 2, 0)
        self.assertEqual(figures['box']['max'], [60, 80, 50])


@unittest.skipUnless(os.path.isdir(support.SHARED_DATA), 'the shared inputs are not there')
class SharedInputs(CommandTest):
    def test_every_mesh_has_a_report_and_the_figures_of_its_readme(self):
        with open(os.path.join(support.SHARED_DATA, 'README.md'), encoding='utf-8') as file:
            told = dict(re.findall(r'^\| ([^ |]+\.(?:stl|STL)) \|.*?\| (V \d+, boundary.*?) \|', file.read(), re.M))
        meshes = [os.path.relpath(os.path.join(folder, name), support.SHARED_DATA)
                  for folder, _, names in os.walk(support.SHARED_DATA)
                  for name in names if name.lower().endswith(('.stl', '.tipc'))]
        self.assertGreater(len(meshes), 20)
        compared = 0
        for mesh in sorted(meshes):
            with self.subTest(mesh):
                path = os.path.join(support.SHARED_DATA, mesh)
                run = self.run_command('report', path, '--tolerance', '0', '--json')
                self.assertIn(run.code, (DONE, DEFECTIVE), run.err)
                figures = run.json()
                if mesh not in told:
                    continue
                compared += 1
                row = {key: float(value) for key, value in
                       re.findall(r'([A-Za-z-]+(?: edges)?) (-?[\d.e+-]+)', told[mesh])}
                self.assertEqual(figures['points'], row['V'])
                self.assertEqual(figures['open_edges'], row['boundary edges'])
                self.assertEqual(figures['crowded_edges'], row['non-manifold'])
                self.assertEqual(bool(figures['misoriented_triangles']), row['misoriented'] > 0)
                self.assertAlmostEqual(figures['area'], row['area'], delta=2e-6 * row['area'])
                if row['boundary edges'] == row['non-manifold'] == row['misoriented'] == 0:
                    self.assertAlmostEqual(figures['volume'], row['volume'], delta=2e-6 * abs(row['volume']))
        self.assertGreater(compared, 20)


    def test_hulls_and_spheres_are_those_of_other_programs(self):
        with open(os.path.join(support.SHARED_DATA, 'reference_figures.json'), encoding='utf-8') as file:
            references = json.load(file)['meshes']
        compared = 0
        for mesh, reference in sorted(references.items()):
            path = os.path.join(support.SHARED_DATA, mesh)
            # Boxes of hulls with thousands of corners take long.
            if 'hull' not in reference or reference['hull']['vertices'] > 400 or not os.path.exists(path):
                continue
            compared += 1
            with self.subTest(mesh):
                # The references are of vertices rounded to floats, also of files with text.
                self.expect(DONE, 'convert', path, '-o', 'float.stl', '-q')
                hull = self.run_command('hull', 'float.stl', '--json').json()['hull']
                for name in ('volume', 'area'):
                    self.assertAlmostEqual(hull[name], reference['hull'][name], delta=1e-9 * reference['hull'][name])
                sphere = self.run_command('box', 'float.stl', '--json').json()['sphere']
                radius = reference['enclosing_ball']['radius']
                self.assertAlmostEqual(sphere['radius'], radius, delta=1e-9 * radius)
        self.assertGreater(compared, 5)


class Convert(CommandTest):
    def setUp(self):
        super().setUp()
        self.write_part('cube.stl', block((1, 2, 3)))

    def test_forms_by_extension_and_by_word(self):
        for words, size in [(['-o', 'a.stl'], 84 + 600), (['-o', 'a.STL'], 684),
                            (['-o', 'a.tipc', '--tolerance', '0'], 10 + 8 * 24 + 144),
                            (['-o', 'a.tipc'], 10 + 36 * 24 + 144),
                            (['-o', 'a.bin', '--form', 'stl'], 684)]:
            self.expect(DONE, 'convert', 'cube.stl', *words)
            self.assertEqual(os.path.getsize(self.path(words[1])), size, words)
        self.expect(DONE, 'convert', 'cube.stl', '-o', 'a.txt', '--tolerance', '0')
        with open(self.path('a.txt'), encoding='ascii') as file:
            points = sorted(tuple(map(float, line.split())) for line in file)
        self.assertEqual(points, points_of(block((1, 2, 3))))
        self.expect(DONE, 'convert', 'cube.stl', '-o', 'text.stl', '--form', 'ascii')
        with open(self.path('text.stl'), encoding='ascii') as file:
            self.assertTrue(file.read().startswith('solid'))

    def test_wrong_use(self):
        self.expect(WRONG_USE, 'convert', 'cube.stl')
        self.assertIn('the extension names no form', self.expect(WRONG_USE, 'convert', 'cube.stl', '-o', 'a.obj').err)
        self.expect(WRONG_USE, 'convert', 'cube.stl', '-o', 'a.stl', '--scale', '0')
        self.expect(WRONG_USE, 'convert', 'cube.stl', '-o', 'a.stl', '--move', '1,nan,2')

    def test_tipc_keeps_every_bit(self):
        value = 0.1 + 1e-13
        self.write_part('fine.stl', block((value, 1, 1)))
        self.expect(DONE, 'convert', 'fine.stl', '-o', 'fine.tipc', '-q')
        with open(self.path('fine.tipc'), 'rb') as file:
            coordinates = struct.unpack_from('<108d', file.read(), 10)
        self.assertIn(value, coordinates)

    def test_part_too_small_for_the_file_is_not_written(self):
        self.write_part('cube.stl', block())
        words = ('convert', 'cube.stl', '--scale', '1e-300')
        error = self.expect(FILES, *words, '-o', 'tiny.stl').err
        self.assertIn('32-bit floats would flatten the part', error)
        self.assertIn('write it as .tipc', error)
        self.expect(FILES, *words, '-o', '-', '-q')
        self.expect(FILES, 'convert', 'cube.stl', '-o', 'far.stl', '--move', '1e12,0,0')
        self.assertEqual(self.files(), ['cube.stl'])
        self.expect(DONE, *words, '-o', 'tiny.tipc', '--tolerance', '0')

    def test_collapsed_triangles_are_left_out(self):
        # A sliver between two points that become one; its third point is of no triangle then.
        thin = [((0, 0, 0), (10, 0, 0), (10, 1e-5, 0))]
        self.write_part('part.stl', thin + tetrahedron())
        for name in ('x.stl', 'x.tipc'):
            run = self.expect(DONE, 'convert', 'part.stl', '-o', name, '--tolerance', '1e-4')
            self.assertIn('4 points are left, 1 collapsed triangles left out', run.out)
            figures = self.result('convert', 'part.stl', '-o', name, '--tolerance', '1e-4')
            self.assertEqual((figures['triangles'], figures['points'], figures['collapsed_triangles']), (4, 4, 1))
            report = self.result('report', name)
            self.assertEqual((report['triangles'], report['points'], report['degenerate_triangles']), (4, 4, []))
        # Without a tolerance, and as points, nothing is left out.
        self.assertEqual(self.result('convert', 'part.stl', '-o', 'x.tipc')['triangles'], 5)
        self.assertEqual(self.result('convert', 'part.stl', '-o', 'x.txt', '--tolerance', '1e-4')['points'], 5)

    def test_a_tolerance_beyond_the_part_is_refused(self):
        for name in ('x.stl', 'x.tipc'):
            run = self.expect(DEFECTIVE, 'convert', 'cube.stl', '-o', name, '--tolerance', '5')
            self.assertIn('cube.stl: all triangles have collapsed; give a smaller --tolerance', run.out + run.err)
            figures = self.result('convert', 'cube.stl', '-o', name, '--tolerance', '5', code=DEFECTIVE)
            self.assertEqual((figures['defects'], figures['collapsed_triangles']), (['empty'], 12))
        self.assertEqual(self.files(), ['cube.stl'])
        self.assertEqual(self.result('convert', 'cube.stl', '-o', 'x.txt', '--tolerance', '5')['points'], 1)

    def test_scaled_turned_moved_in_that_order(self):
        # (1, 2, 3) doubled is (2, 4, 6); a quarter turn about Z lays x along y and y along -x.
        box = self.result('convert', 'cube.stl', '-o', 'x.tipc', '--scale', '2', '--turn', '0,0,90', '--move',
                          '4,0,-1')['box']
        self.assertEqual(box, {'min': [0, 0, -1], 'max': [4, 2, 5]})
        # About X first, then about Z: y lies along z, z along -y, which the second turn lays along x.
        box = self.result('convert', 'cube.stl', '-o', 'x.tipc', '--turn', '90,0,90')['box']
        self.assertEqual(box, {'min': [0, 0, 0], 'max': [3, 1, 2]})
        box = self.result('convert', 'cube.stl', '-o', 'x.tipc', '--turn', '0,90,0')['box']
        self.assertEqual(box, {'min': [0, 0, -1], 'max': [3, 2, 0]})
        self.assertAlmostEqual(self.result('report', 'x.tipc')['volume'], 6)

    def test_turns_other_than_quarters(self):
        box = self.result('convert', 'cube.stl', '-o', 'x.tipc', '--turn', '0,0,30')['box']
        self.assertAlmostEqual(box['min'][0], -1)  # -2 sin 30
        self.assertAlmostEqual(box['max'][1], 0.5 + math.sqrt(3))


class Weld(CommandTest):
    def test_crack_closes(self):
        cracked = CUBE[:2] + moved(CUBE[2:4], (0, 0, 1e-3)) + CUBE[4:]
        self.write_part('part.stl', cracked)
        figures = self.result('weld', 'part.stl', code=DEFECTIVE)
        self.assertEqual((figures['open_edges_read'], figures['open_edges'], figures['points']), (8, 8, 12))
        figures = self.result('weld', 'part.stl', '--tolerance', '0.01', '-o', 'whole.stl')
        self.assertEqual((figures['open_edges'], figures['points'], figures['collapsed_triangles']), (0, 8, 0))
        self.assertTrue(self.result('report', 'whole.stl')['closed'])

    def test_collapsed_triangles_are_left_out(self):
        # A sliver between two points that become one.
        thin = [((0, 0, 0), (10, 0, 0), (10, 1e-5, 0))]
        self.write_part('part.stl', thin + tetrahedron())
        words = ('weld', 'part.stl', '--tolerance', '1e-4')
        self.assertEqual(self.result(*words, '-o', 'x.tipc')['collapsed_triangles'], 1)
        self.assertEqual(self.result('report', 'x.tipc')['points'], 4)
        kept = self.result(*words, '--keep-collapsed', code=DEFECTIVE)
        self.assertEqual((kept['triangles'], kept['collapsed_triangles']), (5, 0))

    def test_nothing_left(self):
        self.write_part('part.stl', tetrahedron())
        figures = self.result('weld', 'part.stl', '--tolerance', '5', '-o', 'x.stl', code=DEFECTIVE)
        self.assertEqual(figures['defects'], ['empty'])
        self.assertEqual(self.files(), ['part.stl'])

    def test_oriented_outward_in_every_component(self):
        second = moved(CUBE, (20, 0, 0))
        self.write_part('part.stl', [turned(CUBE[0])] + CUBE[1:] + [turned(t) for t in second[:3]] + second[3:])
        figures = self.result('weld', 'part.stl', '--orient', '-o', 'x.stl')
        self.assertEqual(figures['turned_triangles'], 4)
        self.assertAlmostEqual(self.result('report', 'x.stl')['volume'], 2000)
        self.write_part('part.stl', [turned(t) for t in CUBE])
        self.assertEqual(self.result('weld', 'part.stl', '--orient', '-o', 'x.stl')['turned_triangles'], 12)
        self.assertAlmostEqual(self.result('report', 'x.stl')['volume'], 1000)


class Components(CommandTest):
    def test_two_bodies_are_listed_and_written(self):
        self.write_part('part.stl', CUBE + moved(tetrahedron(), (30, 0, 0)))
        figures = self.result('components', 'part.stl', '-o', 'body {}.stl', '--svg', 'c.svg')
        self.assertEqual(figures['components'], 2)
        self.assertEqual([entry['triangles'] for entry in figures['listed']], [12, 4])
        self.assertEqual([entry['first_triangle'] for entry in figures['listed']], [0, 12])
        self.assertAlmostEqual(figures['listed'][0]['volume'], 1000)
        self.assertEqual(figures['written'], ['body 1.stl', 'body 2.stl', 'c.svg'])
        self.assertAlmostEqual(self.result('report', 'body 2.stl')['volume'], 1 / 6, places=6)
        only = self.result('components', 'part.stl', '--least', '5')
        self.assertEqual((only['components'], len(only['listed'])), (2, 1))

    def test_bodies_that_touch_in_a_point(self):
        self.write_part('part.stl', CUBE + moved(CUBE, (10, 10, 10)))
        self.assertEqual(self.result('components', 'part.stl')['components'], 2)
        self.assertEqual(self.result('components', 'part.stl', '--by', 'point')['components'], 1)

    def test_open_component(self):
        self.write_part('part.stl', CUBE + moved(CUBE[:4], (20, 0, 0)))
        figures = self.result('components', 'part.stl', code=DEFECTIVE)
        self.assertEqual([entry['closed'] for entry in figures['listed']], [True, False, False])

    def test_pattern_without_a_place_for_the_number(self):
        self.write_part('part.stl', CUBE)
        self.assertIn('{}', self.expect(WRONG_USE, 'components', 'part.stl', '-o', 'x.stl').err)


class Triangles(CommandTest):
    """Commands that make other triangles of the same surface."""

    def setUp(self):
        super().setUp()
        self.write_part('cube.stl', CUBE)

    def test_decimated_back_to_twelve(self):
        self.expect(DONE, 'subdivide', 'cube.stl', '--method', 'midpoints', '--iterations', '3', '-o', 'fine.stl')
        figures = self.result('decimate', 'fine.stl', '--tolerance', '0.01', '-o', 'light.stl', '--svg', 'x.svg')
        self.assertEqual(figures['before']['triangles'], 12 * 64)
        self.assertEqual(figures['after']['triangles'], 12)
        self.assertLess(figures['deviation']['result_off_part']['at_most'], 1e-6)
        self.assertAlmostEqual(figures['after']['volume'], 1000, places=6)
        self.assertAlmostEqual(self.result('report', 'light.stl')['area'], 600, places=6)
        half = self.result('decimate', 'fine.stl', '--keep', '50')
        self.assertEqual(half['stop'], 'target')
        self.assertAlmostEqual(half['percent_left'], 50, delta=1)
        one = self.result('decimate', 'fine.stl', '--keep', '50', '--one-by-one')
        self.assertLessEqual(one['before']['triangles'], 768)

    def test_decimate_wants_a_limit(self):
        self.assertIn('--keep PERCENT', self.expect(WRONG_USE, 'decimate', 'cube.stl').err)
        self.expect(WRONG_USE, 'decimate', 'cube.stl', '--keep', '101')

    def test_drift_is_told(self):
        # Without a crease a subdivided cube becomes round and loses far more than a twentieth.
        words = ('subdivide', 'cube.stl', '--angle', '120')
        figures = self.result(*words, '-o', 'x.stl', code=DEFECTIVE)
        self.assertEqual(figures['defects'], ['drift'])
        self.assertLess(figures['volume_drift_percent'], -10)
        self.assertIn('x.stl', self.files())
        self.assertIn('warning: the volume has drifted', self.expect(DEFECTIVE, *words).err)
        self.result(*words, '--drift', '90')

    def test_remeshed_edges_are_as_long_as_asked_for(self):
        figures = self.result('remesh', 'cube.stl', '--length', '2', '-o', 'even.stl', '--svg', 'even.svg')
        after = figures['after']
        self.assertAlmostEqual(after['volume'], 1000, places=6)
        self.assertAlmostEqual(after['mean_edge_length'], 2, delta=0.3)
        self.assertLess(figures['deviation']['part_off_result']['at_most'], 1e-6)
        # Triangles of edge 2 have an area of sqrt 3.
        self.assertAlmostEqual(after['triangles'], 600 / math.sqrt(3), delta=120)
        self.assertAlmostEqual(sum(figures['edge_class_percents']), 100, places=9)
        chord = self.result('remesh', 'cube.stl', '--chord', '0.1', '--length', '3')
        self.assertAlmostEqual(chord['after']['volume'], 1000, places=6)

    def test_flips_move_no_point(self):
        # A square whose two triangles beside the diagonal are worse than those beside the other one.
        kite = [((0, 0, 0), (10, 0, 0), (5, 1, 0)), ((0, 0, 0), (5, -1, 0), (10, 0, 0))]
        self.write_part('kite.stl', kite)
        figures = self.result('remesh', 'kite.stl', '--flips-only', '-o', 'x.stl')
        self.assertEqual(figures['changed_triangles'], 2)
        self.assertGreater(figures['after']['worst_aspect_ratio'], figures['before']['worst_aspect_ratio'])
        self.assertEqual(figures['after']['points'], 4)
        self.expect(WRONG_USE, 'remesh', 'kite.stl', '--flips-only', '--length', '2')

    def test_refined_without_moving(self):
        for method, factor in [('centroid', 3), ('midpoints', 4), ('six', 6)]:
            figures = self.result('subdivide', 'cube.stl', '--method', method)
            self.assertEqual(figures['after']['triangles'], 12 * factor)
            self.assertAlmostEqual(figures['after']['volume'], 1000, places=9)
        split = self.result('subdivide', 'cube.stl', '--method', 'split', '--length', '4', '-o', 'x.stl')
        self.assertLessEqual(split['after']['longest_edge'], 4 * (1 + 1e-12))
        self.assertAlmostEqual(split['after']['area'], 600, places=9)
        # Creases of 90 degrees stay, so that the cube stays a cube.
        loop = self.result('subdivide', 'cube.stl', '--angle', '60')
        self.assertEqual(loop['after']['triangles'], 48)
        self.assertAlmostEqual(loop['after']['volume'], 1000, places=9)
        self.expect(WRONG_USE, 'subdivide', 'cube.stl', '--method', 'split')
        self.expect(WRONG_USE, 'subdivide', 'cube.stl', '--length', '2')

    def test_more_triangles_than_can_be_numbered(self):
        run = self.expect(support.FILES, 'subdivide', 'cube.stl', '--method', 'six', '--iterations', '50')
        self.assertIn('more triangles than can be numbered', run.err)

    def test_open_part_has_no_drift(self):
        self.write_part('open.stl', CUBE[:10])
        figures = self.result('subdivide', 'open.stl', '--method', 'midpoints')
        self.assertIsNone(figures['volume_drift_percent'])
        self.assertIn('its volume says nothing',
                      self.expect(DONE, 'subdivide', 'open.stl', '--method', 'midpoints').out)


class Options(CommandTest):
    """What every option of these commands changes, where no other test asks for it."""

    def setUp(self):
        super().setUp()
        self.write_part('cube.stl', CUBE)

    def triangles(self, *words, **keywords):
        return self.result(*words, **keywords)['after']['triangles']

    def test_components_meet_within_the_tolerance(self):
        self.write_part('two.stl', CUBE + moved(CUBE, (10.001, 0, 0)))
        self.assertEqual(self.result('components', 'two.stl')['components'], 2)
        self.assertEqual(self.result('components', 'two.stl', '--tolerance', '0.01')['components'], 1)

    def test_decimate(self):
        self.expect(DONE, 'subdivide', 'cube.stl', '--method', 'midpoints', '--iterations', '2', '-o', 'fine.stl')
        # Twelve triangles are the fewest that keep all edges of the cube.
        words = ('decimate', 'fine.stl', '--keep', '3')
        self.assertEqual(self.triangles(*words), 12)
        self.assertLess(self.triangles(*words, '--angle', '120'), 12)
        # The two ways choose other edges.
        half = ('decimate', 'fine.stl', '--keep', '50')
        self.assertNotEqual(self.triangles(*half, '--one-by-one'), self.triangles(*half))
        bracket = os.path.join(support.EXAMPLE_DATA, 'bracket.stl')
        drifts = ('decimate', bracket, '--tolerance', '2', '-o', 'light.stl')
        self.assertEqual(self.result(*drifts, '--drift', '0', code=DEFECTIVE)['defects'], ['drift'])
        self.assertIn('light.stl', self.files(), 'to look at')
        self.result(*drifts, '--drift', '50')

    def test_remesh(self):
        words = ('remesh', 'cube.stl', '--length', '3')
        # Nothing bends: edges may be as long as the chord error lets them.
        self.assertLess(self.triangles(*words, '--chord', '0.1'), 0.7 * self.triangles(*words))
        self.assertEqual(self.triangles(*words, '--iterations', '0'), 12)
        drifts = ('remesh', 'cube.stl', '--length', '4', '--angle', '120')
        self.assertEqual(self.result(*drifts, code=DEFECTIVE)['defects'], ['drift'])
        self.result(*drifts, '--drift', '50')
        sheet = [((0, 0, 0), (4, 0, 0), (4, 4, 0)), ((0, 0, 0), (4, 4, 0), (0, 4, 0))]
        words = ('remesh', self.write_part('sheet.stl', sheet), '--length', '1')
        self.assertEqual(self.result(*words)['after']['open_edges'], 4)
        # A boundary of 16 in edges of 1.
        self.assertAlmostEqual(self.result(*words, '--split-boundary')['after']['open_edges'], 16, delta=4)

    def test_exponent_spares_triangles_where_little_bends(self):
        tube = [[(8 * math.cos(math.pi * i / 16), 8 * math.sin(math.pi * i / 16), z) for i in range(32)]
                for z in (0, 6)]
        bent = [t for i in range(32) for j in [(i + 1) % 32]
                for t in ((tube[0][i], tube[0][j], tube[1][j]), (tube[0][i], tube[1][j], tube[1][i]))]
        words = ('remesh', self.write_part('tube.stl', bent), '--length', '1', '--chord', '0.05', '--split-boundary')
        self.assertLess(self.triangles(*words, '--exponent', '3'), self.triangles(*words))


class Bounds(CommandTest):
    def test_hull_of_two_cubes(self):
        self.write_part('part.stl', block((1, 1, 1)) + block((1, 1, 1), (2, 0, 0)))
        figures = self.result('hull', 'part.stl', '-o', 'hull.stl', '--svg', 'hull.svg')
        self.assertAlmostEqual(figures['hull']['volume'], 3)
        self.assertAlmostEqual(figures['hull']['area'], 14)
        self.assertAlmostEqual(figures['filled_percent'], 200 / 3)
        self.assertTrue(self.result('report', 'hull.stl')['closed'])

    def test_flat_part_has_no_hull(self):
        self.write_part('flat.stl', [((0, 0, 0), (1, 0, 0), (0, 1, 0))])
        self.assertFalse(self.result('hull', 'flat.stl', '-o', 'x.stl', code=DEFECTIVE)['solid'])
        self.assertEqual(self.files(), ['flat.stl'])

    def test_boxes_and_sphere_of_a_turned_block(self):
        self.write_part('block.stl', block((2, 3, 6)))
        self.expect(DONE, 'convert', 'block.stl', '--turn', '0,0,45', '--move', '100,0,0', '-o', 'part.tipc')
        figures = self.result('box', 'part.tipc')
        size = figures['box']['size']
        self.assertAlmostEqual(size[0], 5 / math.sqrt(2))
        self.assertAlmostEqual(size[2], 6)
        for a, b in zip(sorted(figures['oriented_box']['size']), [2, 3, 6]):
            self.assertAlmostEqual(a, b, places=9)
        self.assertAlmostEqual(figures['sphere']['radius'], 3.5)  # the diagonal of 2, 3, 6 is 7
        self.assertAlmostEqual(figures['part_volume'], 36)
        self.assertAlmostEqual(figures['stock']['block']['volume'], 36)
        self.assertAlmostEqual(figures['stock']['round']['diameter'], math.sqrt(13))
        self.assertAlmostEqual(figures['stock']['round']['length'], 6)

    def test_part_is_laid_into_the_stock(self):
        self.write_part('block.stl', block((2, 3, 6), (50, 60, 70)))
        figures = self.result('box', 'block.stl', '--plate', '1,2.5,8', '--allowance', '0.25', '--as', 'plate', '-o',
                              'laid.tipc', '--svg', 'laid.svg')
        # The plate of 2.5 holds the side of 2 with its allowance.
        self.assertEqual(figures['laid_into'], 'plate')
        for a, b in zip(figures['stock']['plate']['size'], [6.5, 3.5, 2.5]):
            self.assertAlmostEqual(a, b)
        box = self.result('report', 'laid.tipc')['box']
        for a, b in zip(box['min'] + box['max'], [0.25, 0.25, 0.25, 6.25, 3.25, 2.25]):
            self.assertAlmostEqual(a, b)
        # The turn that is told lays it there as well.
        turn = figures['stock']['plate']['turn']
        by = [row[3] for row in figures['stock']['plate']['from_part']]
        again = self.result('convert', 'block.stl', '--turn', ','.join(map(repr, turn)), '--move',
                            ','.join(map(repr, by)), '-o', 'again.tipc')
        for a, b in zip(again['box']['min'], [0.25] * 3):
            self.assertAlmostEqual(a, b)

    def test_no_size_is_large_enough(self):
        self.write_part('block.stl', block((2, 3, 6)))
        figures = self.result('box', 'block.stl', '--round', '3', '--as', 'round', '-o', 'x.stl', code=DEFECTIVE)
        self.assertEqual(figures['defects'], ['too_small'])
        self.assertNotIn('x.stl', self.files())
        bars = self.result('box', 'block.stl', '--bar', '5x4,3x2')
        self.assertEqual(sorted(bars['stock']['bar']['size']), [2, 3, 6])
        # Without --as the block of any size is there all the same, but it was asked for sizes.
        figures = self.result('box', 'block.stl', '--plate', '1,1.5', '--bar', '1x9', '-o', 'x.stl', code=DEFECTIVE)
        self.assertEqual((figures['defects'], figures['laid_into']), (['too_small'], 'block'))
        self.assertIn('x.stl', self.files())
        self.assertEqual(self.result('box', 'block.stl', '--plate', 1, '--bar', '2x3')['defects'], [])
        self.assertEqual(self.result('box', 'block.stl', '--plate', 1, '--as', 'block')['defects'], [])
        self.expect(WRONG_USE, 'box', 'block.stl', '--bar', '5x')
        self.expect(WRONG_USE, 'box', 'block.stl', '--plate', '5,-1')

    def test_line(self):
        self.write_part('line.stl', [((0, 0, 0), (1, 0, 0), (2, 0, 0))])
        self.assertEqual(self.result('box', 'line.stl', code=DEFECTIVE)['defects'], ['line'])


class Hostile(CommandTest):
    """Every command on parts that nobody would draw ends with one of its exit codes, and with JSON that parses."""

    def test_all_commands(self):
        point = (1.0, 2.0, 3.0)
        parts = {
            'one.stl': tetrahedron()[:1],
            'twice.stl': tetrahedron() * 2,
            'point.stl': [(point, point, point)],
            'line.stl': [((0, 0, 0), (1, 0, 0), (3, 0, 0))] * 3,
            'huge.stl': block((1e30, 1e30, 1e30)),
            'tiny.stl': block((1e-30, 1e-30, 1e-30)),
            'far.stl': moved(CUBE, (1e9, 1e9, 1e9)),
            'fans.stl': CUBE + moved(CUBE, (10, 10, 10)),
        }
        for name, triangles in parts.items():
            self.write(name, stl(triangles))
            for words in (['report'], ['weld'], ['components'], ['decimate', '--keep', '50'], ['remesh'],
                          ['subdivide'], ['remesh', '--flips-only'], ['hull'], ['box'],
                          ['convert', '-o', 'x.tipc']):
                with self.subTest(f'{words} {name}'):
                    run = self.run_command(*words, name, '--json', *([] if words[0] in ('weld', 'convert') else
                                                                     ['--svg', 'x.svg']))
                    self.assertIn(run.code, (DONE, DEFECTIVE), run.err)
                    self.assertEqual(run.json()['command'], words[0])


if __name__ == '__main__':
    support.main()
