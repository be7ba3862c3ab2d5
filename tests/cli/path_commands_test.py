#!/usr/bin/env python3
"""Offsets, pockets, regions, turning and milling tools on shapes whose figures are known by hand."""

import csv
import io
import json
import math
import os
import unittest

import support
from support import DONE, DEFECTIVE, FILES, WRONG_USE, CommandTest, block, moved, stl

PI = math.pi


def points(*lines):
    return '\n'.join('\n'.join('%r %r' % tuple(map(float, p)) for p in line) + '\n' for line in lines)


def square(low, high):
    return [(low, low), (high, low), (high, high), (low, high)]


def circle(radius, center=(0, 0)):
    """A chain of one arc, counter-clockwise."""
    x, y = center
    return f'\n1 1e-9\nA\t{x + radius}\t{y}\t{x}\t{y}\t{2 * PI * radius!r}\n'


def rows(text):
    return list(csv.DictReader(io.StringIO(text)))


class ShortEdges(CommandTest):
    """A file of chains is read again whatever edges it has that are no longer than its tolerance."""

    def chain(self, tolerance, *elements):
        lines = [f'{len(elements)} {tolerance}'] + [' '.join(map(str, element)) for element in elements]
        return self.write('chain.txt', '\n'.join(lines) + '\n')

    def test_gaps_on_both_sides_of_a_short_edge_are_no_gap_of_the_chain(self):
        # The gaps are 0.05 and 0.09 wide and the edge between them 0.04 long: together longer than the tolerance.
        for after in (('L', 10.18, 0, 20, 0), ('A', 10.18, 0, 10.18, 5, 7.5)):
            name = self.chain(0.1, ('L', 0, 0, 10, 0), ('L', 10.05, 0, 10.09, 0), after)
            with self.subTest(after):
                chain, = self.result('offset', name)['chains']
                self.assertEqual(chain['segments'] + chain['arcs'], 3)
        name = self.chain(0.1, ('L', 0, 0, 10, 0), ('L', 10.05, 0, 10.09, 0), ('L', 10.2, 0, 20, 0))
        self.assertIn('line 4 begins', self.expect(FILES, 'offset', name).err)

    def test_a_short_edge_may_close_a_chain(self):
        name = self.chain(0.1, ('L', 0, 0, 10, 0), ('L', 10, 0, 10, 10), ('L', 10, 10, 0, 0.17), ('L', 0, 0.17, 0, 0.08))
        chain, = self.result('offset', name)['chains']
        self.assertTrue(chain['is_closed'])
        self.assertEqual(self.result('union', name)['loops'].__len__(), 1)

    def test_offsets_within_a_wide_tolerance_are_read_again(self):
        points = '\n'.join(f'{10 * math.cos(k / 50)} {10 * math.sin(k / 50)}' for k in range(315))
        self.write('circle.txt', points + '\n')
        first = self.result('offset', 'circle.txt', '--closed', '--tolerance', '0.3', '--distance', '1', '-o', 'o.txt')
        again = self.result('offset', 'o.txt', '--tolerance', '0.3')
        length = sum(curve['length'] for offset in first['offsets'] for curve in offset['curves'])
        self.assertEqual(len(again['chains']), sum(len(offset['curves']) for offset in first['offsets']))
        self.assertAlmostEqual(sum(chain['length'] for chain in again['chains']), length, delta=0.3)


class PathTest(CommandTest):
    def text(self, name):
        with open(self.path(name), encoding='utf-8') as file:
            return file.read()

    def lengths(self, result):
        return [offset['length'] for offset in result['offsets']]


