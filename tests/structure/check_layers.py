"""Fails where a file under src/ includes what its room must not know.

usage: check_layers.py PROJECT-ROOT

The linker catches most of this, but not headers that need no code, and not platform tests in the wrong place.
"""

import pathlib
import re
import sys

# Which room may include which; every room may include itself.
ARROWS = {
    "formats": set(),
    "assets": {"formats"},
    "network": set(),
    "host": set(),
    "panel": {"host", "network"},
    "launcher": {"formats", "assets", "network", "host", "panel"},
}

# The window's room lies in several folders, and one of its files lies with its subject.
LAUNCHER_FOLDERS = {"app", "transport", "accounts", "client"}
LAUNCHER_FILES = {"assets/launcher_asset_tasks.cpp"}

# Files outside the platform halves that may ask for the platform: for a name or a signature, never for a call.
PLATFORM_EXCEPTIONS = set()

PLATFORM_HALF = re.compile(r"_(posix|win)\.(cpp|h)$")
PLATFORM_TEST = re.compile(
    r"^\s*#\s*(?:if|ifdef|ifndef|elif)\b.*"
    r"\b(Q_OS_\w+|_WIN32|_WIN64|WIN32|__MINGW\w+|_MSC_VER|__linux__|__unix__|__APPLE__)\b"
)
INCLUDE = re.compile(r'^\s*#\s*include\s*[<"]([^>"]+)[>"]')
QUOTED_INCLUDE = re.compile(r'^\s*#\s*include\s*"')


def room_of(path):
    """The room of a path relative to src/, or None where the folder has no place among the arrows."""
    folder = path.split("/", 1)[0]
    if path in LAUNCHER_FILES or folder in LAUNCHER_FOLDERS:
        return "launcher"
    return folder if folder in ARROWS else None


def include_fault(room, folders, included, quoted):
    """Why a file of `room` must not include `included`, or None."""
    name = included.rsplit("/", 1)[-1]
    if name.endswith(".moc"):
        return None
    if "/" not in included:
        return "names no folder" if quoted else None
    if included.split("/", 1)[0] not in folders:
        return "is no file of src/" if quoted else None
    if name.endswith(".cpp") or name.startswith("launcher_"):
        return "is a file that nobody includes"
    target = room_of(included)
    if target != room and target not in ARROWS[room]:
        return f"goes from {room} to {target}"
    return None


def file_faults(path, text, folders):
    room = room_of(path)
    if room is None:
        yield f"{path}: its folder has no place among the arrows"
        return
    for number, line in enumerate(text.splitlines(), 1):
        match = INCLUDE.match(line)
        fault = match and include_fault(room, folders, match.group(1), bool(QUOTED_INCLUDE.match(line)))
        if fault:
            yield f"{path}:{number}: #include {match.group(1)} {fault}"
        platform = PLATFORM_TEST.match(line)
        if platform and not PLATFORM_HALF.search(path) and path not in PLATFORM_EXCEPTIONS:
            yield f"{path}:{number}: {platform.group(1)} outside a platform half"


def twin_faults(paths):
    """A half without its twin: one platform would be left without the calls."""
    for path in paths:
        for half, other in (("_posix.cpp", "_win.cpp"), ("_win.cpp", "_posix.cpp")):
            if path.endswith(half) and path.removesuffix(half) + other not in paths:
                yield f"{path}: has no twin {path.removesuffix(half) + other}"


def faults(root):
    source = pathlib.Path(root) / "src"
    files = sorted(p for p in source.rglob("*") if p.suffix in {".cpp", ".h"})
    if not files:
        return [f"{source}: no sources found"]
    folders = {p.name for p in source.iterdir() if p.is_dir()}
    paths = {p.relative_to(source).as_posix() for p in files}
    found = [f for p in files for f in file_faults(p.relative_to(source).as_posix(), p.read_text("utf-8"), folders)]
    return found + list(twin_faults(sorted(paths)))


if __name__ == "__main__":
    problems = faults(sys.argv[1])
    for problem in problems:
        print(problem)
    sys.exit(1 if problems else 0)
