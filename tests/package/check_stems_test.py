#!/usr/bin/env python3
"""scripts/check-stems on small made-up trees: sound ones pass, every kind of planted fault is found.

Usage: check_stems_test.py CHECK_STEMS
"""

import contextlib
import io
import pathlib
import sys
import tempfile
import types

SOUND = {
    'CMakeLists.txt': 'set(SORVANE_FOLDERS base\n  upper)\n',
    'Interfaces/Kernel/Circle_E.h': '''
        // A comment with void Commented(int); in it, and a "quote.
        #pragma once
        #define SORVANE_EXTERN(T) extern template T Declared(T, \\
            T)
        namespace Kernel::Circles {
        inline constexpr double kPi{3};
        constexpr int kTable[] = {1, 2, (3)};
        enum class Sense : int { Left = (1 << 2), Right };
        /* void AlsoCommented(); */
        struct SORVANE_API Circle {
            double radius = 0;
            double Area() const { return kPi * radius * radius; }
            Circle() : radius{1}, center_{0, 0} {}
            friend bool operator==(const Circle&, const Circle&) = default;
        private:
            double Hidden() const;
            double center_[2];
        };
        template <class T, class = std::enable_if_t<(sizeof(T) > 1)>>
        [[nodiscard]] T Radius(const std::vector<std::pair<T, T>>& points, T (*weight)(T));
        template <int D> bool FitCircleToPoints(const double* points, int count = (1 < 2) ? 1 : 2);
        SORVANE_API double Inline(double x);
        inline double Inline(double x) { return x > '}' ? 1 : 0; }
        auto Trailing(int a) -> decltype(a + 1);
        Circle operator*(double scale, const Circle& circle);
        SORVANE_EXTERN(float);
        extern template SORVANE_API float Radius<float>(const std::vector<std::pair<float, float>>&, float (*)(float));
        namespace Impl { void OnlyForTheLibrary(); }
        }
        namespace Kernel { template <class T> class QOFWheel { public: void Turn(); void Stop(); };
        template <class T> void QOFWheel<T>::Turn() { if (true) { Stop(); } } }
        ''',
    'base/Circle.cpp': '''
        #include <Kernel/Circle_E.h>
        namespace Kernel::Circles {
        namespace { bool FitCircleToPoints(); int Helper() { return Elsewhere(R"x(})x"); } }
        template <class T, class U> T Radius(const std::vector<std::pair<T, T>>& points, T (*weight)(T))
        { for (;;) { } }
        auto Trailing(int a) -> decltype(a + 1) { return a + 1; }
        Circle operator*(double scale, const Circle& circle) { return {scale * circle.radius}; }
        double Circle::Hidden() const { return 0; }
        }
        ''',
    'base/FitCircle_Impl.h': '''
        namespace Kernel { namespace Circles {
        template <int D> bool FitCircleToPoints(const double* points, int count) { return count; }
        } template <class T> void QOFWheel<T>::Stop() {} }
        ''',
    'base/Grid_Impl.h': 'namespace Kernel::Impl { struct Grid { int At(int i) const { return i; } }; }',
    'tests/base/CircleTest.cpp': '''#include "tests/base/Circles.h"
        TEST(Circle, Known) { Circle c; Radius(c); Inline(2); }''',
    'tests/base/Circles.h': 'inline int Twice() { return Trailing(1) + Trailing(2); }',
    'tests/base/FitCircleTest.cpp': 'TEST(FitCircle, OfThree) { FitCircleToPoints<2>(nullptr, 0); }',
    'tests/base/GridTest.cpp': 'TEST(Grid, At) {}',
    'tests/base/CircleWheelsTest.cpp': 'TEST(Wheel, Turns) { QOFWheel<int>().Turn(); }',
    'bench/base/CirclesBench.cpp': 'void Run();',
}
# QOFWheel's Stop stands in a file of another topic:
SOUND['base/Wheel_Impl.h'] = SOUND['base/FitCircle_Impl.h'].replace('{ return count; }', ';')
SOUND['base/FitCircle_Impl.h'] = SOUND['base/FitCircle_Impl.h'].replace(
    'template <class T> void QOFWheel<T>::Stop() {} ', '')