class Offset(PathTest):
    def test_headings_remarks_and_marks_of_editors(self):
        for text in ('0 0\n3 4\n', 'x,y\n0,0\n3,4\n', '# line\n\ufeff0;0\r\n3;4\r\n', '\ufeff0 0 7\n3 4 7\n',
                     'Length Along\n0 0\n3 4', 'L,A\n0,0\n3,4\n', '\n\n0\t0\n +3\t4e0\n\n'):
            with self.subTest(text):
                if text.startswith('#'):
                    self.assertIn('line 2', self.expect(FILES, 'offset', '-', stdin=text).err)
                else:
                    self.assertEqual(self.result('offset', '-', stdin=text)['chains'][0]['length'], 5)

    def test_circle_grows_and_shrinks(self):
        self.write('circle.txt', circle(10))
        result = self.result('offset', 'circle.txt', '--distance', '1,-1,-4.5')
        for length, radius in zip(self.lengths(result), (11, 9, 5.5)):
            self.assertAlmostEqual(length, 2 * PI * radius)
        self.assertEqual([c['is_closed'] for o in result['offsets'] for c in o['curves']], [True] * 3)
        self.assertAlmostEqual(result['chains'][0]['length'], 20 * PI)
        self.assertEqual((result['chains'][0]['arcs'], result['chains'][0]['segments']), (1, 0))
        self.assertAlmostEqual(result['chains'][0]['area'], 100 * PI)
        self.assertEqual([(c['arcs'], c['segments']) for o in result['offsets'] for c in o['curves']], [(1, 0)] * 3)

    def test_arc_and_chord_keep_both(self):
        self.write('d.txt', '\n2 1e-9\nA 0 -5 0 0 %r\nL 0 5 0 -5\n' % (5 * PI))
        inner, = self.result('offset', 'd.txt', '--distance', -1)['offsets'][0]['curves']
        self.assertEqual((inner['arcs'], inner['segments'], inner['is_closed']), (1, 1, True))
        self.assertAlmostEqual(inner['area'], math.sqrt(15) - 16 * math.acos(0.25))

    def test_square_has_round_corners_outside_only(self):
        self.write('square.txt', points(square(0, 10) + [(0, 0)]))
        result = self.result('offset', 'square.txt', '--distance', '1,-1', '-o', 'off.txt', '--svg', 'off.svg')
        outside, inside = self.lengths(result)
        self.assertAlmostEqual(outside, 40 + 2 * PI)
        self.assertAlmostEqual(inside, 32)
        # What was written is read again: both chains of the file.
        again = self.result('offset', 'off.txt')
        self.assertEqual([round(c['length'], 9) for c in again['chains']], [round(outside, 9), 32])
        self.assertEqual([c['is_closed'] for c in again['chains']], [True, True])
        self.assertIn('offsets', self.text('off.svg'))

    def test_repeated_points_make_no_elements(self):
        self.write('line.txt', '0 0\n0 0\n0 0\n5 0\n5 0\n5 5\n5 5\n')
        chain = self.result('offset', 'line.txt', '--distance', 1)['chains'][0]
        self.assertEqual((chain['segments'], chain['length']), (2, 10))
        self.assertEqual(self.result('offset', 'line.txt', '--closed')['chains'][0]['segments'], 3)

    def test_far_from_the_origin(self):
        self.write('far.txt', circle(10, (1e6, -1e6)).replace('1e-9', '1e-6'))
        self.assertAlmostEqual(self.lengths(self.result('offset', 'far.txt', '--distance', -4))[0], 12 * PI, 5)
        self.write('square.txt', points([(x + 1e6, y + 1e6) for x, y in square(0, 21)]))
        self.assertAlmostEqual(self.result('pocket', 'square.txt', '--radius', 2)['length'], 180, 5)

    def test_open_line_and_closing_it(self):
        self.write('line.txt', points([(0, 0), (10, 0), (10, 10)]))
        self.assertFalse(self.result('offset', 'line.txt')['chains'][0]['is_closed'])
        right, left = self.lengths(self.result('offset', 'line.txt', '--distance', '1,-1'))
        self.assertAlmostEqual(right, 20 + PI / 2)
        self.assertAlmostEqual(left, 18)
        closed = self.result('offset', 'line.txt', '--closed')
        self.assertAlmostEqual(closed['chains'][0]['length'], 20 + math.hypot(10, 10))

    def test_points_become_arcs_and_arcs_points(self):
        self.write('dense.txt', points([(10 * math.cos(i / 50 * PI), 10 * math.sin(i / 50 * PI)) for i in range(51)]))
        chain = self.result('offset', 'dense.txt', '--fit', 0.03, '-o', 'arc.txt', '--svg', 'fit.svg')['chains'][0]
        self.assertLessEqual(chain['arcs'] + chain['segments'], 3)
        self.assertAlmostEqual(chain['length'], 10 * PI, 1)
        self.assertIn('points that came in', self.text('fit.svg'))
        self.expect(DONE, 'offset', 'arc.txt', '--chord', 0.1, '-o', 'flat.txt')
        flat = [tuple(map(float, row.split())) for row in self.text('flat.txt').split('\n') if row]
        self.assertLess(len(flat), 20)
        for (ax, ay), (bx, by) in zip(flat, flat[1:]):
            middle = math.hypot((ax + bx) / 2, (ay + by) / 2)
            self.assertTrue(9.85 < middle < 10.05, middle)

    def test_points_of_a_lever_and_of_a_spiral_become_arcs(self):
        lever = os.path.join(support.EXAMPLE_DATA, 'lever_points.txt')
        chain = self.result('offset', lever, '--fit', 0.03, '--svg', 'lever.svg')['chains'][0]
        self.assertEqual((chain['segments'], chain['arcs'], chain['is_closed']), (2, 5, True))
        angles = [6.28e-3 * i for i in range(2001)]
        self.write('spiral.txt', points([((10 + a) * math.cos(a), (10 + a) * math.sin(a)) for a in angles]))
        chain = self.result('offset', 'spiral.txt', '--fit', 0.02)['chains'][0]
        self.assertGreaterEqual(chain['arcs'], 5)
        self.assertLessEqual(chain['arcs'] + chain['segments'], 20)

    def test_area_of_chains_of_arcs(self):
        # A square of side 2 with half a circle out of one edge and half a circle into another one.
        self.write('d.txt', '\n4 1e-9\nL 0 0 2 0\nA 2 0 2 1 %r\nL 2 2 0 2\nA 0 2 0 1 %r\n' % (PI, -PI))
        chain = self.result('offset', 'd.txt')['chains'][0]
        self.assertAlmostEqual(chain['area'], 4)
        self.write('turned.txt', '\n2 1e-9\nA 5 0 0 0 %r\nL -5 0 5 0\n' % (-5 * PI))
        self.assertAlmostEqual(self.result('offset', 'turned.txt')['chains'][0]['area'], -12.5 * PI)

    def test_nothing_is_left(self):
        self.write('circle.txt', circle(10))
        result = self.result('offset', 'circle.txt', '--distance', -11, code=DEFECTIVE)
        self.assertEqual(result['defects'], ['no_offset'])

    def test_broken_chains_are_told_with_their_line(self):
        for text, words in (('\n1 1e-9\nA 1 0 0 0\n', 'line 3'), ('\n2 1e-9\nL\t0\t0\t1\t0\n', 'cut short'),
                            ('\n2 1e-9\nL 0 0 1 0\nL 1.5 0 2 0\n', 'begins 0.5 from'),
                            ('\n0 1e-9\nL 0 0 1 0\n', 'line 2'), ('\n1e99 0\nL 0 0 1 0\n', 'line 2'),
                            ('\n1 1e-9\nL 0 0 nan 0\n', 'line 3'), ('1 1\n', 'single point'), ('', 'no points'),
                            ('\n1 -1\nL 0 0 1 0\n', 'line 2'), ('nan nan\n1 2\n', 'line 1'),
                            ('o.5 1\n1 2\n', 'line 1'), ('1 1\n1 1\n1 1\n', 'standard input: holds'),
                            ('1;1e-9\nL;0;0;1,5;0\n', 'line 2 has commas'), ('0,5;1\n1;2\n', 'line 1 has commas'),
                            (stl(block()), 'is a mesh')):
            with self.subTest(text):
                self.assertIn(words, self.expect(FILES, 'offset', '-', stdin=text).err)
        self.expect(DONE, 'offset', '-', '--tolerance', 0.6, stdin='\n2 1e-9\nL 0 0 1 0\nL 1.5 0 2 0\n')
        self.expect(FILES, 'offset', 'none.txt')
        self.expect(WRONG_USE, 'offset', '-', '--distance', '1,inf', stdin=circle(1))


