import sys
import unittest

import check_windows_halves
from made_up_tree import MadeUpTree

SOUND = """#include "assets/lock.h"

#include <QDir>

#include <windows.h>

#ifndef Q_OS_WIN
#error "the headers took this for another platform"
#endif

bool canOpen(const QString& path)
{
    const std::wstring native = QDir::toNativeSeparators(path).toStdWString();
    const HANDLE handle = CreateFileW(native.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    return handle != INVALID_HANDLE_VALUE && CloseHandle(handle) != 0;
}
"""


class CheckWindowsHalves(MadeUpTree):
    arguments = []

    def found_in(self, content):
        self.write("src/assets/lock.h", "#pragma once\n#include <QString>\nbool canOpen(const QString& path);\n")
        self.write("src/assets/lock_posix.cpp", "this is not looked at\n")
        self.write("src/assets/lock_win.cpp", content)
        return check_windows_halves.faults(self.root, self.arguments)

    def test_is_content_with_a_sound_half(self):
        self.assertEqual(self.found_in(SOUND), [])

    def test_finds_each_half_that_does_not_compile(self):
        for wrong in [
            SOUND.replace("FILE_SHARE_READ, ", ""),
            SOUND.replace("CloseHandle", "close"),
            SOUND.replace("const std::wstring native", "const short narrow = path.size(); const std::wstring native"),
        ]:
            with self.subTest(wrong=wrong):
                found = self.found_in(wrong)
                self.assertEqual(len(found), 1)
                self.assertTrue(found[0].startswith("assets/lock_win.cpp:\n"), found)
                self.assertIn("error:", found[0])

    def test_finds_a_tree_without_any(self):
        self.assertEqual(
            check_windows_halves.faults(self.root, self.arguments), [f"{self.root / 'src'}: no Windows half found"]
        )


if __name__ == "__main__":
    CheckWindowsHalves.arguments = sys.argv[1:]
    unittest.main(argv=sys.argv[:1])