def run(check, files):
    with tempfile.TemporaryDirectory() as folder:
        root = pathlib.Path(folder)
        for name, text in files.items():
            (root / name).parent.mkdir(parents=True, exist_ok=True)
            (root / name).write_text(text)
        out = io.StringIO()
        with contextlib.redirect_stdout(out):
            status = check.main([folder])
        return status, out.getvalue()


def main():
    check = types.ModuleType('check_stems')
    check.__file__ = sys.argv[1]
    exec(compile(pathlib.Path(sys.argv[1]).read_text(), sys.argv[1], 'exec'), check.__dict__)
    failures = []

    def expect(what, files, status, *texts):
        found, out = run(check, files)
        if found != status or not all(text in out for text in texts):
            failures.append(f'{what}: status {found}, wanted {status} and {texts}, printed\n{out}')


    def moved(old, new):
        files = dict(SOUND)
        files[new] = files.pop(old)
        return files

    def edited(name, old, new):
        files = dict(SOUND)
        if old not in files[name]:
            failures.append(f'the test is out of date: {old!r} is not in {name}')
        files[name] = files[name].replace(old, new)
        return files

    # Circle::Area and its constructor, Radius, FitCircleToPoints, Inline, Trailing, operator*, and Turn and
    # Stop of the wheel.
    expect('a sound tree', SOUND, 0, '9 public functions, 0 faults')
    expect('a file of another name', moved('base/Circle.cpp', 'base/Round.cpp'), 1,
           'Circles::Radius: base/Round.cpp defines it', 'Circles::Trailing: base/Round.cpp')
    expect('a file named by one word', moved('base/FitCircle_Impl.h', 'base/Fit_Impl.h'), 1,
           'Circles::FitCircleToPoints: base/Fit_Impl.h defines it')
    expect('a member in a file of another name', moved('base/Wheel_Impl.h', 'base/Tire_Impl.h'), 1,
           'Kernel::QOFWheel::Stop: base/Tire_Impl.h defines it')
    expect('a function that nothing defines',
           edited('base/Circle.cpp', 'auto Trailing(int a) -> decltype(a + 1) {', 'auto Trailed() {'), 1,
           'Circles::Trailing: no file defines it')
    expect('a definition in another namespace',
           edited('base/FitCircle_Impl.h', 'namespace Circles', 'namespace Impl'), 1,
           'Circles::FitCircleToPoints: no file defines it')
    expect('a test of another name', moved('tests/base/FitCircleTest.cpp', 'tests/base/RoundTest.cpp'), 1,
           'names FitCircleToPoints (tests/base/RoundTest.cpp)',
           'tests/base/RoundTest.cpp: carries the stem of no public header')
    expect('a test in another folder', moved('tests/base/FitCircleTest.cpp', 'tests/upper/FitCircleTest.cpp'),
           1, 'its test tests/upper/FitCircleTest.cpp is not in tests/base')
    expect('a function that only a comment of a test names',
           edited('tests/base/CircleTest.cpp', 'Inline(2);', '// Inline(2);'), 1,
           'Circles::Inline: no test Circle or Inline...Test.cpp names Inline')
    expect('a function that only a header names which no test includes',
           edited('tests/base/CircleTest.cpp', '#include "tests/base/Circles.h"', ''), 1,
           'names Trailing')
    expect('a class without a test', edited('tests/base/CircleWheelsTest.cpp', 'QOFWheel', 'Tire'), 1,
           'names QOFWheel')
    expect('a test of nothing', {**SOUND, 'tests/base/MiscTest.cpp': ''}, 1,
           'tests/base/MiscTest.cpp: carries the stem of no public header')
    expect('a benchmark of nothing', {**SOUND, 'bench/base/MiscBench.cpp': ''}, 1,
           'bench/base/MiscBench.cpp: carries')
    expect('a new public function', edited(
        'Interfaces/Kernel/Circle_E.h', 'namespace Impl {', 'bool Planted(int);\nnamespace Impl {'), 1,
        'Circles::Planted: no file defines it', 'names Planted')
    expect('no headers', {'CMakeLists.txt': SOUND['CMakeLists.txt']}, 1, 'no public function found')

    print('\n'.join(failures) or 'sound trees pass, planted faults are found')
    return 1 if failures else 0


if __name__ == '__main__':
    sys.exit(main())
