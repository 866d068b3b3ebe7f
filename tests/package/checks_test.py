"""The checks of layering and leftovers find what they are for: each is fed a small wrong tree.

Usage: checks_test.py SCRIPTS_FOLDER
"""

import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

SCRIPTS = Path(sys.argv[1])

# A tree that breaks no rule. The tests below change one file of it.
SOUND = {
    "include/vorun/export.h": "#include <stdint.h>\n",
    "include/vorun/vorun.h": '#include "vorun/export.h"\n',
    "src/foundation/Stream.h": "#include <string>\n",
    "src/foundation/vector/Primitives.h": "#include <cstdint>\n",
    "src/foundation/vector/avx2/Arithmetic.cpp": '#include "foundation/vector/Primitives.h"\n',
    "src/foundation/vector/plain/Arithmetic.cpp": "#include <cmath>\n",
    "src/audio/Signal.h": '#include "foundation/Stream.h"\n',
    "src/neural/Tensor.h": '#include "foundation/Stream.h"\n',
    "src/neural/NeuralModel.h": '#include "neural/Tensor.h"\n',
    "src/neural/LayerFactory.cpp": '#include "neural/layers/ConvLayer.h"\n',
    "src/neural/layers/ConvLayer.h": '#include "neural/Tensor.h"\n',
    "src/restoration/Processor.h": '#include "audio/Signal.h"\n#include "neural/NeuralModel.h"\n',
    "src/api/Entry.cpp": '#include "restoration/Processor.h"\n#include "vorun/vorun.h"\n',
    "hosts/restore/main.cpp": '#include "Options.h"\n#include "vorun/vorun.h"\n',
    "hosts/restore/Options.h": "#include <string>\n",
    "hosts/inspect/main.cpp": '#include "neural/NeuralModel.h"\n#include "restore/Options.h"\n',
    "models/gate.cpp": '#include "support/ModelWriter.h"\n',
    "tests/support/ModelWriter.h": "#include <vector>\n",
}


def run_check(script, files):
    with tempfile.TemporaryDirectory() as folder:
        for name, text in files.items():
            path = Path(folder, name)
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text)
        run = subprocess.run([SCRIPTS / script, folder], text=True, capture_output=True)
    return run.returncode, run.stdout


