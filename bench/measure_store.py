"""Measures the store beside other programs that do the same work; script/bench builds what it needs and starts it."""

import argparse
import json
import os
import pathlib
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

MIB = 1 << 20
UNITS = {"": 1, "KiB": 1 << 10, "MiB": MIB, "GiB": 1 << 30}

# What stands on the disk at one time: the source, the store and the peer's copy.
COPIES = 3


def byte_count(text):
    match = re.fullmatch(r"([0-9]+)(KiB|MiB|GiB|)", text)
    if not match:
        raise argparse.ArgumentTypeError(f"{text} is no size such as 512MiB or 2GiB")
    return int(match.group(1)) * UNITS[match.group(2)]


def positive(text):
    if not text.isdigit() or int(text) == 0:
        raise argparse.ArgumentTypeError(f"{text} is no whole number above zero")
    return int(text)


def files_below(folder):
    return sorted(path for path in pathlib.Path(folder).rglob("*") if path.is_file())


class Store:
    """vok-store-tool: each call is one process, which tells its own peak memory."""

    def __init__(self, tool):
        self.tool = tool
        self.peaks = {}

    def __call__(self, operation, *paths):
        done = subprocess.run([self.tool, operation, *paths], stdout=subprocess.PIPE, text=True)
        if done.returncode != 0:
            sys.exit(f"bench: {operation} went wrong: {done.stdout[:2000]}")
        self.peaks.setdefault(operation, []).append(json.loads(done.stdout)["peak_memory_bytes"])

    def peak_mib(self, operation):
        return statistics.median(self.peaks[operation]) / MIB


def openssl_digests(folder):
    """The digest of every file below `folder`, by as few processes as the system's argument limit allows."""
    names = b"".join(os.fsencode(path) + b"\0" for path in files_below(folder))
    command = ["xargs", "-0", "openssl", "dgst", "-sha256"]
    subprocess.run(command, input=names, check=True, stdout=subprocess.DEVNULL)


def copy_then_sync(source, target):
    subprocess.run(["cp", "-r", "--", source, target], check=True)
    subprocess.run(["sync", "-f", "--", target], check=True)


def copy_flushing_each(source, target):
    for path in files_below(source):
        copy = target / path.relative_to(source)
        copy.parent.mkdir(parents=True, exist_ok=True)
        with open(path, "rb") as reader, open(copy, "xb") as writer:
            while os.sendfile(writer.fileno(), reader.fileno(), None, 1 << 24):
                pass
            os.fsync(writer.fileno())


def timed(work, *arguments):
    """Seconds of one call, begun when the disk has nothing left to write for anybody before."""
    os.sync()
    started = time.perf_counter()
    work(*arguments)
    return time.perf_counter() - started


def sample_game(options, folder, *shape):
    subprocess.run([options.sample_game, *shape, folder], check=True, stdout=subprocess.DEVNULL)
    base = folder / "app" / "base"
    for path in files_below(base):
        path.read_bytes()
    return base


def measure_times(options, store, scratch):
    """Rows of (operation, seconds, peer, the peer's seconds) for the tree of --size; medians over the rounds."""
    source = sample_game(options, scratch / "game", "--size", str(options.size))
    files = files_below(source)
    mib = sum(path.stat().st_size for path in files) / MIB
    print(f"{len(files)} files, {mib:.0f} MiB, warm; medians of {options.rounds} rounds, in turns\n", flush=True)

    seconds = {}

    def take(name, work, *arguments):
        seconds.setdefault(name, []).append(timed(work, *arguments))

    root, copy = scratch / "store", scratch / "copy"
    for _ in range(options.rounds):
        take("import", store, "import", source, root)
        take("openssl", openssl_digests, source)
        take("copy, sync", copy_then_sync, source, copy)
        shutil.rmtree(copy)
        take("verify", store, "verify", root)
        take("openssl", openssl_digests, source)
        take("flushed copy", copy_flushing_each, source, copy)
        shutil.rmtree(copy)
        take("repair", store, "repair", source, root)
        shutil.rmtree(root)

    median = {name: statistics.median(values) for name, values in seconds.items()}
    digests = median["openssl"]
    return [
        ("verify", median["verify"], "openssl dgst -sha256", digests),
        ("import", median["import"], "openssl + cp -r + sync", digests + median["copy, sync"]),
        ("import", median["import"], "openssl + copy, each file flushed", digests + median["flushed copy"]),
        ("repair, nothing damaged", median["repair"], "openssl three times", 3 * digests),
    ]


def measure_many_entries(options, scratch):
    """A store that has imported and verified a tree of --entries small files and folders."""
    store = Store(options.store_tool)
    source = sample_game(options, scratch / "many", "--entries", str(options.entries))
    store("import", source, scratch / "many-store")
    store("verify", scratch / "many-store")
    return store


def print_table(head, rows):
    table = [head, *rows]
    widths = [max(len(row[column]) for row in table) for column in range(len(head))]
    for row in table:
        print("  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip())


def measure(options, scratch):
    store = Store(options.store_tool)
    times = measure_times(options, store, scratch)
    print_table(
        ("operation", "seconds", "beside", "seconds", "ratio"),
        [(what, f"{ours:.2f}", peer, f"{theirs:.2f}", f"{ours / theirs:.2f}") for what, ours, peer, theirs in times],
    )
    shutil.rmtree(scratch / "game")

    store("idle")
    idle = store.peak_mib("idle")
    trees = [
        (f"{options.size / MIB:.0f} MiB", store),
        (f"{options.entries} entries", measure_many_entries(options, scratch)),
    ]
    print_table(
        ("operation", "tree", f"peak MiB above an idle process ({idle:.1f})"),
        [(what, tree, f"{used.peak_mib(what) - idle:.1f}") for tree, used in trees for what in ("import", "verify")],
    )


def main():
    parser = argparse.ArgumentParser(add_help=False)
    parser.add_argument("--size", type=byte_count, default=byte_count("2GiB"))
    parser.add_argument("--entries", type=positive, default=200000)
    parser.add_argument("--rounds", type=positive, default=5)
    parser.add_argument("--scratch", type=pathlib.Path, required=True)
    parser.add_argument("--keep", action="store_true")
    parser.add_argument("--store-tool", required=True)
    parser.add_argument("--sample-game", required=True)
    options = parser.parse_args()

    options.scratch.mkdir(parents=True, exist_ok=True)
    free = shutil.disk_usage(options.scratch).free
    if free < COPIES * options.size:
        sys.exit(f"bench: {options.scratch} has {free >> 20} MiB free, {COPIES * options.size >> 20} MiB are needed")
    scratch = pathlib.Path(tempfile.mkdtemp(prefix="store-", dir=options.scratch.resolve()))
    try:
        measure(options, scratch)
    finally:
        if options.keep:
            print(f"kept: {scratch}")
        else:
            shutil.rmtree(scratch)


if __name__ == "__main__":
    main()
