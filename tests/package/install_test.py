"""A small host is built against an installed tree, found by CMake and by pkg-config, and run.

Usage: install_test.py CMAKE BUILD_FOLDER CC MODEL_FILE
"""

import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

CMAKE, BUILD, CC, MODEL = sys.argv[1:5]
HOST = Path(__file__).resolve().parent / "installed_host"
README = Path(__file__).resolve().parents[2] / "README.md"


def run(*command, env=None, cwd=None):
    result = subprocess.run([str(part) for part in command], text=True, capture_output=True,
                            env={**os.environ, **(env or {})}, cwd=cwd)
    if result.returncode:
        raise AssertionError(f"{command}\n{result.stdout}{result.stderr}")
    return result.stdout


class InstalledTree(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.work = Path(folder.name)
        run(CMAKE, "--install", BUILD, "--prefix", cls.work / "first")
        # A package that holds an absolute path of its first place does not survive the move.
        cls.prefix = cls.work / "moved"
        (cls.work / "first").rename(cls.prefix)
        cls.library = next(cls.prefix.rglob("libVorunEngine.so")).parent

    def expect_host_runs(self, host, env=None):
        self.assertEqual(run(host, MODEL, env=env), "Processed 512\n")

    def test_cmake_finds_the_package(self):
        build = self.work / "by-cmake"
        run(CMAKE, "-S", HOST, "-B", build, f"-DCMAKE_PREFIX_PATH={self.prefix}",
            f"-DCMAKE_C_COMPILER={CC}")
        run(CMAKE, "--build", build)
        self.expect_host_runs(build / "installed_host")

    def test_cmake_refuses_another_minor_version(self):
        for wanted in ["0.2", "1.0"]:
            with self.assertRaisesRegex(AssertionError, "not.*compatible|compatible with requested"):
                run(CMAKE, "-S", HOST, "-B", self.work / f"wants-{wanted}",
                    f"-DCMAKE_PREFIX_PATH={self.prefix}", f"-DCMAKE_C_COMPILER={CC}",
                    f"-DWANTED_VERSION={wanted}")

    def test_pkg_config_finds_the_package(self):
        env = {"PKG_CONFIG_PATH": str(self.library / "pkgconfig")}
        self.assertEqual(run("pkg-config", "--modversion", "VorunEngine", env=env), "0.1.0\n")
        flags = run("pkg-config", "--cflags", "--libs", "VorunEngine", env=env).split()
        host = self.work / "by-pkg-config"
        run(CC, "-std=c11", "-Wall", "-Werror", HOST / "main.c", "-o", host, *flags)
        self.expect_host_runs(host, {"LD_LIBRARY_PATH": str(self.library)})

    def test_the_first_host_of_the_readme_builds_as_told_and_runs(self):
        text = README.read_text()
        source = self.work / "readme.c"
        source.write_text(re.search(r"```c\n(.*?)```", text, re.S).group(1))
        package = re.search(r"`pkg-config --cflags --libs (\S+)`", text).group(1)
        env = {"PKG_CONFIG_PATH": str(self.library / "pkgconfig")}
        flags = run("pkg-config", "--cflags", "--libs", package, env=env).split()
        host = self.work / "readme_host"
        run(CC, "-std=c11", "-Wall", "-Wextra", "-Werror", source, "-o", host, *flags)
        # Without the host programs no model is installed.
        shutil.copy(next(self.prefix.rglob("speech.vorun"), MODEL), self.work / "speech.vorun")
        run(host, env={"LD_LIBRARY_PATH": str(self.library)}, cwd=self.work)

    def test_program_finds_library_and_model_from_its_own_place(self):
        program = self.prefix / "bin" / "vorun-restore"
        if not program.exists():
            self.skipTest("the host programs are not part of this build")
        self.assertIn("0.1.0", run(program, "--version"))
        self.assertIn("Processed", run(program, "--list-buses"))

    def test_inspector_runs_from_its_place_and_prints_what_the_readme_shows(self):
        program = self.prefix / "bin" / "vorun-inspect"
        if not program.exists():
            self.skipTest("the host programs are not part of this build")
        self.assertIn("0.1.0", run(program, "--version"))
        model = next(self.prefix.rglob("gate.vorun"))
        self.assertIn(run(program, model.name, cwd=model.parent), README.read_text())
        self.assertIn("digraph", run(program, "--dot", model))

    def test_headers_are_the_public_ones(self):
        headers = {file.name for file in self.prefix.rglob("include/**/*.h")}
        self.assertEqual(headers, {"export.h", "parameters.h", "processor.h", "records.h",
                                   "tensor_model.h", "vorun.h"})

    def test_no_archive_of_the_insides_is_installed(self):
        self.assertEqual(list(self.prefix.rglob("*.a")), [])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