class Pocket(PathTest):
    def test_rings_of_a_square(self):
        self.write('square.txt', points(square(0, 21)))
        result = self.result('pocket', 'square.txt', '--radius', 2, '-o', 'rings.txt', '--rings', 'ring', '--svg',
                             'rings.svg')
        self.assertEqual([ring['distance'] for ring in result['rings']], [2, 4, 6, 8, 10])
        for ring, length in zip(result['rings'], (68, 52, 36, 20, 4)):
            self.assertAlmostEqual(ring['length'], length)
        self.assertAlmostEqual(result['length'], 180)
        self.assertEqual(sorted(f for f in self.files() if f.startswith('ring-')),
                         [f'ring-{i}-1.txt' for i in range(1, 6)])
        one = self.result('offset', 'ring-5-1.txt')['chains'][0]
        self.assertAlmostEqual(one['length'], 4)
        self.assertAlmostEqual(one['area'], -1)
        self.assertEqual(len(self.result('offset', 'rings.txt')['chains']), 5)

    def test_island_in_one_file_or_two(self):
        self.write('both.txt', circle(20) + circle(5))
        self.write('outer.txt', circle(20))
        self.write('inner.txt', circle(5))
        for words in (['both.txt'], ['outer.txt', 'inner.txt']):
            result = self.result('pocket', *words, '--radius', 2)
            self.assertEqual((result['pockets'], result['rings'][0]['curves']), (1, 2))
            self.assertAlmostEqual(result['rings'][0]['length'], 2 * PI * (18 + 7))

    def test_two_pockets_and_one_too_narrow(self):
        self.write('two.txt', points(square(0, 10), square(20, 23)))
        self.assertEqual(self.result('pocket', 'two.txt', '--radius', 1)['pockets'], 2)
        result = self.result('pocket', 'two.txt', '--radius', 2, code=DEFECTIVE)
        self.assertEqual(result['defects'], ['does_not_fit'])
        self.assertAlmostEqual(result['rings'][0]['length'], 24)

    def test_lines_without_room_between_them(self):
        for text in ('0 0\n10 0\n', '0 0\n10 0\n5 0\n', '0 0\n10 0\n10 1\n0 1\n'):
            with self.subTest(text):
                result = self.result('pocket', '-', '--radius', 1, stdin=text, code=DEFECTIVE)
                self.assertEqual((result['defects'], result['length']), (['does_not_fit'], 0))

    def test_gaps_fits_and_chords(self):
        gap = '\n1 1e-9\nA 20 0 0 0 %r\n' % (40 * PI - 0.001)
        self.assertIn('open chain', self.expect(FILES, 'pocket', '-', '--radius', 2, stdin=gap).err)
        rings = self.result('pocket', '-', '--radius', 2, '--tolerance', 0.01, stdin=gap)['rings']
        self.assertAlmostEqual(rings[0]['length'], 36 * PI, 1)
        self.write('circle.txt', circle(20))
        self.expect(DONE, 'pocket', 'circle.txt', '--radius', 9, '--chord', 0.1, '-o', 'rings.txt')
        outer = [tuple(map(float, row.split())) for row in self.text('rings.txt').split('\n\n')[0].split('\n') if row]
        self.assertTrue(all(abs(math.hypot(*p) - 11) < 0.1 for p in outer), outer)
        # A section of sixty sides becomes a few arcs.
        corners = [(10 * math.cos(a * PI / 30), 10 * math.sin(a * PI / 30)) for a in range(60)]
        self.write_part('disc.stl', [t for (ax, ay), (bx, by) in zip(corners, corners[1:] + corners[:1]) for t in (
            ((0, 0, 0), (bx, by, 0), (ax, ay, 0)), ((0, 0, 5), (ax, ay, 5), (bx, by, 5)),
            ((ax, ay, 0), (bx, by, 0), (bx, by, 5)), ((ax, ay, 0), (bx, by, 5), (ax, ay, 5)))])
        for words, least, most in (((), 60, 1000), (('--fit', 0.05), 1, 20)):
            self.expect(DONE, 'pocket', 'disc.stl', '--height', 2, '--radius', 4, '--rings', 'ring', *words)
            chain = self.result('offset', 'ring-1-1.txt')['chains'][0]
            self.assertTrue(least <= chain['arcs'] + chain['segments'] <= most, chain)
            self.assertAlmostEqual(chain['length'], 12 * PI, delta=0.2)

    def test_section_of_a_part(self):
        self.write_part('cube.stl', block())
        result = self.result('pocket', 'cube.stl', '--height', 5, '--radius', 1)
        self.assertAlmostEqual(result['rings'][0]['length'], 32)
        self.assertIn('open_outlines', self.result('pocket', self.write_part('open.stl', block()[:11]), '--height', 5,
                                                   '--radius', 1, code=DEFECTIVE)['defects'])
        self.expect(WRONG_USE, 'pocket', 'cube.stl', '--height', 11, '--radius', 1)

    def test_wrong_use(self):
        self.write('square.txt', points(square(0, 21)))
        self.assertIn('--radius', self.expect(WRONG_USE, 'pocket', 'square.txt').err)
        self.expect(WRONG_USE, 'pocket', 'square.txt', '--radius', 1, '--step', 2)
        self.expect(WRONG_USE, 'pocket', 'square.txt', '--radius', 0)
        self.expect(FILES, 'pocket', '-', '--radius', 1, stdin='\n1 1e-9\nA 1 0 0 0 1\n')