class Layering(unittest.TestCase):
    def expect_fault(self, path, source, words):
        status, text = run_check("check-layering", {**SOUND, path: source})
        self.assertEqual(status, 1, text)
        self.assertRegex(text, words)
        self.assertIn("1 faults", text)

    def test_a_sound_tree_passes(self):
        status, text = run_check("check-layering", SOUND)
        self.assertEqual(status, 0, text)
        self.assertIn("18 files, 16 includes, 0 faults", text)

    def test_an_empty_tree_is_no_success(self):
        self.assertEqual(run_check("check-layering", {})[0], 1)

    def test_foundation_includes_nothing_above_it(self):
        self.expect_fault("src/foundation/Pool.h", '#include "audio/Signal.h"\n',
                          "Pool.h:1: src/foundation may not include src/audio/Signal.h")

    def test_audio_and_neural_are_blind_to_each_other(self):
        self.expect_fault("src/audio/Queue.h", '#include "neural/Tensor.h"\n',
                          "src/audio may not include src/neural/Tensor.h")
        self.expect_fault("src/neural/LayerSlot.h", '#include "audio/Signal.h"\n',
                          "src/neural may not include src/audio/Signal.h")

    def test_restoration_does_not_know_the_interface(self):
        self.expect_fault("src/restoration/Bus.cpp", '#include "vorun/vorun.h"\n',
                          "src/restoration may not include include/vorun/vorun.h")

    def test_angle_brackets_hide_nothing(self):
        self.expect_fault("src/audio/Queue.h", "#include <neural/Tensor.h>\n",
                          "src/audio may not include src/neural/Tensor.h")

    def test_a_relative_path_hides_nothing(self):
        self.expect_fault("src/audio/Queue.h", '#  include "../neural/Tensor.h"\n',
                          "src/audio may not include src/neural/Tensor.h")

    def test_public_headers_include_nothing_of_the_sources(self):
        self.expect_fault("include/vorun/extra.h", '#include "foundation/Stream.h"\n',
                          "include/vorun may not include src/foundation/Stream.h")

    def test_hosts_see_only_public_headers(self):
        self.expect_fault("hosts/restore/Audio.cpp", '#include "audio/Signal.h"\n',
                          "hosts may not include src/audio/Signal.h")
        self.expect_fault("hosts/restore/Audio.cpp", '#include "support/ModelWriter.h"\n',
                          "hosts may not include tests/support/ModelWriter.h")

    def test_only_the_inspector_sees_the_reader_and_nothing_above_it(self):
        self.expect_fault("hosts/restore/Audio.cpp", '#include "neural/Tensor.h"\n',
                          "hosts may not include src/neural/Tensor.h")
        self.expect_fault("hosts/inspect/Wave.cpp", '#include "audio/Signal.h"\n',
                          "hosts/inspect may not include src/audio/Signal.h")
        self.expect_fault("hosts/inspect/Run.cpp", '#include "vorun/vorun.h"\n',
                          "hosts/inspect may not include include/vorun/vorun.h")
        self.expect_fault("hosts/inspect/Run.cpp", '#include "neural/layers/ConvLayer.h"\n',
                          "only src/neural/LayerFactory.cpp may include")

    def test_the_model_writer_shares_nothing_with_the_engine(self):
        self.expect_fault("tests/support/ModelWriter.cpp", '#include "neural/Tensor.h"\n',
                          "ModelWriter.cpp:1: stands alone")

    def test_a_layer_sees_only_the_layer_base(self):
        self.expect_fault("src/neural/layers/Relu.h", '#include "neural/NeuralModel.h"\n',
                          "a layer may not include src/neural/NeuralModel.h")

    def test_only_the_factory_sees_layers(self):
        self.expect_fault("src/neural/Graph.cpp", '#include "neural/layers/ConvLayer.h"\n',
                          "only src/neural/LayerFactory.cpp may include")
        self.expect_fault("src/restoration/Bus.cpp", '#include "neural/layers/ConvLayer.h"\n',
                          "only src/neural/LayerFactory.cpp may include")

    def test_variants_reach_no_standard_header(self):
        self.expect_fault("src/foundation/vector/sse2/Arithmetic.cpp", "#include <cmath>\n",
                          "<cmath> reaches .*sse2/")
        self.expect_fault("src/foundation/vector/Primitives.h", "#include <vector>\n",
                          "Primitives.h:1: <vector> reaches .*avx2/")

    def test_cycles_are_found(self):
        self.expect_fault("src/foundation/Stream.h", '#include "foundation/Stream.h"\n',
                          "includes itself: ")
        self.expect_fault("include/vorun/export.h", '#include "vorun/vorun.h"\n',
                          "includes itself: .*export.h -> .*vorun.h")

    def test_an_include_of_no_file_is_a_fault(self):
        self.expect_fault("src/audio/Queue.h", '#include "audio/Gone.h"\n', "is no file of the project")

    def test_a_new_folder_needs_a_rule(self):
        self.expect_fault("src/network/Socket.h", '#include "foundation/Stream.h"\n', "has no rule")


class Leftovers(unittest.TestCase):
    def expect_fault(self, text, name="docs/page.md"):
        status, output = run_check("check-leftovers", {name: f"first\n{text}\n"})
        self.assertEqual(status, 1, text)
        self.assertIn(f"{name}:2: ", output)

    def test_plain_text_passes(self):
        text = "To do so, use /tmp/x, /usr/home/x, ~/y and C:/Windows.\n"
        status, output = run_check("check-leftovers", {"a.md": text})
        self.assertEqual(status, 0, output)
        self.assertIn("1 files, 0 faults", output)

    def test_unfinished_marks_are_found(self):
        for word in ["TO" + "DO", "FIX" + "ME: later"]:
            self.expect_fault("// " + word, "src/a.cpp")

    def test_folders_of_a_person_are_found(self):
        for path in ['"/hom' + 'e/someone/z"', "cd /User" + "s/some.one/z", "C:\\User" + "s\\x",
                     "c:/user" + "s/x"]:
            self.expect_fault(path, "CMakeLists.txt")

    def test_names_of_files_count_too(self):
        status, output = run_check("check-leftovers", {"docs/TO" + "DO.md": "x\n"})
        self.assertEqual(status, 1, output)

    def test_an_empty_tree_is_no_success(self):
        self.assertEqual(run_check("check-leftovers", {})[0], 1)

    def test_files_are_walked_where_git_fails(self):
        files = {".git": "gitdir: gone\n", "a.md": "x\n", "build/b.md": "TO" + "DO\n"}
        status, output = run_check("check-leftovers", files)
        self.assertEqual(status, 0, output)
        self.assertIn("1 files, 0 faults", output)
        status, output = run_check("check-leftovers", {**files, "src/c.md": "TO" + "DO\n"})
        self.assertEqual(status, 1, output)
        self.assertIn("src/c.md:1: ", output)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
