#!/usr/bin/env python3
"""What all commands have in common: words, help, pages, exit codes, pipes, signals."""

import errno
import json
import os
import pty
import re
import shutil
import signal
import socket
import subprocess
import unittest

import support
from support import DONE, DEFECTIVE, FILES, INTERRUPTED, WRONG_USE, CommandTest, block, stl


def help_of(test, *words):
    return test.expect(DONE, *words, '--help').out


def commands_of(test):
    page = help_of(test)
    names = re.findall(r'^  ([a-z]+) ', page[page.index('commands:'):page.index('exit codes:')], re.M)
    test.assertIn('report', names)
    return names


def options_of(page):
    return re.findall(r'^  (?:-[a-z], )?(--[a-z-]+)', page, re.M)


class Words(CommandTest):
    def test_no_words_are_wrong_use_and_show_the_page(self):
        self.assertIn('usage: sorvane COMMAND', self.run_command().err)
        self.assertEqual(self.run_command().code, WRONG_USE)

    def test_version_is_that_of_the_library(self):
        self.assertRegex(self.expect(DONE, '--version').out, r'^sorvane \d+\.\d+\.\d+\n$')

    def test_unknown_command_and_option_name_the_likely_one(self):
        self.assertIn('did you mean decimate?', self.expect(WRONG_USE, 'decimte').err)
        self.write_part('cube.stl', block())
        run = self.expect(WRONG_USE, 'report', 'cube.stl', '--tolerence', '1')
        self.assertIn('did you mean --tolerance?', run.err)
        self.assertIn('sorvane report --help', run.err)

    def test_every_command_refuses_what_makes_no_sense(self):
        self.write_part('cube.stl', block())
        for name in commands_of(self):
            with self.subTest(name):
                self.expect(WRONG_USE, name)
                self.expect(WRONG_USE, name, 'cube.stl', '--no-such-option')
                if '...' not in help_of(self, name).split('\n')[0].replace('[OPTION...]', ''):
                    self.expect(WRONG_USE, name, *['cube.stl'] * 9)

    def test_numbers_are_numbers_as_a_whole(self):
        self.write_part('cube.stl', block())
        for text in ['nan', 'inf', '-1', '1mm', '', ' 1', '1,5', '0x10', '1e999']:
            with self.subTest(text):
                run = self.expect(WRONG_USE, 'report', 'cube.stl', '--tolerance', text)
                self.assertIn('--tolerance wants a number', run.err)
        for text in ['0', '1e-3', '+1', '.5']:
            with self.subTest(text):
                self.run_command('report', 'cube.stl', '--tolerance', text)

    def test_options_want_their_values_and_once_only(self):
        self.write_part('cube.stl', block())
        self.assertIn('wants a value', self.expect(WRONG_USE, 'report', 'cube.stl', '--tolerance').err)
        self.assertIn('given twice', self.expect(WRONG_USE, 'report', 'cube.stl', '--tolerance', '1',
                                                 '--tolerance', '2').err)
        self.assertIn('one of loop, sqrt3',
                      self.expect(WRONG_USE, 'subdivide', 'cube.stl', '--method', 'cubic').err)
        self.assertIn('3 numbers',
                      self.expect(WRONG_USE, 'convert', 'cube.stl', '-o', 'x.stl', '--move', '1,2').err)
        self.expect(WRONG_USE, 'remesh', 'cube.stl', '--iterations', '1.5')
        self.expect(WRONG_USE, 'report', 'cube.stl', '--threads', '0')

    def test_values_may_stand_behind_an_equals_sign_and_files_behind_two_dashes(self):
        self.write_part('-cube.stl', block())
        self.expect(DONE, 'report', '--tolerance=1e-3', '--', '-cube.stl')
        self.expect(DONE, 'report', './-cube.stl', '--tolerance', '1e-3')

    def test_behind_two_dashes_stand_inputs_alone(self):
        for name in ('-cube.stl', '--json', '-h', '--help', 'cube.stl'):
            self.write_part(name, block())
            with self.subTest(name):
                result = self.expect(DONE, 'report', '--json', '--', name).json()
                self.assertEqual(result['file'], name)
                self.assertAlmostEqual(result['volume'], 1000)
                self.assertIn('sound', self.expect(DONE, 'report', '--', name).out)
        self.assertIn('usage', self.expect(DONE, 'report', '--help', '--', 'cube.stl').out)
        self.expect(WRONG_USE, 'report', '--')
        self.expect(WRONG_USE, 'report', '--', 'cube.stl', '--json')

    def test_options_may_stand_before_and_between_the_inputs(self):
        self.write_part('cube.stl', block())
        self.expect(DONE, 'report', '--tolerance', '1e-3', 'cube.stl')
        self.expect(DONE, 'report', '-q', 'cube.stl', '--tolerance', '1e-3')

    def test_negative_numbers_are_values(self):
        self.write_part('cube.stl', block())
        self.expect(DONE, 'convert', 'cube.stl', '-o', 'x.stl', '--move', '-1,-2,-3', '-q')
        self.assertEqual(self.result('report', 'x.stl')['box']['min'], [-1, -2, -3])
        self.expect(WRONG_USE, 'convert', 'cube.stl', '-o', 'x.stl', '--move', '+-1,0,0')