class Union(PathTest):
    def setUp(self):
        super().setUp()
        self.write('a.txt', points(square(0, 10)))
        self.write('b.txt', points(square(5, 15)))
        self.write('tool.txt', points(square(-1, 1)))

    def area(self, *words):
        result = self.result('union', *words)
        self.assertAlmostEqual(sum(x0 * y1 - x1 * y0 for loop in result['loops']
                                   for (x0, y0), (x1, y1) in zip(loop, loop[1:])) / 2, result['area'], 5)
        return result['area']

    def test_squares(self):
        for operation, area in (('union', 175), ('difference', 75), ('intersection', 25)):
            with self.subTest(operation):
                self.assertAlmostEqual(self.area('a.txt', 'b.txt', '--op', operation), area, 5)
        # All are calculated on the grid over both, and on nothing wider.
        resolutions = {self.result('union', 'a.txt', 'b.txt', '--op', operation)['resolution']
                       for operation in ('union', 'difference', 'intersection')}
        self.assertEqual(len(resolutions), 1, resolutions)
        self.write('c.txt', points(square(100, 101)))
        self.assertAlmostEqual(self.area('a.txt', 'b.txt', 'c.txt'), 176, 5)
        self.assertAlmostEqual(self.area('a.txt'), 100, 5)

    def test_tools_along_paths_and_regions(self):
        self.write('path.txt', points([(0, 0), (10, 0)]))
        for first, operation, area in (('path.txt', 'sweep', 24), ('a.txt', 'dilate', 144), ('a.txt', 'contract', 64)):
            with self.subTest(operation):
                self.assertAlmostEqual(self.area(first, 'tool.txt', '--op', operation), area, 5)
        # A slot of width 1 in the middle of the square, which a tool of width 2 can't enter.
        self.write('slot.txt', points([(0, 0), (10, 0), (10, 10), (5.5, 10), (5.5, 5), (4.5, 5), (4.5, 10), (0, 10)]))
        self.assertAlmostEqual(self.area('slot.txt', 'tool.txt', '--op', 'close'), 100, 5)

    def test_gaps_of_chains_within_the_tolerance(self):
        gap = '\n3 1e-9\nL 0 0 4 0\nL 4 0 4 3\nL 4 3 0 0.001\n'
        self.expect(FILES, 'union', '-', stdin=gap)
        self.assertAlmostEqual(self.result('union', '-', '--tolerance', 0.01, stdin=gap)['area'], 6, 1)

    def test_holes_run_against_the_others(self):
        self.write('frame.txt', points(square(0, 10), square(2, 8)[::-1]))
        self.assertAlmostEqual(self.area('frame.txt'), 64, 5)
        self.assertAlmostEqual(self.area('a.txt', 'frame.txt', '--op', 'difference'), 36, 5)

    def test_chains_are_flattened_or_joined_as_arcs(self):
        self.write('left.txt', circle(5))
        self.write('right.txt', circle(5, (6, 0)))
        self.assertAlmostEqual(self.area('left.txt', '--chord', 1e-5), 25 * PI, 2)
        result = self.result('union', 'left.txt', 'right.txt', '--op', 'join', '-o', 'joined.txt', '--svg', 'join.svg')
        (outline,) = result['chains']
        self.assertAlmostEqual(outline['length'], 2 * 5 * (2 * PI - 2 * math.acos(3 / 5)))
        self.assertEqual(len(result['meetings']), 2)
        again = self.result('offset', 'joined.txt')['chains'][0]
        self.assertEqual((again['segments'], again['is_closed']), (0, True))
        self.assertIn('places at which they meet', self.text('join.svg'))

    def joined(self, first, second):
        self.write('first.txt', points(first + first[:1]))
        self.write('second.txt', points(second + second[:1]))
        chains = self.result('union', 'first.txt', 'second.txt', '--op', 'join')['chains']
        self.assertTrue(all(chain['is_closed'] for chain in chains))
        return [chain['length'] for chain in chains]

    def test_outlines_are_joined_whatever_their_directions(self):
        # Two squares of perimeter 16, of which corners of 2 x 2 overlap.
        first, across = square(0, 4), square(2, 6)
        for pair in ((first, across), (first[::-1], across), (across[::-1], first)):
            self.assertEqual(self.joined(*pair), [24])
        # What both share counts once or not: the same, side by side, and inside along a part of an edge.
        self.assertEqual(self.joined(first, first), [16])
        self.assertEqual(self.joined(first, [(4, 2), (8, 2), (8, 6), (4, 6)]), [28])
        self.assertEqual(self.joined(first, [(1, 0), (3, 0), (3, 2), (1, 2)]), [16])
        self.assertEqual(sorted(self.joined(first, square(9, 10))), [4, 16])  # apart they stay two

    def test_rounded_plate_and_bar_are_joined(self):
        files = [os.path.join(support.EXAMPLE_DATA, name) for name in ('plate_outline.txt', 'bar_outline.txt')]
        result = self.result('union', *files, '--op', 'join', '--svg', 'joined.svg')
        self.assertEqual((len(result['meetings']), len(result['chains'])), (4, 1))
        self.assertIn('4 places at which they meet', self.text('joined.svg'))
        self.write('open.txt', '1\t1e-9\nL\t0\t0\t1\t0\n')
        self.assertIn('one closed chain', self.expect(FILES, 'union', files[0], 'open.txt', '--op', 'join').err)

    def test_result_is_written_and_drawn(self):
        self.expect(DONE, 'union', 'a.txt', 'b.txt', '-o', 'u.txt', '--svg', 'u.svg')
        self.assertAlmostEqual(self.area('u.txt'), 175, 5)
        self.assertIn('a.txt', self.text('u.svg'))

    def test_wrong_use_and_files(self):
        self.expect(WRONG_USE, 'union', 'a.txt', '--op', 'difference')
        self.expect(WRONG_USE, 'union', 'a.txt', 'b.txt', '--op', 'minus')
        self.expect(WRONG_USE, 'union', 'a.txt', '--chord', 0)
        for text in ('0 0\n1 1\n', '0 0\n1 1\n2 2\n', '0 0\n0 0\n0 0\n', '\n1 1e-9\nL 0 0 1 0\n', 'a b c\n1 x\n'):
            with self.subTest(text):
                self.assertIn('standard input: ', self.expect(FILES, 'union', '-', stdin=text).err)


