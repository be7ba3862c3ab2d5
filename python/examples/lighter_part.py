"""Makes a part lighter for a preview: fewer triangles within a distance, when the part is sound.

Usage: lighter_part.py PART [OUT.stl [TOLERANCE]]
"""

import sys

import sorvane


def main() -> int:
    part = sorvane.read(sys.argv[1]).weld(1e-6)
    out = sys.argv[2] if len(sys.argv) > 2 else "lighter.stl"
    tolerance = float(sys.argv[3]) if len(sys.argv) > 3 else 0.05
    report = part.report()
    print(report)
    if not report.sound:
        return 1
    lighter, done = part.decimate(tolerance=tolerance, with_report=True)
    lighter.write(out)
    print(f"{done.initial_triangles} triangles became {done.triangles}, {done.deviation:.3g} off at most")
    print(f"volume {part.volume:.6g} became {lighter.volume:.6g}; stopped by: {done.stop}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
