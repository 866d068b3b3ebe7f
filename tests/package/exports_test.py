"""The library's dynamic symbols and what it asks of the system, read from the built file.

Usage: exports_test.py LIBRARY NM READELF OBJDUMP CXX
LIBRARY is an ELF library, or a DLL whose export table OBJDUMP prints; the ELF tools are then unused.
"""

import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

LIBRARY, NM, READELF, OBJDUMP, CXX = sys.argv[1:6]
IS_DLL = LIBRARY.endswith(".dll")

EXPORTS = {
    # One stream of audio.
    "vorunCreateProcessor", "vorunCreateStemSeparator", "vorunDeleteProcessor",
    "vorunAddAudio", "vorunAddAudioInterleaved", "vorunGetAudio", "vorunGetAudioInterleaved",
    "vorunGetNumOfPendingSamples", "vorunGetNumOfOutputBusses", "vorunGetOutputBusName",
    "vorunGetProcessorInfo", "vorunResetProcessorState",
    # Its parameters.
    "vorunGetParameterRange", "vorunGetParameterValue", "vorunSetParameterValue",
    # One model on bare tensors.
    "vorunCreateModel", "vorunDeleteModel", "vorunAddTensor", "vorunGetResultTensorShape",
    "vorunGetTensor", "vorunResetModelState",
    # vorunGetProcessorInfo(void*, VorunModelInfo*)
    "_Z21vorunGetProcessorInfoPvP14VorunModelInfo",
    # vorun::ProcessorState::getParameterRange(int, float*, float*)
    "_ZN5vorun14ProcessorState17getParameterRangeEiPfS1_",
}

SYSTEM_LIBRARIES = {"libstdc++.so.6", "libm.so.6", "libgcc_s.so.1", "libc.so.6",
                    "ld-linux-x86-64.so.2"}


def output_of(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def exports_of(library):
    """Every name that the file offers to other modules, weak and unique ones included."""
    if library.endswith(".dll"):
        table = output_of(OBJDUMP, "-p", library).partition("[Ordinal/Name Pointer] Table")[2]
        return sorted(re.findall(r"^\s*\[\s*\d+\]\s+(?:\+base\[\s*\d+\]\s+\w+\s+)?(\S+)$", table,
                                 re.MULTILINE))
    lines = output_of(NM, "-D", "--defined-only", "--format=posix", library).splitlines()
    return sorted(line.split()[0] for line in lines)


def build_library(folder, source):
    """A library of one source file that exports whatever it defines with default visibility."""
    name = "sample.dll" if IS_DLL else "libsample.so"
    (folder / "sample.cpp").write_text(source)
    output_of(CXX, "-shared", "-fPIC", "-o", str(folder / name), str(folder / "sample.cpp"))
    return str(folder / name)


class Exports(unittest.TestCase):
    def test_library_exports_the_list_and_nothing_else(self):
        self.assertEqual(exports_of(LIBRARY), sorted(EXPORTS))

    def test_reader_sees_a_symbol_too_many_and_a_symbol_that_is_missing(self):
        export = "__declspec(dllexport) " if IS_DLL else ""
        names = sorted(EXPORTS)[2:] + ["vorunExtra"]
        source = "".join(f'extern "C" {export}void {name}() {{}}\n' for name in names)
        with tempfile.TemporaryDirectory() as folder:
            found = set(exports_of(build_library(Path(folder), source)))
        self.assertEqual(found - EXPORTS, {"vorunExtra"})
        self.assertEqual(EXPORTS - found, set(sorted(EXPORTS)[:2]))

    @unittest.skipIf(IS_DLL, "a DLL exports what is marked and has no weak symbols")
    def test_reader_sees_weak_symbols_of_the_standard_library(self):
        source = ("#include <vector>\n"
                  "void grow(std::vector<long>& list) { list.push_back(1); }\n")
        with tempfile.TemporaryDirectory() as folder:
            found = exports_of(build_library(Path(folder), source))
        self.assertTrue(any(name.startswith("_ZNSt6vector") for name in found), found)


@unittest.skipIf(IS_DLL, "speaks of ELF")
class ElfProperties(unittest.TestCase):
    def setUp(self):
        self.dynamic = output_of(READELF, "--wide", "--dynamic", LIBRARY)

    def test_soname_holds_the_major_version(self):
        self.assertEqual(re.findall(r"\(SONAME\).*\[(.*)\]", self.dynamic), ["libVorunEngine.so.0"])
        self.assertEqual(Path(LIBRARY).resolve().name, "libVorunEngine.so.0.1.0")

    def test_names_carry_no_version(self):
        self.assertNotIn("VERDEF", self.dynamic)

    def test_symbols_are_bound_and_made_read_only_at_load(self):
        self.assertRegex(self.dynamic, r"BIND_NOW|\(FLAGS_1\).*NOW")
        self.assertIn("GNU_RELRO", output_of(READELF, "--wide", "--segments", LIBRARY))

    def test_stack_is_not_executable(self):
        segments = output_of(READELF, "--wide", "--segments", LIBRARY)
        flags = re.findall(r"GNU_STACK.* ([RWE ]{3}) ", segments)
        self.assertEqual([flag.strip() for flag in flags], ["RW"])

    def test_no_relocation_writes_to_code(self):
        self.assertNotIn("TEXTREL", self.dynamic)

    def test_needs_only_the_standard_library(self):
        needed = set(re.findall(r"\(NEEDED\).*\[(.*)\]", self.dynamic))
        if any(re.match(r"lib[atu]\w*san\.so", name) for name in needed):
            self.skipTest("a sanitizer brings libraries of its own")
        self.assertLessEqual(needed, SYSTEM_LIBRARIES)
        self.assertIn("libstdc++.so.6", needed)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
