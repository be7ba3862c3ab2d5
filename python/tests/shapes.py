"""Shapes whose figures are known by hand."""

from __future__ import annotations

import numpy as np

import sorvane


def box(size: tuple[float, float, float] = (1, 1, 1), at: tuple[float, float, float] = (0, 0, 0)) -> sorvane.Mesh:
    """A box of 8 points and 12 triangles with its lowest corner at `at`."""
    corners = np.array([[x, y, z] for z in (0, 1) for y in (0, 1) for x in (0, 1)], dtype=float)
    faces = [[0, 2, 3, 1], [4, 5, 7, 6], [0, 1, 5, 4], [2, 6, 7, 3], [0, 4, 6, 2], [1, 3, 7, 5]]
    triangles = [t for a, b, c, d in faces for t in ((a, b, c), (a, c, d))]
    return sorvane.Mesh(corners * size + at, triangles)


def grid(cells: int, height: float = 0.1) -> sorvane.Mesh:
    """A wavy square of 2 cells^2 triangles over [0, 1]^2."""
    t = np.linspace(0, 1, cells + 1)
    x, y = np.meshgrid(t, t)
    points = np.column_stack([x.ravel(), y.ravel(), (height * np.sin(9 * x) * np.cos(7 * y)).ravel()])
    i = (np.arange(cells)[:, None] * (cells + 1) + np.arange(cells)).ravel()
    triangles = np.concatenate([np.column_stack([i, i + 1, i + cells + 2]), np.column_stack([i, i + cells + 2, i + cells + 1])])
    return sorvane.Mesh(points, triangles.astype(np.int32))