class Lathe(PathTest):
    def setUp(self):
        super().setUp()
        # A block 20 long and 10 high, from the middle of its underside; a needle of a tool, and a plate of a
        # holder that stands 5 above its tip.
        self.write('profile.txt', points([(10, 0), (0, 0), (0, 10), (20, 10), (20, 0), (10, 0)]))
        self.write('tool.txt', points([(0, 0), (0.01, 0), (0.01, 5), (-0.01, 5), (-0.01, 0)]))
        self.write('holder.txt', points([(-50, 5), (50, 5), (50, 6), (-50, 6), (-50, 5)]))

    def test_holder_keeps_the_needle_from_the_lower_half(self):
        result = self.result('lathe', 'profile.txt', 'tool.txt', 'holder.txt', '-o', 'table.csv', '--svg', 'lathe.svg')
        self.assertAlmostEqual(result['length'], 60)
        self.assertAlmostEqual(result['reached'], 20 + 5 + 5, 6)
        (stretch,) = [s for s in result['stretches'] if s['angles']]
        self.assertAlmostEqual(stretch['from'], 15, 6)
        self.assertAlmostEqual(stretch['to'], 45, 6)
        self.assertEqual([row['angles'] for row in rows(self.text('table.csv'))], ['none', '0', 'none'])
        self.assertIn('not reached', self.text('lathe.svg'))

    def test_needle_alone_reaches_all_around(self):
        result = self.result('lathe', 'profile.txt', 'tool.txt', '--positions', 'free.txt')
        self.assertAlmostEqual(result['reached'], 60, 6)
        self.assertEqual(len(result['stretches']), 1)
        places = [tuple(map(float, row.split())) for row in self.text('free.txt').split('\n')
                  if row and not row.startswith('#')]
        self.assertAlmostEqual(max(y for _, y in places), 10)
        self.assertAlmostEqual(min(y for _, y in places), -5)

    def test_far_from_the_origin(self):
        far = [(x + 1e6, y - 1e6) for x, y in [(10, 0), (0, 0), (0, 10), (20, 10), (20, 0), (10, 0)]]
        self.write('far.txt', points(far))
        self.assertAlmostEqual(self.result('lathe', 'far.txt', 'tool.txt', 'holder.txt')['reached'], 30, 5)
        self.assertAlmostEqual(self.result('lathe', 'far.txt', 'tool.txt')['reached'], 60, 5)

    def test_closed_profile_may_start_anywhere(self):
        corners = [(0, 0), (0, 10), (20, 10), (20, 0)]
        for first in range(4):
            with self.subTest(first):
                self.write('turned.txt', points(corners[first:] + corners[:first] + corners[first:first + 1]))
                self.assertAlmostEqual(self.result('lathe', 'turned.txt', 'tool.txt', 'holder.txt')['reached'], 30, 6)
        self.write('mid.txt', points([(5, 10), (20, 10), (20, 0), (0, 0), (0, 10), (5, 10)]))
        result = self.result('lathe', 'mid.txt', 'tool.txt', 'holder.txt')
        self.assertAlmostEqual(result['reached'], 30, 6)
        (missed,) = [s for s in result['stretches'] if not s['angles']]
        self.assertAlmostEqual(missed['from'], 15 + 5, 6)
        self.assertAlmostEqual(missed['to'], 15 + 5 + 30, 6)

    def test_tilts(self):
        result = self.result('lathe', 'profile.txt', 'tool.txt', 'holder.txt', '--range', '-90,90,90')
        self.assertEqual(result['angles'], [-90, 0, 90])
        top = next(s for s in result['stretches'] if s['from'] < 30 < s['to'])
        self.assertIn(0, top['angles'])
        self.assertNotIn(90, top['angles'])
        left = next(s for s in result['stretches'] if s['from'] < 14 < s['to'])
        self.assertEqual(len(left['angles']), 1)

    def test_angles_pivot_and_chord(self):
        # Laid on its side the needle comes from the left or the right, and reaches one wall only.
        upright, left, right = (self.result('lathe', 'profile.txt', 'tool.txt', 'holder.txt', '--angles', angle)
                                for angle in (0, 90, -90))
        self.assertEqual((upright['angles'], left['angles']), ([0], [90]))
        self.assertNotAlmostEqual(left['reached'], upright['reached'], 1)
        self.assertAlmostEqual(left['reached'], right['reached'], 3)
        # Free positions are those of the pivot: 3 above the tip all of them lie 3 higher.
        tops = []
        for words in ((), ('--pivot', '0,3')):
            self.expect(DONE, 'lathe', 'profile.txt', 'tool.txt', '--positions', 'free.txt', *words)
            tops.append([max(float(row.split()[1]) for row in self.text('free.txt').split('\n')
                             if row and not row.startswith('#'))])
        self.assertAlmostEqual(tops[1][0] - tops[0][0], 3)
        # A round tool of radius 2, its center 2 above its tip, which stays 2 from the block.
        self.write('round.txt', circle(2, (0, 2)))
        offs = []
        for chord in (0.5, 1e-3):
            self.expect(DONE, 'lathe', 'profile.txt', 'round.txt', '--chord', chord, '--positions', 'free.txt')
            tips = [tuple(map(float, row.split())) for row in self.text('free.txt').split('\n')
                    if row and not row.startswith('#')]
            offs.append(max(abs(math.hypot(max(-x, 0, x - 20), max(-2 - y, 0, y + 2 - 10)) - 2) for x, y in tips))
        self.assertGreater(offs[0], 0.01)
        self.assertLess(offs[1], 2e-3)

    def test_obstacle_is_in_the_way(self):
        self.write('chuck.txt', points([(0, 12), (8, 12), (8, 14), (0, 14), (0, 12)]))
        result = self.result('lathe', 'profile.txt', 'tool.txt', '--obstacles', 'chuck.txt')
        top = [s for s in result['stretches'] if not s['angles'] and s['to'] <= 41 and s['from'] >= 19]
        self.assertAlmostEqual(sum(s['to'] - s['from'] for s in top), 8, 1)

    def test_gaps_between_what_is_reached_are_bridged(self):
        self.write('lid.txt', points([(6, 12), (14, 12), (14, 14), (6, 14), (6, 12)]))
        words = ('lathe', 'profile.txt', 'tool.txt', '--obstacles', 'lid.txt')
        open_, kept, closed = (self.result(*words, *more)['reached'] for more in
                               ((), ('--bridge', '10,50,7'), ('--bridge', '10,50,9')))
        self.assertEqual(kept, open_)
        self.assertAlmostEqual(closed - open_, 8, 1)

    def test_wrong_use_and_files(self):
        self.expect(WRONG_USE, 'lathe', 'profile.txt')
        self.expect(WRONG_USE, 'lathe', 'profile.txt', 'tool.txt', '--range', '0,1,0')
        self.expect(WRONG_USE, 'lathe', 'profile.txt', 'tool.txt', '--bridge', '0,1')
        self.expect(FILES, 'lathe', 'profile.txt', '-', stdin='0 0\n1 1\n')
        self.expect(FILES, 'lathe', '-', 'tool.txt', stdin='0 0\n1 0\n\n2 2\n3 3\n')
        self.expect(FILES, 'lathe', 'profile.txt', 'none.txt')


