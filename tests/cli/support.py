"""Runs the command as a user would, and makes small parts whose figures are known by hand."""

import json
import os
import shutil
import subprocess
import sys
import tempfile
import unittest

COMMAND = os.environ.get('SORVANE_COMMAND', '')
EXAMPLE_DATA = os.environ.get('SORVANE_EXAMPLE_DATA', '')
SHARED_DATA = os.environ.get('SORVANE_SHARED_DATA', '')

DONE, DEFECTIVE, WRONG_USE, FILES, INTERRUPTED = 0, 1, 2, 3, 130


def _no_constant(name):
    raise ValueError(name + ' is no JSON')


class Run:
    """What a run left behind."""

    def __init__(self, process):
        self.code = process.returncode
        self.bytes = process.stdout
        self.out = (process.stdout or b'').decode('utf-8', 'replace')
        self.err = (process.stderr or b'').decode('utf-8', 'replace')

    def json(self):
        """The result; NaN and Infinity, which some readers would let pass, are refused."""
        return json.loads(self.out, parse_constant=_no_constant)


class CommandTest(unittest.TestCase):
    """Every test has a folder of its own and stands in it."""

    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix='sorvane-test-')
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)

    def path(self, name):
        return os.path.join(self.folder, name)

    def run_command(self, *words, stdin=b'', stdout=subprocess.PIPE, env=None):
        if isinstance(stdin, str):
            stdin = stdin.encode()
        return Run(subprocess.run([COMMAND, *map(str, words)], input=stdin, stdout=stdout,
                                  stderr=subprocess.PIPE, cwd=self.folder, env=env, timeout=120, check=False))

    def expect(self, code, *words, **keywords):
        """A run with that exit code; an error is told, and a success says nothing on the standard error."""
        run = self.run_command(*words, **keywords)
        self.assertEqual(run.code, code, f'{words}\n{run.out}\n{run.err}')
        if code == DONE:
            self.assertEqual(run.err, '', words)
        elif code in (WRONG_USE, FILES):
            self.assertTrue(run.err.startswith('sorvane'), run.err)
        return run

    def result(self, *words, code=DONE, **keywords):
        """The JSON of a run with that exit code."""
        result = self.expect(code, *words, '--json', **keywords).json()
        self.assertEqual(result['command'], words[0])
        self.assertEqual(bool(result['defects']), code == DEFECTIVE, result['defects'])
        return result

    def write(self, name, content):
        with open(self.path(name), 'wb') as file:
            file.write(content if isinstance(content, bytes) else content.encode())
        return name

    def write_part(self, name, triangles):
        return self.write(name, stl(triangles))

    def files(self):
        return sorted(os.listdir(self.folder))


def stl(triangles):
    """Triangles of points as the text of an STL, with digits enough for the same numbers."""
    lines = ['solid part']
    for triangle in triangles:
        lines.append('facet normal 0 0 0\nouter loop')
        lines += ['vertex %r %r %r' % tuple(map(float, point)) for point in triangle]
        lines.append('endloop\nendfacet')
    return '\n'.join(lines + ['endsolid part']) + '\n'


def block(size=(10, 10, 10), low=(0, 0, 0)):
    """The twelve triangles of a block, wound outward: two for each of its faces, bottom and top first."""
    p = [tuple(low[k] + size[k] * (i >> k & 1) for k in range(3)) for i in range(8)]
    faces = [(0, 2, 3, 1), (4, 5, 7, 6), (0, 1, 5, 4), (2, 6, 7, 3), (0, 4, 6, 2), (1, 3, 7, 5)]
    triangles = []
    for a, b, c, d in faces:
        triangles += [(p[a], p[b], p[c]), (p[a], p[c], p[d])]
    return triangles


def tetrahedron():
    """The corner of the unit cube: volume 1/6, three right triangles of area 1/2 and one of edges sqrt 2."""
    o, x, y, z = (0, 0, 0), (1, 0, 0), (0, 1, 0), (0, 0, 1)
    return [(o, y, x), (o, x, z), (o, z, y), (x, y, z)]


def turned(triangle):
    return (triangle[0], triangle[2], triangle[1])


def moved(triangles, by):
    return [tuple(tuple(c + d for c, d in zip(p, by)) for p in t) for t in triangles]


def main():
    if not COMMAND:
        sys.exit('SORVANE_COMMAND names no program')
    unittest.main()