class IdleOptions(CommandTest):
    """An option that would change nothing is refused: whoever types it expects something of it."""

    # Words that run; an option that does nothing beside them; what it takes for it to do something.
    IDLE = [
        (('remesh', 'cube.stl'), ('--exponent', '2'), ('--chord', '1')),
        (('remesh', 'cube.stl'), ('--flip-drift', '1'), ('--flips-only',)),
        (('remesh', 'cube.stl', '--flips-only'), ('--iterations', '3'), None),
        (('remesh', 'cube.stl', '--flips-only'), ('--split-boundary',), None),
        (('remesh', 'cube.stl', '--flips-only'), ('--length', '3'), None),
        (('remesh', 'cube.stl', '--flips-only'), ('--chord', '3'), None),
        (('remesh', 'cube.stl', '--flips-only'), ('--exponent', '2'), None),
        (('subdivide', 'cube.stl'), ('--length', '3'), ('--method', 'split')),
        (('subdivide', 'cube.stl', '--method', 'midpoints'), ('--angle', '30'), None),
        (('subdivide', 'cube.stl', '--method', 'centroid'), ('--angle', '30'), None),
        (('subdivide', 'cube.stl', '--method', 'six'), ('--angle', '30'), None),
        (('subdivide', 'cube.stl', '--method', 'split', '--length', '3'), ('--angle', '30'), None),
        (('section', 'cube.stl'), ('--space',), ('-o', 'x.txt')),
        (('section', 'cube.stl', '-o', 'x.stl'), ('--space',), None),
        (('imprint', 'cube.stl', '--around', '5,5,10', '--radius', '2'), ('--closed',), None),
        (('imprint', 'cube.stl', '--around', '5,5,10', '--radius', '2'), ('--project',), None),
        (('imprint', 'cube.stl', '--around', '5,5,10', '--radius', '2'), ('--keep', 'inside'), ('-o', 'x.stl')),
        (('imprint', 'cube.stl', 'ON_TOP'), ('--radius', '2'), None),
        (('offset', 'OUTLINE', '--distance', '1'), ('--chord', '0.1'), ('-o', 'x.txt')),
        (('offset', 'OUTLINE', '--distance', '1'), ('--chord', '0.1'), ('--svg', 'x.svg')),
        (('pocket', 'OUTLINE', '--radius', '1'), ('--chord', '0.1'), ('-o', 'x.txt')),
        (('pocket', 'OUTLINE', '--radius', '1'), ('--chord', '0.1'), ('--rings', 'x')),
        (('pocket', 'OUTLINE', '--radius', '1', '--svg', 'x.svg'), ('--chord', '0.1'), None),
        (('pocket', 'OUTLINE', '--radius', '1'), ('--fit', '0.1'), None),
        (('union', 'OUTLINE', 'MOVED', '--op', 'join'), ('--chord', '0.1'), None),
        (('heights', 'cube.stl', '--ball', '2'), ('--fit', '0.1'), None),
        (('heights', 'cube.stl', '--tool', 'TOOL'), ('--fit', '0.1'), ()),
        (('heights', 'cube.stl', '--ball', '2'), ('--feed', '100'), ('--gcode', 'x.nc')),
        (('heights', 'cube.stl', '--ball', '2'), ('--tolerance', '0.1'), ('--holder', '1,2')),
        (('heights', 'cube.stl', '--ball', '2', '--points', 'OUTLINE'), ('--step', '1'), None),
        (('heights', 'cube.stl', '--ball', '2', '--points', 'OUTLINE'), ('--stepover', '1'), None),
        (('heights', 'cube.stl', '--ball', '2', '--points', 'OUTLINE'), ('--area', '0,0,1,1'), None),
        (('gouges', 'cube.stl', 'ABOVE', '--ball', '2'), ('--fit', '0.1'), None),
        (('gouges', 'cube.stl', 'ABOVE', '--tool', 'TOOL'), ('--fit', '0.1'), ()),
        (('gouges', 'cube.stl', 'ABOVE', '--ball', '2', '--clearance', '1'), ('--tolerance', '0.1'), None),
        (('slices', 'cube.stl', '--heights', '1,2'), ('--count', '3'), None),
        (('slices', 'cube.stl', '--heights', '1,2'), ('--range', '1,2,1'), None),
        (('section', 'cube.stl', '--height', '1'), ('--share', '3'), None),
        (('section', 'cube.stl', '--height', '1'), ('--through', '0,0,1'), None),
        (('lathe', 'OUTLINE', 'MOVED', '--range', '0,1,1'), ('--angles', '3'), None),
    ]

    # All others change something wherever they may be typed, or with what the files hold: arcs to be flattened, open
    # chains to be closed, open edges to be split.
    ALWAYS = {
        'report': '--tolerance --svg --output', 'convert': '--form --scale --turn --move --tolerance --output',
        'weld': '--orient --keep-collapsed --tolerance --output',
        'components': '--by --least --tolerance --svg --output',
        'decimate': '--keep --angle --one-by-one --drift --tolerance --svg --output',
        'remesh': '--length --chord --angle --flips-only --drift --svg --output',
        'subdivide': '--method --iterations --drift --svg --output',
        'hull': '--svg --output', 'box': '--allowance --plate --bar --round --as --svg --output',
        'section': '--normal --height --share --through --side --below --above --tolerance --svg --output',
        'slices': '--normal --count --range --heights --side --outlines --tolerance --svg --output',
        'silhouette': '--normal --spin --step --spun --svg --output', 'nearest': '--signed --within --output',
        'distance': '--accuracy --within --svg --output',
        'holes': '--crease --fraction --axis-tolerance --tolerance --svg --output',
        'imprint': '--around --path --tolerance --svg --output',
        'offset': '--distance --fit --closed --tolerance --svg --output',
        'pocket': '--radius --step --height --rings --tolerance --svg --output',
        'union': '--op --tolerance --svg --output',
        'lathe': '--angles --range --pivot --obstacles --bridge --positions --chord --svg --output',
        'heights': '--ball --flat --bull --cone --shape --tool --length --holder --points --gcode --svg --output',
        'gouges': '--ball --flat --bull --cone --shape --tool --length --holder --clearance --output',
        'tool': '--tolerance --svg --output',
    }

    def setUp(self):
        super().setUp()
        self.write_part('cube.stl', block())
        self.write('OUTLINE', '0 0\n10 0\n10 10\n0 10\n0 0\n')
        self.write('MOVED', '5 5\n15 5\n15 15\n5 15\n5 5\n')
        self.write('ON_TOP', '2 2 10\n8 2 10\n8 8 10\n2 8 10\n')
        self.write('ABOVE', '5 5 20\n')
        self.write('TOOL', '0 0\n2 0\n2 10\n')

    def test_an_option_that_would_do_nothing_is_refused(self):
        for words, idle, needed in self.IDLE:
            with self.subTest(words + idle):
                if needed == ():
                    self.assertNotEqual(self.run_command(*words, *idle).code, WRONG_USE)
                    continue
                self.assertNotEqual(self.run_command(*words).code, WRONG_USE)
                before = self.files()
                run = self.expect(WRONG_USE, *words, *idle)
                self.assertIn('--', run.err.split('\n')[0])
                self.assertEqual(self.files(), before)
                if needed:
                    self.assertNotEqual(self.run_command(*words, *idle, *needed).code, WRONG_USE,
                                        (words, idle, needed))

    def test_the_reason_names_what_is_missing(self):
        for words, reason in (
                (('heights', 'cube.stl', '--ball', '2', '--fit', '1'), '--fit does nothing without --tool'),
                (('offset', 'OUTLINE', '--chord', '1'), '--chord does nothing without -o or --svg'),
                (('remesh', 'cube.stl', '--flips-only', '--iterations', '1'),
                 '--iterations does nothing with --flips-only')):
            self.assertIn(reason, self.expect(WRONG_USE, *words).err)

    def test_every_option_of_every_command_is_thought_of(self):
        for name in commands_of(self):
            tested = {idle[0] for words, idle, _ in self.IDLE if words[0] == name}
            always = set(self.ALWAYS[name].split())
            common = {'--json', '--threads', '--quiet', '--help'}
            self.assertEqual(set(options_of(help_of(self, name))) - common, tested | always, name)


