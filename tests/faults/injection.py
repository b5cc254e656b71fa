"""Runs a program under strace and lets single system calls of its fail, wait or be its last."""

import json
import os
import re
import subprocess
import tempfile

# Every call by which the store changes or reads the disk.
CALLS = ("openat", "read", "pread64", "write", "fsync", "mkdirat", "renameat", "renameat2", "unlinkat", "linkat",
         "flock", "lseek", "getdents64", "newfstatat", "fstat")


class Outcome:
    def __init__(self, process):
        self.killed = process.returncode in (-9, 137)
        self.code = process.returncode
        self.stderr = process.stderr
        self.report = json.loads(process.stdout) if process.stdout.strip() else None

    @property
    def errors(self):
        return self.report["errors"] if self.report else None


def _environment():
    # Leak detection needs ptrace for itself.
    return dict(os.environ, ASAN_OPTIONS="detect_leaks=0", QT_QPA_PLATFORM="offscreen")


def run(command):
    return Outcome(subprocess.run(command, capture_output=True, text=True, env=_environment(), check=False))


def recorded(command, below):
    """The calls of one plain run that touch something below the folder `below`: (call, ordinal, line)."""
    with tempfile.NamedTemporaryFile("r", encoding="utf-8") as log:
        run(["strace", "-f", "-y", "-s", "300", "-o", log.name, "-e", "trace=" + ",".join(CALLS), *command])
        seen, calls = {}, []
        for line in log:
            match = re.match(r"(?:\d+ +)?(\w+)\(", line)
            if not match:
                continue
            name = match.group(1)
            seen[name] = seen.get(name, 0) + 1
            if below in line:
                calls.append((name, seen[name], line.strip()))
    return calls


def injected(command, call, when, what):
    """Runs `command` with `what` (in strace's words) done to the call named `call` at its ordinal `when`."""
    return injected_all(command, (call, when, what))


def injected_all(command, *faults):
    """The same with several faults, each (call, when, what)."""
    words = ["strace", "-f", "-qq", "-o", os.devnull, "-e", "trace=" + ",".join(sorted({call for call, _, _ in faults}))]
    for call, when, what in faults:
        words += ["-e", f"inject={call}:{what}:when={when}"]
    return run([*words, *command])
