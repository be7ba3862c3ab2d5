"""Reads a part and joins its points.

Usage: first.py FILE
"""

import sys

import sorvane

part = sorvane.read(sys.argv[1]).weld(1e-6)
print(f"{len(part.triangles)} triangles on {len(part.points)} points")
print("from", part.points.min(axis=0), "to", part.points.max(axis=0))