class Pages(CommandTest):
    def run_line(self, line):
        """A line of the shell in a folder with the files of the examples."""
        for file in os.listdir(support.EXAMPLE_DATA):
            if not os.path.exists(self.path(file)):
                shutil.copy(os.path.join(support.EXAMPLE_DATA, file), self.folder)
        env = dict(os.environ, PATH=os.path.dirname(support.COMMAND) + ':' + os.environ['PATH'])
        return subprocess.run(['bash', '-o', 'pipefail', '-c', line], cwd=self.folder, env=env,
                              capture_output=True, timeout=120, check=False)

    def picture(self, path):
        with open(path, encoding='utf-8') as file:
            text = file.read()
        self.assertTrue(text.rstrip().endswith('</svg>'), path)
        return text

    def test_examples_of_every_help_run(self):
        for name in commands_of(self):
            page = help_of(self, name)
            lines = re.findall(r'^  (.*\bsorvane .*)$', page[page.index('\nexample: '):], re.M)
            self.assertTrue(lines, name + ' has no example')
            for line in lines:
                with self.subTest(line):
                    run = self.run_line(line)
                    self.assertIn(run.returncode, (DONE, DEFECTIVE), run.stderr)
                    if run.returncode == DEFECTIVE:
                        self.assertRegex(page, r'(?m)^  1 ')
                    for word in line.split():
                        if word.endswith('.svg'):
                            self.picture(self.path(word))

    def test_lines_of_the_guide_run_and_draw_its_pictures(self):
        docs = os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', '..', 'docs')
        with open(os.path.join(docs, 'command.md'), encoding='utf-8') as file:
            guide = file.read()
        told = re.findall(r'^\| \[`([a-z]+)`\]', guide, re.M)
        self.assertEqual(told, commands_of(self), 'the table of the guide and the help name other commands')
        lines = [line for block_ in re.findall(r'^```sh\n(.*?)^```', guide, re.M | re.S)
                 for line in block_.strip().split('\n')]
        self.assertGreater(len(lines), 10)
        for line in lines:
            with self.subTest(line):
                run = self.run_line(line)
                self.assertIn(run.returncode, (DONE, DEFECTIVE), run.stderr)
                for picture in re.findall(r'[\w-]+\.svg', line):
                    if f'(pictures/{picture})' in guide:
                        self.assertEqual(self.picture(self.path(picture)),
                                         self.picture(os.path.join(docs, 'pictures', picture)),
                                         picture + ' was drawn by another version')

    def test_help_is_the_same_by_all_its_names_and_fits_the_terminal(self):
        for name in commands_of(self):
            page = help_of(self, name)
            self.assertEqual(self.expect(DONE, 'help', name).out, page)
            self.assertEqual(self.expect(DONE, name, 'x', '-h').out, page)
            for line in page.split('\n'):
                if not line.startswith('  sorvane '):
                    self.assertLessEqual(len(line), 80, line)

    def test_manual_page_names_all_commands_and_options_and_is_clean(self):
        manual = self.expect(DONE, '--man').out.replace('\\-', '-')
        for name in commands_of(self):
            self.assertIn('\n.SS sorvane ' + name, manual)
            for option in options_of(help_of(self, name)):
                self.assertIn(option, manual)
        if shutil.which('mandoc'):
            lint = subprocess.run(['mandoc', '-T', 'lint', '-W', 'warning'], input=self.run_command('--man').bytes,
                                  capture_output=True, check=False)
            self.assertEqual(lint.stdout + lint.stderr, b'')

    def completed(self, *words):
        script = self.write('completion', self.expect(DONE, '--bash-completion').out)
        line = ' '.join(f"'{word}'" for word in ('sorvane',) + words)
        run = subprocess.run(['bash', '-c', f'. ./{script}; COMP_WORDS=({line}); COMP_CWORD={len(words)}; _sorvane; '
                              'printf "%s\\n" "${COMPREPLY[@]}"'],
                             cwd=self.folder, capture_output=True, check=True)
        self.assertEqual(run.stderr, b'')
        return run.stdout.decode().rstrip('\n').split('\n') if run.stdout.strip() else []

    def test_completion_knows_commands_options_choices_and_files(self):
        self.assertEqual(self.completed('decim'), ['decimate'])
        self.assertEqual(set(self.completed('')), set(commands_of(self)) | {'--help', '--version'})
        for name in commands_of(self):
            self.assertEqual(set(self.completed(name, '--')),
                             set(options_of(help_of(self, name))) | {'--help'})
        self.assertEqual(self.completed('subdivide', '--method', 's'), ['sqrt3', 'six', 'split'])
        self.assertEqual(self.completed('remesh', '--length', ''), [])
        self.write('my.stl', '')
        self.assertEqual(self.completed('report', 'my'), ['my.stl'])
        self.assertEqual(self.completed('report', '-o', 'my'), ['my.stl'])
        self.write('my two.stl', '')
        self.assertEqual(sorted(self.completed('report', 'my')), ['my two.stl', 'my.stl'])


