"""The check of the layers: what crosses them the wrong way is found, and the tree as it is passes."""
import pathlib
import shutil
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
FOLDERS = ("src", "sim", "client", "tools", "examples", "bench", "fuzz", "tests")


class CheckLayers(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        holder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(holder.cleanup)
        cls.tree = pathlib.Path(holder.name)
        for folder in FOLDERS:
            shutil.copytree(ROOT / folder, cls.tree / folder)

    def check(self):
        done = subprocess.run([ROOT / "scripts/check_layers.sh", self.tree], capture_output=True, text=True)
        self.assertEqual(done.stderr, "")
        return done.returncode, done.stdout.splitlines()

    def edit(self, name, change):
        """Changes a file of the copy until the test ends."""
        path = self.tree / name
        text = path.read_text()
        self.addCleanup(path.write_text, text)
        changed = change(text)
        self.assertNotEqual(changed, text)
        path.write_text(changed)

    def plant_include(self, name, included):
        self.edit(name, lambda text: f"#include {included}\n" + text)

    def expect_offence(self, offence):
        code, offences = self.check()
        self.assertEqual(code, 1)
        self.assertIn(offence, offences)

    def test_the_tree_as_it_is_passes(self):
        self.assertEqual(self.check(), (0, []))

    def test_an_upward_include_fails(self):
        self.plant_include("src/db/statement.cpp", '"listen/listen_worker.h"')
        self.expect_offence("src/db/statement.cpp includes src/listen/listen_worker.h")

    def test_an_upward_include_between_the_rooms_of_the_records_fails(self):
        self.plant_include("src/records/names/lower_case.cpp", '"records/steps/step_pipeline.h"')
        self.expect_offence("src/records/names/lower_case.cpp includes src/records/steps/step_pipeline.h")

    def test_a_shipped_program_that_includes_tests_fails(self):
        self.plant_include("src/service/main.cpp", '"unit/db/database_test.h"')
        self.expect_offence("src/service/main.cpp includes tests/unit/db/database_test.h")

    def test_the_service_including_the_simulated_machine_fails(self):
        self.plant_include("src/journal/volume_journal.cpp", '"sim/machine.h"')
        self.expect_offence("src/journal/volume_journal.cpp includes sim/machine.h")

    def test_the_service_including_more_of_the_client_library_than_the_protocol_fails(self):
        self.plant_include("src/ipc/named_pipe.cpp", '"tavi_client/reply.h"')
        self.expect_offence("src/ipc/named_pipe.cpp includes client/include/tavi_client/reply.h")

    def test_a_public_header_of_the_client_library_that_includes_the_service_fails(self):
        self.plant_include("client/include/tavi_client/reply.h", '"imports/type_convert.h"')
        self.expect_offence("client/include/tavi_client/reply.h includes src/imports/type_convert.h")

    def test_a_portable_test_that_includes_the_real_system_fails(self):
        self.plant_include("tests/unit/db/statements_test.cpp", '"platform/windows/windows_platform.h"')
        self.expect_offence("tests/unit/db/statements_test.cpp includes src/platform/windows/windows_platform.h")

    def test_a_system_header_outside_its_folder_fails(self):
        self.plant_include("src/util/sha256.cpp", "<Windows.h>")
        self.plant_include("sim/sim_clock.cpp", "<unistd.h>")
        self.expect_offence("src/util/sha256.cpp includes <Windows.h>")
        self.expect_offence("sim/sim_clock.cpp includes <unistd.h>")

    def test_a_target_that_does_not_link_what_it_includes_fails(self):
        self.edit("src/records/dumps/CMakeLists.txt", lambda text: text.replace("DEPENDS tavi_model", "DEPENDS"))
        code, offences = self.check()
        self.assertEqual(code, 1)
        self.assertTrue(any(line.startswith("tavi_dumps does not link tavi_model, but ") for line in offences), offences)

    def test_a_library_that_links_what_it_does_not_include_fails(self):
        self.edit("src/util/CMakeLists.txt", lambda text: text.replace("tavi_imports", "tavi_imports tavi_names"))
        self.expect_offence("tavi_util links tavi_names, but includes nothing of it")

    def test_a_folder_that_nobody_listed_fails(self):
        (self.tree / "src/newcomer").mkdir()
        self.addCleanup(shutil.rmtree, self.tree / "src/newcomer")
        (self.tree / "src/newcomer/new.cpp").write_text('#include "db/statement.h"\n')
        self.expect_offence("src/newcomer/new.cpp is in no listed folder")

    def test_an_empty_tree_is_no_success(self):
        with tempfile.TemporaryDirectory() as empty:
            done = subprocess.run([ROOT / "scripts/check_layers.sh", empty], capture_output=True, text=True)
        self.assertEqual(done.returncode, 1)


if __name__ == "__main__":
    unittest.main()