class Heights(PathTest):
    PLACES = '5 5\n11 5\n11.5 5\n5 -1.5\n20 5\n'

    def setUp(self):
        super().setUp()
        self.write_part('cube.stl', block())
        self.write('places.txt', self.PLACES)

    def heights(self, *tool):
        self.expect(DONE, 'heights', 'cube.stl', '--points', 'places.txt', '-o', 'h.json', *tool)
        return json.loads(self.text('h.json'))['heights']

    def check(self, tool, drops):
        """Drops below the top of the cube over its middle, and 1, 1.5 and 1.5 beside its edges."""
        heights = self.heights(*tool)
        self.assertIsNone(heights[4])
        for height, drop in zip(heights, drops):
            self.assertAlmostEqual(height, 10 - drop)

    def test_tools_of_diameter_4_over_and_beside_a_cube(self):
        ball = [2 - math.sqrt(4 - d * d) for d in (0, 1, 1.5, 1.5)]
        bull = [0, 0] + [1 - math.sqrt(0.75)] * 2
        self.check(['--ball', '4'], ball)
        self.check(['--flat', '4'], [0, 0, 0, 0])
        self.check(['--bull', '4,1'], bull)
        self.check(['--cone', '4,90'], [0, 1, 1.5, 1.5])
        self.check(['--cone', '4,60'], [d * math.sqrt(3) for d in (0, 1, 1.5, 1.5)])
        self.check(['--shape', '1,1,90,0,0,0,5'], bull)
        self.write('chamfer.txt', points([(0, 0), (1, 0), (2, 1), (2, 9)]))
        self.check(['--tool', 'chamfer.txt'], [0, 0, 0.5, 0.5])

    def test_fit_tells_how_fine_a_chamfer_counts(self):
        # A chamfer of 0.01 lies no more than 0.0071 off the sharp corner that it breaks. Seen, it lets the tip down
        # by 0.005 halfway across it; within the fit it is a sharp corner.
        self.write('chamfer.txt', points([(0, 0), (1.99, 0), (2, 0.01), (2, 9)]))
        words = ['heights', 'cube.stl', '--tool', 'chamfer.txt', '--area', '11.995,5,11.995,5']
        for fit, height in (((), 10), (('--fit', 0.02), 10), (('--fit', 1e-4), 9.995)):
            self.assertAlmostEqual(self.result(*words, *fit)['highest'], height, 9, fit)
        words = ['gouges', 'cube.stl', '-', '--tool', 'chamfer.txt']
        for fit, code in (((), DEFECTIVE), (('--fit', 0.02), DEFECTIVE), (('--fit', 1e-4), DONE)):
            self.result(*words, *fit, stdin='11.995 5 9.996\n', code=code)

    def test_table_and_raster(self):
        result = self.result('heights', 'cube.stl', '--flat', 2, '--step', 2.5, '--stepover', 5, '-o', 'h.csv', '--svg',
                             'h.svg', '--gcode', 'h.nc', '--feed', 700)
        self.assertEqual((result['raster']['columns'], result['raster']['rows']), (5, 3))
        self.assertEqual((result['positions'], result['touching']), (15, 15))
        self.assertEqual((result['lowest'], result['highest']), (10, 10))
        table = rows(self.text('h.csv'))
        self.assertEqual([float(row['x']) for row in table[:5]], [0, 2.5, 5, 7.5, 10])
        self.assertEqual({row['z'] for row in table}, {'10'})
        program = self.text('h.nc').split('\n')
        self.assertEqual(program[:4], ['G90', 'G0 Z11.0000', 'G0 X0.0000 Y0.0000', 'G1 Z10.0000 F700'])
        self.assertIn('M30', program)
        self.assertIn('</svg>', self.text('h.svg'))

    def test_area_and_untouched_positions(self):
        self.expect(DONE, 'heights', 'cube.stl', '--ball', 2, '--area', '9,5,13,5', '--step', 0.9, '-o', 'h.csv')
        heights = [row['z'] for row in rows(self.text('h.csv'))]
        self.assertEqual((heights[:2], heights[3:]), (['10', '10'], ['', '']))
        self.assertAlmostEqual(float(heights[2]), 9 + math.sqrt(1 - 0.8 ** 2))
        self.expect(WRONG_USE, 'heights', 'cube.stl', '--ball', 2, '--area', '9,5,8,5')
        # The table goes on to gouges, without the positions that touch nothing.
        self.assertEqual(self.result('gouges', 'cube.stl', 'h.csv', '--ball', 2)['positions'], 3)

    def test_map_of_gray_values(self):
        self.write_part('step.stl', block() + moved(block((10, 10, 30)), (10, 0, 0)))
        self.expect(DONE, 'heights', 'step.stl', '--flat', 1, '--area', '5,5,25,6', '--step', 10, '--stepover', 1, '-o',
                    'map.pgm')
        with open(self.path('map.pgm'), 'rb') as file:
            header, _, pixels = file.read().partition(b'\n65535\n')
        self.assertTrue(header.startswith(b'P5\n'))
        self.assertTrue(header.endswith(b'\n3 2'))
        self.assertEqual(pixels, b'\x00\x01\xff\xff\x00\x00' * 2)

    def test_holder_at_a_wall(self):
        # A floor of height 10 beside a wall of height 40, 5 from the axis; the holder has the radius 10.
        self.write_part('wall.stl', block() + moved(block((10, 10, 40)), (10, 0, 0)))
        words = ['heights', 'wall.stl', '--ball', 2, '--area', '5,5,5,5', '--holder', '20,30']
        result = self.result(*words, '--length', 10, code=DEFECTIVE)
        self.assertEqual((result['gouges'], result['deepest']['part']), (1, 'holder'))
        self.assertAlmostEqual(result['deepest']['depth'], 40 - (10 + 10))
        self.assertEqual(self.result(*words, '--length', 31)['gouges'], 0)
        self.assertEqual(self.result(*words, '--length', 10, '--tolerance', 20.1)['gouges'], 0)

    def test_wrong_use_and_files(self):
        for words in ([], ['--ball', 1, '--flat', 1], ['--ball', 0], ['--bull', '2,3'], ['--cone', '2,180'],
                      ['--ball', 1, '--step', 1e-9], ['--ball', 1, '--holder', '1,2,3'], ['--ball', 1, '--holder', '0,1'],
                      ['--ball', 4, '--length', 1], ['--ball', 1, '--points', 'places.txt', '--svg', 'x.svg'],
                      ['--shape', '0,0,0,0,0,0,0'], ['--ball', 1, '--gcode', '-']):
            with self.subTest(words):
                self.expect(WRONG_USE, 'heights', 'cube.stl', *words)
        self.expect(FILES, 'heights', 'cube.stl', '--tool', 'none.txt')
        self.expect(FILES, 'heights', 'cube.stl', '--ball', 1, '--points', 'none.txt')
        self.expect(FILES, 'heights', 'cube.stl', '--ball', 1, '-o', '/dev/full')
        self.assertEqual(self.expect(DONE, 'heights', 'cube.stl', '--ball', 1, '--quiet').out, '')

    @unittest.skipUnless(os.path.isdir(support.SHARED_DATA), 'there is no folder of shared inputs')
    def test_heights_of_another_program(self):
        part = os.path.join(support.SHARED_DATA, 'meshes_nist', 'nist_ftc_06_asme1_rd.stl')
        for name, tool in (('ball_d10', ['--ball', 10]), ('cyl_d10', ['--flat', 10]), ('bull_d12', ['--bull', '12,1.5'])):
            with open(os.path.join(support.SHARED_DATA, 'drop_cutter', f'ftc06_{name}_40x40.csv'),
                      encoding='utf-8') as file:
                table = [list(map(float, line.split(','))) for line in file if not line.startswith('#')]
            self.write('xy.txt', points([row[:2] for row in table]))
            self.expect(DONE, 'heights', part, '--points', 'xy.txt', '-o', 'h.json', *tool)
            heights = json.loads(self.text('h.json'))['heights']
            lowest = min(row[2] for row in table)
            for mine, row in zip(heights, table):
                if mine is None:
                    self.assertEqual(row[2], lowest)
                else:
                    self.assertAlmostEqual(mine, row[2], delta=1e-4)