class Files(CommandTest):
    def test_what_cannot_be_read_is_told_with_what_to_do(self):
        good = stl(block())
        for name, content, words in [
                ('empty.stl', '', 'export the part again'),
                ('text.stl', 'hello\n', 'export the part as STL'),
                ('zeros.stl', bytes(84), 'export'),
                ('short.stl', good[:200], 'it was broken off'),
                ('lies.stl', bytes(80) + b'\xff\xff\xff\xff' + bytes(50), ''),
                ('word.stl', good.replace('10.0', 'ten', 1), 'binary STL'),
                ('nan.stl', good.replace('10.0', 'nan', 1), ''),
        ]:
            with self.subTest(name):
                self.write(name, content)
                run = self.expect(FILES, 'report', name)
                self.assertTrue(run.err.startswith(f'sorvane report: {name}: '), run.err)
                self.assertIn(words, run.err)
                self.assertEqual(run.out, '')

    def test_binary_stl_cut_short_tells_how_much_is_there(self):
        self.write_part('cube.stl', block())
        self.expect(DONE, 'convert', 'cube.stl', '-o', 'binary.stl', '-q')
        with open(self.path('binary.stl'), 'rb') as file:
            whole = file.read()
        self.assertEqual(len(whole), 84 + 12 * 50)
        run = self.expect(FILES, 'report', self.write('cut.stl', whole[:400]))
        self.assertIn('684 bytes announced, 400 there; copy the file again, or export it again', run.err)

    def test_missing_files_and_folders(self):
        self.write_part('cube.stl', block())
        self.assertIn('no such file; check the name', self.expect(FILES, 'report', 'nothing.stl').err)
        self.assertIn('name a file in it', self.expect(FILES, 'report', '.').err)
        run = self.expect(FILES, 'weld', 'cube.stl', '-o', 'nowhere/x.stl')
        self.assertIn('make the folder first', run.err)
        run = self.expect(FILES, 'report', 'cube.stl', '--svg', 'nowhere/x.svg')
        self.assertIn('make the folder first', run.err)
        self.expect(FILES, 'report', 'cube.stl', '--svg', '.')
        # Where nobody can make a file, not even root.
        self.expect(FILES, 'weld', 'cube.stl', '-o', '/proc/x.stl')
        self.expect(FILES, 'report', 'cube.stl', '--svg', '/proc/x.svg')
        self.assertEqual(self.files(), ['cube.stl'])

    @unittest.skipIf(os.geteuid() == 0, 'nothing is forbidden to root')
    def test_folder_that_may_not_be_written(self):
        self.write_part('cube.stl', block())
        os.mkdir(self.path('shut'), 0o500)
        self.expect(FILES, 'weld', 'cube.stl', '-o', 'shut/x.stl')
        self.expect(FILES, 'report', 'cube.stl', '--svg', 'shut/x.svg')

    def test_full_disk(self):
        self.write_part('cube.stl', block())
        with open('/dev/full', 'wb') as full:
            for words in [('report', 'cube.stl'), ('report', 'cube.stl', '--json'), ('weld', 'cube.stl', '-o', '-'),
                          ('hull', 'cube.stl', '--svg', '-'), ('--help',), ('--man',)]:
                with self.subTest(words):
                    run = self.run_command(*words, stdout=full)
                    self.assertEqual(run.code, FILES)
                    self.assertIn('No space left', run.err)
        self.assertIn('No space left', self.expect(FILES, 'weld', 'cube.stl', '-o', '/dev/full').err)
        self.assertIn('No space left', self.expect(FILES, 'hull', 'cube.stl', '--svg', '/dev/full').err)

    def test_failed_write_leaves_the_old_file_and_nothing_beside_it(self):
        self.write_part('cube.stl', block())
        self.write('old.svg', 'old')
        env = dict(os.environ)
        # A limit of the size of files, which the shell sets: the disk is full in the middle of the picture.
        run = subprocess.run(['bash', '-c', 'ulimit -f 0; trap "" XFSZ; exec "$0" hull cube.stl --svg old.svg --quiet',
                              support.COMMAND], cwd=self.folder, env=env, capture_output=True, check=False)
        self.assertEqual(run.returncode, FILES, run.stderr)
        with open(self.path('old.svg'), encoding='utf-8') as file:
            self.assertEqual(file.read(), 'old')
        self.assertEqual(self.files(), ['cube.stl', 'old.svg'])

    def test_pictures_keep_permissions_and_links(self):
        self.write_part('cube.stl', block())
        self.write('real.svg', 'old')
        os.chmod(self.path('real.svg'), 0o640)
        os.symlink('real.svg', self.path('link.svg'))
        self.expect(DONE, 'hull', 'cube.stl', '--svg', 'link.svg', '-q')
        self.assertTrue(os.path.islink(self.path('link.svg')))
        self.assertEqual(os.stat(self.path('real.svg')).st_mode & 0o777, 0o640)
        with open(self.path('real.svg'), encoding='utf-8') as file:
            self.assertIn('</svg>', file.read())


