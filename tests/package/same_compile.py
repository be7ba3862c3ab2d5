#!/usr/bin/env python3
"""Takes an object that was compiled already by the very same command, instead of compiling it again.

same_compile.py --table BUILD_FOLDER TABLE     writes the compile commands of the library's objects there
same_compile.py TABLE COMPILER ARGUMENT...     compiles: a compiler launcher for CMake

Commands are the same when they differ at most in the folder they are run in, the program in front of the
compiler, the object's name and where its dependencies go. Any other command is run as it stands.
Beside TABLE, in TABLE.taken and TABLE.compiled, stands what was done for each source.
"""
import json
import os
import shutil
import sys


def normalized(arguments):
    """The command without what makes no difference to the object; the object; the file of dependencies."""
    kept, named = [], {}
    it = iter(arguments)
    for argument in it:
        if argument in ("-o", "-MT", "-MF"):
            named[argument] = next(it)
        elif argument != "-MD":
            kept.append(argument)
    return " ".join(kept), named.get("-o"), named.get("-MF")


def write_table(build, table):
    import subprocess  # here alone: as a launcher this starts once for each source

    known = {}
    build = os.path.abspath(build)
    commands = "[]"
    if os.path.exists(os.path.join(build, "build.ninja")):
        commands = subprocess.check_output(["ninja", "-t", "compdb"], cwd=build)
    for entry in json.loads(commands):
        if entry["output"].startswith("CMakeFiles/sorvane_objects.dir/") and " -c " in entry["command"]:
            arguments = entry["command"].split()
            # Whatever stands before the compiler, the last program before the first option, launches it.
            first = next(i for i, a in enumerate(arguments) if a.startswith("-"))
            known[normalized(arguments[first - 1:])[0]] = os.path.join(build, entry["output"])
    with open(table, "w", encoding="utf-8") as file:
        json.dump(known, file)


def note(path, source):
    with open(path, "a", encoding="utf-8") as file:
        file.write(source + "\n")


def main():
    if sys.argv[1] == "--table":
        write_table(sys.argv[2], sys.argv[3])
        return
    table, arguments = sys.argv[1], sys.argv[2:]
    command, output, dependencies = normalized(arguments)
    with open(table, encoding="utf-8") as file:
        found = json.load(file).get(command)
    if found and os.path.exists(found):
        shutil.copyfile(found, output)
        if dependencies:
            with open(dependencies, "w", encoding="utf-8") as file:
                file.write(output + ":\n")
        note(table + ".taken", arguments[-1])
        return
    note(table + ".compiled", arguments[-1])
    os.execvp(arguments[0], arguments)


main()
