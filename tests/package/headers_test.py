"""Each public header compiles alone, as C11 and as C++20, with all warnings.

Usage: headers_test.py INCLUDE_FOLDER CC CXX [CLANG]
With CLANG, all of that compiler's warnings but those about padding and old standards count too.
"""

import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

INCLUDE, CC, CXX = sys.argv[1:4]
CLANG = sys.argv[4] if len(sys.argv) > 4 else None

COMMON = ["-fsyntax-only", "-Wall", "-Wextra", "-Wpedantic", "-Wundef", "-Wshadow", "-Wconversion",
          "-Wdouble-promotion", "-Werror"]
C11 = ["-x", "c", "-std=c11", "-pedantic-errors", "-Wstrict-prototypes", "-Wmissing-prototypes"]
CXX20 = ["-x", "c++", "-std=c++20", "-pedantic-errors", "-Wold-style-cast", "-Woverloaded-virtual"]
EVERYTHING = ["-Weverything", "-Wno-padded", "-Wno-c++98-compat", "-Wno-c++98-compat-pedantic",
              "-Wno-declaration-after-statement", "-Wno-unknown-warning-option",
              "-Wno-documentation-unknown-command"]

LANGUAGES = {"C11": [CC] + COMMON + C11, "C++20": [CXX] + COMMON + CXX20}
if CLANG:
    LANGUAGES["C11, clang"] = [CLANG] + COMMON + EVERYTHING + C11
    LANGUAGES["C++20, clang"] = [CLANG] + COMMON + EVERYTHING + CXX20


# C wants a declaration in every source, and not every header holds one.
A_DECLARATION = "typedef int SomeInt;\n"


def complaints(command, source, include=INCLUDE):
    run = subprocess.run([*command, "-I", include, "-"], input=source + A_DECLARATION, text=True,
                         capture_output=True)
    return run.stderr if run.returncode else ""


class PublicHeaders(unittest.TestCase):
    def each(self, source_of):
        headers = sorted(Path(INCLUDE, "vorun").iterdir())
        self.assertIn("vorun.h", [header.name for header in headers])
        for header in headers:
            for language, command in LANGUAGES.items():
                with self.subTest(header=header.name, language=language):
                    self.assertEqual(complaints(command, source_of(header.name)), "")

    def test_each_compiles_alone(self):
        self.each(lambda name: f'#include "vorun/{name}"\n')

    def test_each_can_be_included_twice(self):
        self.each(lambda name: f'#include "vorun/{name}"\n#include "vorun/{name}"\n')

    def test_cxx_overload_is_not_seen_by_c(self):
        source = ('#include "vorun/vorun.h"\n'
                  "static inline void call(void* model, VorunModelInfo* info) {\n"
                  "    vorunGetProcessorInfo(model, info);\n}\n")
        self.assertNotEqual(complaints(LANGUAGES["C11"], source), "")
        self.assertEqual(complaints(LANGUAGES["C++20"], source), "")

    def test_a_header_that_leans_on_another_is_found(self):
        with tempfile.TemporaryDirectory() as folder:
            Path(folder, "leaning.h").write_text("int32_t needsStdint(void);\n")
            for language, command in LANGUAGES.items():
                with self.subTest(language=language):
                    self.assertIn("int32_t", complaints(command, '#include "leaning.h"\n', folder))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