class Pipes(CommandTest):
    def test_a_part_goes_through_pipes(self):
        self.write_part('cube.stl', block())
        direct = self.result('report', 'cube.stl')
        with open(self.path('cube.stl'), 'rb') as file:
            piped = self.result('report', '-', stdin=file.read())
        self.assertEqual(piped.pop('file'), '-')
        direct.pop('file')
        self.assertEqual(piped, direct)

    def test_results_to_the_standard_output_are_whole_and_alone_there(self):
        self.write_part('cube.stl', block())
        run = self.run_command('convert', 'cube.stl', '-o', '-', '--form', 'tipc', '--tolerance', '0')
        self.assertEqual(run.code, DONE)
        self.assertEqual(len(run.bytes), 10 + 8 * 24 + 12 * 12)
        self.assertIn('12 triangles', run.err)
        self.assertAlmostEqual(self.result('report', '-', stdin=run.bytes)['volume'], 1000)
        svg = self.expect(DONE, 'hull', 'cube.stl', '--svg', '-', '-q').out
        self.assertTrue(svg.startswith('<') and svg.rstrip().endswith('</svg>'))

    def test_results_to_a_file_of_the_shell(self):
        self.write_part('cube.stl', block())
        with open(self.path('out.stl'), 'wb') as file:
            file.write(b'before ')
            file.flush()
            self.assertEqual(self.run_command('convert', 'cube.stl', '-o', '-', '-q', stdout=file).code, DONE)
        self.assertEqual(os.path.getsize(self.path('out.stl')), len('before ') + 84 + 600)

    def test_two_things_cannot_go_to_the_standard_output(self):
        self.write_part('cube.stl', block())
        self.expect(WRONG_USE, 'hull', 'cube.stl', '-o', '-', '--json')
        self.expect(WRONG_USE, 'hull', 'cube.stl', '-o', '-', '--svg', '-')
        self.assertIn('same file', self.expect(WRONG_USE, 'hull', 'cube.stl', '-o', 'x', '--svg', 'x').err)
        self.assertEqual(self.files(), ['cube.stl'])

    def test_standard_output_needs_no_temporary_file(self):
        self.write_part('cube.stl', block())
        words = ('convert', 'cube.stl', '-o', '-', '-q')
        for folder in (self.path('nowhere'), '', self.folder):
            env = dict(os.environ, TMPDIR=folder)
            self.assertEqual(len(self.run_command(*words, env=env).bytes), 684)
        self.assertEqual(self.files(), ['cube.stl'])

    def test_standard_input_may_be_a_socket(self):
        # It has no name by which it could be opened.
        self.write_part('cube.stl', block())
        ours, theirs = socket.socketpair()
        with ours, theirs, open(self.path('cube.stl'), 'rb') as file:
            ours.sendall(file.read())
            ours.shutdown(socket.SHUT_WR)
            run = subprocess.run([support.COMMAND, 'report', '-', '--json'], stdin=theirs, capture_output=True,
                                 check=False)
        self.assertEqual(run.returncode, DONE, run.stderr)
        self.assertAlmostEqual(json.loads(run.stdout)['volume'], 1000)

    def test_standard_input_that_is_no_part_is_not_read_to_its_end(self):
        with open('/dev/zero', 'rb') as endless:
            run = subprocess.run([support.COMMAND, 'report', '-'], stdin=endless, capture_output=True, check=False)
        self.assertEqual(run.returncode, FILES)
        self.assertIn(b'standard input: is neither an STL nor a TIPC file', run.stderr)

    def test_standard_input_may_be_a_folder_a_file_or_nothing(self):
        self.write_part('cube.stl', block())
        for words, code in (('.', FILES), ('cube.stl', DONE), ('/dev/null', FILES)):
            run = subprocess.run(['bash', '-c', f'"$0" report - < {words}', support.COMMAND], cwd=self.folder,
                                 capture_output=True, check=False)
            self.assertEqual(run.returncode, code, run.stderr)

    # All words with which a command reads a file; IN is the file, and OUTLINE and POINTS are whole ones.
    READERS = (
        [(name, 'IN') for name in ('report', 'box', 'hull', 'holes', 'slices', 'section', 'silhouette', 'components',
                                   'weld', 'remesh', 'subdivide', 'offset', 'tool', 'union')] +
        [('decimate', 'IN', '--keep', '50'), ('convert', 'IN', '-o', 'x.stl'), ('pocket', 'IN', '--radius', '1'),
         ('pocket', 'IN', '--radius', '1', '--height', '5'), ('pocket', 'OUTLINE', 'IN', '--radius', '1'),
         ('offset', 'IN', '--fit', '0.1'),
         ('nearest', 'IN', 'POINTS'), ('nearest', 'cube.stl', 'IN'), ('distance', 'IN', 'cube.stl'),
         ('distance', 'cube.stl', 'IN'), ('imprint', 'IN', 'POINTS'), ('imprint', 'cube.stl', 'IN'),
         ('union', 'OUTLINE', 'IN'), ('union', 'IN', 'OUTLINE', '--op', 'join'), ('union', 'IN', 'OUTLINE', '--op', 'sweep'),
         ('lathe', 'IN', 'OUTLINE'), ('lathe', 'OUTLINE', 'IN'), ('lathe', 'OUTLINE', 'OUTLINE', 'IN'),
         ('lathe', 'OUTLINE', 'OUTLINE', '--obstacles', 'IN'),
         ('heights', 'IN', '--ball', '1'), ('heights', 'cube.stl', '--ball', '1', '--points', 'IN'),
         ('heights', 'cube.stl', '--tool', 'IN'), ('gouges', 'IN', 'POINTS', '--ball', '1'),
         ('gouges', 'cube.stl', 'IN', '--ball', '1'), ('gouges', 'cube.stl', 'POINTS', '--tool', 'IN')])

    def readers(self, given):
        self.write_part('cube.stl', block())
        self.write('OUTLINE', '0 0\n10 0\n10 10\n0 10\n')
        self.write('POINTS', '0 0 0\n1 1 1\n2 2 2\n')
        return [[given if word == 'IN' else word for word in words] for words in self.READERS]

    def test_readers_know_all_commands_and_options_that_read(self):
        commands = {words[0] for words in self.READERS}
        self.assertEqual(commands, set(commands_of(self)))
        written = {'--output', '--svg', '--below', '--above', '--outlines', '--spun', '--path', '--gcode',
                   '--positions'}
        for name in commands:
            files = set(re.findall(r'^ +(?:-o, )?(--[a-z]+) (?:FILE|MESH)\b', help_of(self, name), re.M))
            read = {word for words in self.READERS if words[0] == name for word in words if word.startswith('--')}
            self.assertEqual(files - written - read, set(), name)

    def test_endless_devices_are_refused(self):
        for words in self.readers('/dev/zero'):
            with self.subTest(words):
                run = self.expect(FILES, *words)
                self.assertRegex(run.err, '/dev/zero: is (a device|neither)')

    def test_endless_pipes_that_are_no_part_are_refused(self):
        # The second begins as a text of triangles, the third is one line without an end.
        for line in ('yes', '(echo solid x; yes)', '(printf "solid "; yes | tr -d "\\n")'):
            for words in (f'<({line})', f'- < <({line})'):
                with self.subTest(words):
                    run = subprocess.run(['bash', '-c', f'"$0" report {words}', support.COMMAND], cwd=self.folder,
                                         capture_output=True, timeout=60, check=False)
                    self.assertEqual(run.returncode, FILES, run.stderr)
                    self.assertRegex(run.stderr, b'neither an STL|line 1|line 2')

    def test_endless_pipes_of_numbers_are_refused(self):
        self.write('OUTLINE', '0 0\n10 0\n10 10\n0 10\n')
        run = subprocess.run(['bash', '-c', '"$0" lathe OUTLINE OUTLINE --obstacles <(yes 12345 67890)', support.COMMAND],
                             cwd=self.folder, capture_output=True, timeout=60, check=False)
        self.assertEqual(run.returncode, FILES, run.stderr)
        self.assertIn(b'more than 512 MB come without an end', run.stderr)

    def test_a_pipe_gives_its_text_as_often_as_it_is_needed(self):
        # A region is drawn after it was calculated with.
        self.write('OUTLINE', '0 0\n10 0\n10 10\n0 10\n')
        for line in ('"$0" union <(cat OUTLINE) --svg x.svg -q', 'cat OUTLINE | "$0" union - --svg y.svg -q',
                     '"$0" union OUTLINE --svg z.svg -q'):
            run = subprocess.run(['bash', '-c', line, support.COMMAND], cwd=self.folder, capture_output=True,
                                 check=False)
            self.assertEqual((run.returncode, run.stderr), (DONE, b''), line)
        texts = []
        for name in ('x.svg', 'y.svg', 'z.svg'):
            with open(self.path(name), encoding='utf-8') as file:
                texts.append(re.sub('<text.*?</text>', '', file.read()))
        self.assertEqual(texts[0], texts[2])
        self.assertEqual(texts[1], texts[2])

    def test_the_standard_input_serves_one_reader_only(self):
        self.write_part('cube.stl', block())
        self.write('OUTLINE', '0 0\n10 0\n10 10\n0 10\n')
        for words in (('lathe', '-', 'OUTLINE', '--obstacles', '-'), ('heights', '-', '--ball', '1', '--points', '-'),
                      ('gouges', 'cube.stl', '-', '--tool', '-'), ('nearest', '-', '-')):
            self.assertIn('only one input can be the standard input',
                          self.expect(WRONG_USE, *words, stdin='0 0\n10 0\n').err)

    def test_reader_that_goes_away_is_an_error_without_words(self):
        self.write_part('cube.stl', block())
        for words in [('report', 'cube.stl', '--json'), ('convert', 'cube.stl', '-o', '-', '-q'),
                      ('hull', 'cube.stl', '--svg', '-', '-q')]:
            reader, writer = os.pipe()
            os.close(reader)
            run = self.run_command(*words, stdout=writer)
            os.close(writer)
            self.assertEqual((run.code, run.err), (FILES, ''), words)

    def test_closed_standard_input_and_output(self):
        self.write_part('cube.stl', block())
        run = subprocess.run(['bash', '-c', '"$0" report - <&-', support.COMMAND], cwd=self.folder,
                             capture_output=True, check=False)
        self.assertEqual(run.returncode, FILES, run.stderr)
        run = subprocess.run(['bash', '-c', '"$0" report cube.stl >&-', support.COMMAND], cwd=self.folder,
                             capture_output=True, check=False)
        self.assertEqual(run.returncode, FILES, run.stderr)


