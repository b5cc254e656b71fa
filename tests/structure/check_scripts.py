"""Fails where a script has no working --help, swallows an unknown argument, or does not please shellcheck.

usage: check_scripts.py PROJECT-ROOT
"""

import os
import pathlib
import subprocess
import sys

FOLDERS = ["script", ".ci"]
NOTHING_TO_PLEASE = {"packages"}
TIMEOUT_S = 60


def scripts(root):
    """The files that are meant to be run."""
    for folder in FOLDERS:
        for path in sorted((pathlib.Path(root) / folder).glob("*")):
            if path.is_file() and path.name not in NOTHING_TO_PLEASE:
                yield path


def run(path, argument):
    """Runs a script as from a bare service: elsewhere, without input and without a display."""
    environment = {"PATH": os.environ["PATH"], "HOME": "/nonexistent"}
    options = {"cwd": "/", "env": environment, "stdin": subprocess.DEVNULL, "timeout": TIMEOUT_S}
    return subprocess.run([path, argument], **options, capture_output=True, text=True)


def script_faults(path, name):
    if not os.access(path, os.X_OK):
        yield f"{name}: is not executable"
        return
    if "set -euo pipefail" not in path.read_text("utf-8").splitlines():
        yield f"{name}: does not say set -euo pipefail"
    helped = run(path, "--help")
    if helped.returncode != 0 or not helped.stdout.startswith(f"usage: {name}") or helped.stderr:
        yield f"{name}: --help does not explain it"
    refused = run(path, "--no-such-option")
    if refused.returncode != 2 or "--no-such-option" not in refused.stderr:
        yield f"{name}: does not refuse an unknown argument with exit code 2"


def shellcheck_faults(root, paths):
    checked = subprocess.run(["shellcheck", "--format=gcc", *paths], cwd=root, capture_output=True, text=True)
    yield from (checked.stdout + checked.stderr).splitlines()


def faults(root):
    root = pathlib.Path(root).resolve()
    paths = list(scripts(root))
    if not paths:
        return [f"{root}: no scripts found"]
    found = [f for path in paths for f in script_faults(path, path.relative_to(root).as_posix())]
    shared = sorted((root / "script" / "lib").glob("*.sh"))
    return found + list(shellcheck_faults(root, [p.relative_to(root).as_posix() for p in paths + shared]))


if __name__ == "__main__":
    problems = faults(sys.argv[1])
    for problem in problems:
        print(problem)
    sys.exit(1 if problems else 0)