class Gouges(PathTest):
    def setUp(self):
        super().setUp()
        self.write_part('cube.stl', block())

    def test_tip_in_on_and_above_the_part(self):
        self.write('tips.txt', 'x,y,z\n5,5,9\n5,5,10\n5,5,10.4\n5,5,\n')
        result = self.result('gouges', 'cube.stl', 'tips.txt', '--ball', 2, '-o', 'g.csv', code=DEFECTIVE)
        self.assertEqual((result['positions'], result['gouges']), (3, 1))
        self.assertAlmostEqual(result['deepest']['depth'], 1)
        self.assertEqual(result['reports'][0]['part'], 'cutter')
        self.assertEqual([row['clear'] for row in rows(self.text('g.csv'))], ['no', 'yes', 'yes'])
        self.assertEqual(self.result('gouges', 'cube.stl', 'tips.txt', '--ball', 2, '--tolerance', 1.1)['gouges'], 0)
        near = self.result('gouges', 'cube.stl', 'tips.txt', '--ball', 2, '--clearance', 0.5, code=DEFECTIVE)
        self.assertEqual(near['gouges'], 3)

    def test_overhang_stops_what_goes_on_upward(self):
        # A roof from 20 to 22 over the cube: the cutter alone goes up without end.
        self.write_part('roof.stl', block() + moved(block((10, 10, 2)), (0, 0, 20)))
        result = self.result('gouges', 'roof.stl', '-', '--ball', 2, stdin='5 5 10\n', code=DEFECTIVE)
        self.assertAlmostEqual(result['deepest']['depth'], 12)

    def test_every_tool_goes_as_deep_as_it_is_wide_there(self):
        # Their axis 1 beside the cube, their tip 1 below its top.
        self.write('chamfer.txt', points([(0, 0), (1, 0), (2, 1), (2, 9)]))
        for tool, clear in ((('--ball', 4), 2 - math.sqrt(3)), (('--flat', 4), 0), (('--bull', '4,1'), 0),
                            (('--cone', '4,90'), 1), (('--shape', '1,1,90,0,0,0,5'), 0),
                            (('--tool', 'chamfer.txt', '--fit', 1e-4), 0)):
            with self.subTest(tool):
                for height, code in ((10 - clear + 1e-3, DONE), (10 - clear - 1e-3, DEFECTIVE)):
                    self.result('gouges', 'cube.stl', '-', *tool, stdin=f'11 5 {height!r}\n', code=code)

    def test_holder_and_length(self):
        # A wall 20 above the tip, 3 from the axis: within the holder's radius of 5 only.
        self.write_part('wall.stl', block() + moved(block((10, 10, 30)), (10, 0, 0)))
        words = ['gouges', 'wall.stl', '-', '--ball', 2, '--holder', '10,30']
        self.assertEqual(self.result(*words, '--length', 21, stdin='7 5 10\n')['gouges'], 0)
        result = self.result(*words, '--length', 15, stdin='7 5 10\n', code=DEFECTIVE)
        self.assertEqual(result['deepest']['part'], 'holder')
        self.assertAlmostEqual(result['deepest']['depth'], 5)

    def test_wrong_use_and_files(self):
        self.expect(WRONG_USE, 'gouges', 'cube.stl', '-', stdin='1 2 3\n')
        self.expect(WRONG_USE, 'gouges', 'cube.stl', '-', '--ball', 1, '--clearance', -1, stdin='1 2 3\n')
        self.expect(FILES, 'gouges', 'cube.stl', '-', '--ball', 1, stdin='1 2\n')

    def test_what_is_too_large_to_calculate_with_is_no_tool_that_is_clear(self):
        # The tip is 5 deep in the cube.
        for words in (['--ball', 2, '--length', 1e60], ['--ball', 1e60], ['--ball', 2, '--holder', '1e60,1e60']):
            self.result('gouges', 'cube.stl', '-', *words, stdin='5 5 5\n', code=DEFECTIVE)
        for words in (['--ball', 2, '--length', 1e155], ['--ball', 1e155], ['--ball', 2, '--holder', '9,1e155'],
                      ['--ball', 2, '--holder', '1e155,9'], ['--shape', '1e155,1,90,0,0,0,5'],
                      ['--flat', 1, '--length', 1e308]):
            with self.subTest(words):
                self.expect(WRONG_USE, 'gouges', 'cube.stl', '-', *words, stdin='5 5 5\n')
                self.expect(WRONG_USE, 'heights', 'cube.stl', '--points', '-', *words, stdin='5 5\n')


