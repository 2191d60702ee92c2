#!/usr/bin/env python3
"""Each rule of scripts/check_floors.py can fail, and a clean tree passes."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

SCRIPTS = pathlib.Path(__file__).resolve().parents[2] / "scripts"
sys.path.insert(0, str(SCRIPTS))
import check_floors

CLEAN = {
    "cmake/floors.txt": "# comment\n[platform]\n\n[base]\napp/lines\nsession/address # why\n\n[app]\napp/app\n",
    "src/platform/clock.h": "#pragma once\n",
    "src/platform/linux/clock.cpp": '#include "platform/clock.h"\n#include <unistd.h>\n#ifdef __linux__\n#endif\n',
    "src/app/lines.h": '#pragma once\n#include <vector>\n#include "platform/clock.h"\n',
    "src/app/lines.cpp": '#include "app/lines.h"\n',
    "src/session/address.h": '#pragma once\n#include "app/lines.h"\n#include "engine/abi/table.h"\n',
    "src/app/app.h": '#pragma once\n#include "session/address.h"\n',
    "src/app/batch/main.cpp": '#include "app/app.h"\n#include "app/batch/driver.h"\n',
    "src/app/batch/driver.h": "#pragma once\n",
    "engine/abi/table.h": "#ifdef _WIN32\n#endif\n",
    "engine/sim/pc.cpp": '#include "abi/table.h"\n#include <fcntl.h>\n',
}


class CheckFloors(unittest.TestCase):
    def faults(self, changes):
        """The faults of the clean tree with `changes` made: file -> text, None for no such file."""
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder).resolve()
            for name, text in {**CLEAN, **changes}.items():
                if text is not None:
                    path = root / name
                    path.parent.mkdir(parents=True, exist_ok=True)
                    path.write_text(text)
            return check_floors.Checker(root).run()

    def test_clean_tree_has_no_fault(self):
        self.assertEqual(self.faults({}), [])

    def test_include_of_a_higher_floor(self):
        self.assertEqual(self.faults({"src/app/lines.cpp": '#include "app/lines.h"\n#include "app/app.h"\n'}), [
            "src/app/lines.cpp:2: src/app/app.h is on the floor app, above this file's floor base"])

    def test_platform_includes_nothing_above(self):
        self.assertEqual(self.faults({
            "src/app/lines.h": "#pragma once\n",
            "src/platform/linux/clock.cpp": '#include "app/lines.h"\n'}), [
                "src/platform/linux/clock.cpp:1: src/app/lines.h is on the floor base, "
                "above this file's floor platform"])

    def test_floors_do_not_know_the_programs(self):
        self.assertEqual(self.faults({"src/app/app.cpp": '#include "app/batch/driver.h"\n'}), [
            "src/app/app.cpp:1: src/app/batch/driver.h is on the floor programs, above this file's floor app"])

    def test_listed_file_of_the_program_folder_is_on_its_floor(self):
        table = CLEAN["cmake/floors.txt"] + "app/batch/driver\n"
        self.assertEqual(self.faults({"cmake/floors.txt": table,
                                      "src/app/app.cpp": '#include "app/batch/driver.h"\n'}), [])

    def test_cycle_of_two(self):
        faults = self.faults({"src/app/lines.h": '#pragma once\n#include "session/address.h"\n'})
        self.assertEqual(len(faults), 1)
        self.assertRegex(faults[0], r"^src/[a-z/_.]+:2: the includes form a cycle: ")

    def test_file_that_includes_itself(self):
        self.assertEqual(self.faults({"src/app/lines.h": '#include "app/lines.h"\n'}), [
            "src/app/lines.h:1: the includes form a cycle: src/app/lines.h > src/app/lines.h"])

    def test_source_missing_from_the_table(self):
        self.assertEqual(self.faults({"src/session/extra.cpp": "\n"}), [
            "src/session/extra.cpp:1: the file stands on no floor of cmake/floors.txt"])

    def test_table_entry_without_a_file(self):
        self.assertEqual(self.faults({"src/app/lines.h": None, "src/app/lines.cpp": None,
                                      "src/session/address.h": "#pragma once\n"}), [
            "cmake/floors.txt:5: there is no file src/app/lines.h or .cpp"])

    def test_table_entry_twice(self):
        self.assertEqual(self.faults({"cmake/floors.txt": CLEAN["cmake/floors.txt"] + "app/lines\n"}), [
            "cmake/floors.txt:10: app/lines already stands in line 5"])

    def test_table_entry_before_the_first_floor(self):
        self.assertEqual(self.faults({"cmake/floors.txt": "app/extra\n" + CLEAN["cmake/floors.txt"]}), [
            "cmake/floors.txt:1: app/extra stands before the first floor"])

    def test_platform_file_in_the_table(self):
        self.assertEqual(self.faults({"cmake/floors.txt": CLEAN["cmake/floors.txt"] + "platform/clock\n"}), [
            "cmake/floors.txt:10: platform/clock is on the floor platform without being listed"])

    def test_system_headers_outside_the_platform(self):
        for header in ("unistd.h", "sys/mman.h", "pthread.h", "windows.h", "Windows.h", "dlfcn.h", "fcntl.h",
                       "poll.h", "arpa/inet.h"):
            with self.subTest(header):
                faults = self.faults({"src/app/lines.cpp": f"#include <cstdint>\n  #  include <{header}>\n"})
                self.assertEqual(faults, [f"src/app/lines.cpp:2: <{header}> belongs to the operating system: "
                                          "only src/platform/ includes it"])

    def test_conditionals_outside_the_platform(self):
        for line in ("#ifdef _WIN32", "#if defined(__linux__)", "# ifndef X", "#elif 1"):
            with self.subTest(line):
                self.assertEqual(self.faults({"src/app/batch/main.cpp": f"\n{line}\n"}), [
                    "src/app/batch/main.cpp:2: conditional compilation belongs into src/platform/"])

    def test_include_of_a_file_that_is_not_there(self):
        self.assertEqual(self.faults({"src/app/app.cpp": '#include "app/nothing.h"\n'}), [
            'src/app/app.cpp:1: "app/nothing.h" is no file of this project'])

    def test_src_knows_only_the_abi_of_the_engine(self):
        self.assertEqual(self.faults({"engine/sim/pc.h": "", "src/app/app.cpp": '#include "engine/sim/pc.h"\n'}), [
            "src/app/app.cpp:1: engine/sim/pc.h: src/ and engine/ share only engine/abi/"])

    def test_engine_knows_nothing_of_src(self):
        self.assertEqual(self.faults({"engine/sim/pc.cpp": '#include "app/lines.h"\n'}), [
            "engine/sim/pc.cpp:1: src/app/lines.h: src/ and engine/ share only engine/abi/"])

    def test_abi_does_not_know_src_either(self):
        self.assertEqual(self.faults({"engine/abi/table.h": '#include "platform/clock.h"\n'}), [
            "engine/abi/table.h:1: src/platform/clock.h: src/ and engine/ share only engine/abi/"])

    def test_exit_code_and_output_of_the_program(self):
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder)
            (root / "cmake").mkdir()
            (root / "cmake/floors.txt").write_text("[platform]\n[base]\napp/lines\n")
            command = [sys.executable, str(SCRIPTS / "check_floors.py"), "--root", folder]
            failed = subprocess.run(command, capture_output=True, text=True)
            self.assertEqual(failed.returncode, 1)
            self.assertIn("cmake/floors.txt:3: there is no file src/app/lines.h or .cpp\n", failed.stdout)
            (root / "src/app").mkdir(parents=True)
            (root / "src/app/lines.h").write_text("#pragma once\n")
            passed = subprocess.run(command, capture_output=True, text=True)
            self.assertEqual((passed.returncode, passed.stdout), (0, "floors: 1 files, 0 faults\n"))


if __name__ == "__main__":
    unittest.main()