class Quiet(CommandTest):
    def test_quiet_is_silent_and_json_is_not_silenced(self):
        self.write_part('cube.stl', block())
        self.write_part('open.stl', block()[:10])
        for words in [('report', 'cube.stl'), ('box', 'cube.stl'), ('hull', 'cube.stl', '-o', 'h.stl')]:
            self.assertEqual(self.expect(DONE, *words, '--quiet').out, '')
        run = self.expect(DEFECTIVE, 'report', 'open.stl', '-q')
        self.assertEqual((run.out, run.err), ('', ''))
        run = self.expect(DEFECTIVE, 'subdivide', 'cube.stl', '--angle', '120', '-q')  # the volume drifts
        self.assertEqual((run.out, run.err), ('', ''))
        self.assertEqual(self.expect(DONE, 'report', 'cube.stl', '-q', '--json').json()['triangles'], 12)
        self.assertNotEqual(self.expect(FILES, 'report', 'nothing.stl', '-q').err, '')

    def test_threads_change_nothing(self):
        self.write_part('cube.stl', block())
        self.expect(DONE, 'remesh', 'cube.stl', '--length', '0.5', '-o', 'fine.stl', '-q')
        for words in [('report', 'fine.stl'), ('box', 'fine.stl'), ('decimate', 'fine.stl', '--keep', '5')]:
            one = self.run_command(*words, '--json', '--threads', '1')
            many = self.run_command(*words, '--json', '--threads', '4')
            self.assertEqual((one.code, one.out), (many.code, many.out))