class Tool(PathTest):
    def test_outline_becomes_a_tool(self):
        bull = [(0, 0), (3, 0)] + [(3 + 2 * math.sin(a / 40 * PI / 2), 2 - 2 * math.cos(a / 40 * PI / 2))
                                   for a in range(1, 41)] + [(5, 20)]
        self.write('bull.txt', points(bull))
        result = self.result('tool', 'bull.txt', '--tolerance', 0.01, '-o', 'profile.txt', '--svg', 'bull.svg')
        tool = result['tool']
        self.assertAlmostEqual(tool['tip_radius'], 3, 2)
        self.assertAlmostEqual(tool['lower_corner_radius'], 2, 2)
        self.assertLess(result['hull_deviation'], 0.01)
        profile = self.result('offset', 'profile.txt')['chains'][0]
        self.assertAlmostEqual(profile['length'], 3 + PI + 18, 1)
        self.assertIn('lower and upper corner', self.text('bull.svg'))
        self.assertIn('tip radius 3', self.expect(DONE, 'tool', 'bull.txt').out)

    def test_cylinder_and_scan(self):
        tool = self.result('tool', '-', '--tolerance', 0.01, stdin='10 0\n14 0\n14 9\n')['tool']
        self.assertAlmostEqual(tool['tip_radius'], 4, 4)
        # Of a tool whose taper was drawn at 0.4 rad, points up to 0.03 off.
        scan = os.path.join(support.EXAMPLE_DATA, 'scanned_tool.txt')
        result = self.result('tool', scan, '--tolerance', 0.05)
        self.assertAlmostEqual(result['tool']['taper_angle'], 0.4, 1)
        self.assertLess(result['hull_deviation'], 0.05)

    def test_no_tool(self):
        self.expect(FILES, 'tool', '-', stdin='1 1\n1 1\n')
        self.expect(FILES, 'tool', '-', stdin='0 0\n1 0\n\n3 3\n4 4\n')
        self.expect(WRONG_USE, 'tool', '-', '--tolerance', -1, stdin='0 0\n1 0\n1 5\n')


if __name__ == '__main__':
    support.main()
