"""Looks at an installation root with eyes of its own: nothing here is shared with the program that made it."""

import hashlib
import json
import os
import pathlib


def files_below(directory):
    """Relative path -> content of every regular file; anything else below is an error of its own."""
    found = {}
    for folder, directories, names in os.walk(directory):
        for name in directories + names:
            path = pathlib.Path(folder, name)
            if path.is_symlink() or not (path.is_dir() or path.is_file()):
                raise AssertionError(f"neither file nor directory: {path}")
        for name in names:
            path = pathlib.Path(folder, name)
            found[path.relative_to(directory).as_posix()] = path.read_bytes()
    return found


class Root:
    """One look at an installation root."""

    def __init__(self, path):
        names = sorted(os.listdir(path)) if os.path.isdir(path) else []
        self.stages = [name for name in names if name.startswith(".asset-stage-")]
        self.has_manifest = "asset-manifest.json" in names
        self.has_assets = "assets" in names
        self.strangers = [name for name in names if name not in
                          {".asset-import.lock", "asset-manifest.json", "assets", *self.stages}]
        self.manifest = self._read_manifest(path) if self.has_manifest else {}
        self.files = files_below(os.path.join(path, "assets")) if self.has_assets else {}

    @staticmethod
    def _read_manifest(path):
        with open(os.path.join(path, "asset-manifest.json"), encoding="utf-8") as file:
            document = json.load(file)
        assert document["format"] == 1 and document["trust"] == "user-selected-local-snapshot", document
        return {entry["path"]: (entry["size"], entry["sha256"]) for entry in document["files"]}

    def proves(self, path):
        """True where the manifest vouches for the file at `path` as it is."""
        content = self.files[path]
        return self.manifest.get(path) == (len(content), hashlib.sha256(content).hexdigest())


def manifest_of(source):
    return {path: (len(content), hashlib.sha256(content).hexdigest())
            for path, content in files_below(source).items()}
