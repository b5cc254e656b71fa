"""Fails where a Windows half under src/ does not compile.

usage: check_windows_halves.py PROJECT-ROOT [COMPILER-ARGUMENT...]

Debian has a compiler and the system's headers for Windows, but no Qt for it. The Qt headers of this system will do for
a look at syntax and types: they choose the platform when they are read.
"""

import pathlib
import subprocess
import sys

COMPILER = ["x86_64-w64-mingw32-g++-posix", "-std=c++20", "-fsyntax-only"]


def faults(root, arguments):
    source = pathlib.Path(root) / "src"
    halves = sorted(source.rglob("*_win.cpp"))
    found = [] if halves else [f"{source}: no Windows half found"]
    for path in halves:
        command = [*COMPILER, *arguments, "-I", source, path]
        compiled = subprocess.run(command, capture_output=True, text=True)
        if compiled.returncode != 0:
            found.append(f"{path.relative_to(source).as_posix()}:\n{compiled.stderr}")
    return found


if __name__ == "__main__":
    problems = faults(sys.argv[1], sys.argv[2:])
    for problem in problems:
        print(problem)
    sys.exit(1 if problems else 0)
