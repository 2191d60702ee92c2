#!/usr/bin/env python3
"""What is installed is whole: it starts from any folder and finds its engine library and the guest's files.

Usage: install_test.py --batch PROGRAM --data FOLDER [unittest arguments]
"""

import os
import subprocess
import tempfile
import unittest
from pathlib import Path

from live_session import LIVE

CMAKE = os.environ.get("CMAKE_COMMAND", "cmake")


class Installed(unittest.TestCase):
    def test_the_first_session_works(self):
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run([CMAKE, "--install", LIVE.folder.parent, "--prefix", folder], check=True,
                           stdout=subprocess.DEVNULL)
            bin_folder = Path(folder) / "bin"
            for name in ("bin/sabledbg", "share/man/man1/sabledbg-batch.1", "share/applications/sabledbg.desktop",
                         "share/metainfo/sabledbg.metainfo.xml", "share/icons/hicolor/256x256/apps/sabledbg.png",
                         "share/icons/hicolor/scalable/apps/sabledbg.svg"):
                self.assertTrue((Path(folder) / name).is_file(), name)
            done = subprocess.run([bin_folder / "sabledbg-batch", "--status"], cwd=bin_folder, text=True, timeout=60,
                                  input="connect sable local\nlmf demo.elf\nxl demo!*|kernelLoop\n",
                                  stdout=subprocess.PIPE)
            self.assertEqual(done.stdout, f"[0]\n[0]\nAddress: {LIVE.symbol('kernelLoop'):016X}\n[0]\n")


if __name__ == "__main__":
    LIVE.run_tests()