class Terminal(CommandTest):
    """With a pseudo-terminal as standard error."""

    def start(self, *words):
        master, slave = pty.openpty()
        process = subprocess.Popen([support.COMMAND, *words], cwd=self.folder, stdin=subprocess.DEVNULL,
                                   stdout=subprocess.PIPE, stderr=slave)
        os.close(slave)
        self.addCleanup(os.close, master)
        self.addCleanup(process.stdout.close)
        return process, master

    @staticmethod
    def read(master):
        """The next bytes; none when the other end is closed."""
        try:
            return os.read(master, 4096)
        except OSError as error:
            if error.errno != errno.EIO:
                raise
            return b''

    def test_control_c_stops_a_long_command_and_leaves_no_half_file(self):
        self.write_part('cube.stl', block())
        # Some hundred thousand triangles: far longer than it takes to hear of it.
        process, master = self.start('remesh', 'cube.stl', '--length', '0.04', '-o', 'fine.stl')
        seen = b''
        while b'%' not in seen:
            more = self.read(master)
            self.assertTrue(more, 'it ended before it showed any progress')
            seen += more
        self.assertIn(b'[', seen)
        process.send_signal(signal.SIGINT)
        rest = b''
        while more := self.read(master):
            rest += more
        self.assertEqual(process.wait(timeout=60), INTERRUPTED)
        self.assertIn(b'stopped', rest)
        self.assertEqual(self.files(), ['cube.stl'])

    def test_no_bar_when_quiet(self):
        self.write_part('cube.stl', block())
        process, master = self.start('remesh', 'cube.stl', '--length', '0.2', '--quiet')
        seen = b''
        while more := self.read(master):
            seen += more
        self.assertEqual(process.wait(timeout=60), DONE)
        self.assertEqual(seen, b'')


if __name__ == '__main__':
    support.main()
