"""Trees that the checks' own tests make up."""

import pathlib
import tempfile
import unittest


class MadeUpTree(unittest.TestCase):
    """Gives each test an empty project of its own, in self.root; start_over() gives it another one."""

    def setUp(self):
        self.start_over()

    def start_over(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)

    def write(self, path, content):
        target = self.root / path
        target.parent.mkdir(parents=True, exist_ok=True)
        target.write_bytes(content if isinstance(content, bytes) else content.encode("utf-8"))
        return target
